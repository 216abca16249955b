// What the tool uses of the store library's indexes and folders. It includes them from here and by
// no other way; the activity files, with which they cannot be in one source, from
// ActivityLibrary.h.
#pragma once

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"
#include "Library/LIBStoreIndexSerialisation/IndexReader.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

#ifdef _WIN32
#include "Library/activity/FolderPlace.h"
#include "Library/activity/StoreSettings.h"
#include "Library/FolderFiles.h"
#include "Library/FolderScan.h"
#include "Library/IndexBlockFile.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#endif

// Bringing an index in line with the files of its folder.
#pragma once

#include <string>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {

// Makes the loaded index say what the folder's files say; false when it could not find out. What a
// folder's files mean is the message store's business: a host installs its own operation.
using FolderScan = bool (*)(StoreIndex& index, const std::string& folder, FolderType folderType);

// Null brings the default back.
void InstallFolderScan(FolderScan scan);
FolderScan InstalledFolderScan();

// The default: an entry whose file has gone is dropped (but no group), and each message file of the
// folder's type (FolderFiles.h: at most so many, in a stable order) that has no entry gets one,
// with the next UID and the properties that its content gives. Entries whose file is there stay as
// they are.
bool DefaultFolderScan(StoreIndex& index, const std::string& folder, FolderType folderType);

// The second half of it alone.
bool AddUnknownFiles(StoreIndex& index, const std::string& folder, FolderType folderType);

}  // namespace tarnwick

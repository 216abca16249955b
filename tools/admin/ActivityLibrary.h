// What the tool uses of the store library's activity files, notification and message files; see
// IndexLibrary.h.
#pragma once

#include "Library/activity/ActivityFile.h"
#include "Library/ItemIndexProperties.h"

#ifdef _WIN32
#include "Library/activity/ActivityReplacement.h"
#include "Library/activity/ActivityStore.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "Library/activity/messages/MessageSibling.h"
#include "Library/activity/NotifyFlags.h"
#endif

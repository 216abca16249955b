// Repairs of indexes, each under the folder's block file and mutex.
#pragma once

#include <cstdint>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "tools/admin/store/Problem.h"
#include "tools/admin/store/RepairFiles.h"

namespace tarnwick::admin {

// Of the folder whose index the problem is in.
FolderType IndexTypeOf(const Finding& finding);

// Writes what can be read of the index anew, with what a backup that loads has besides.
Outcome RewriteIndex(const Finding& finding, bool dryRun);
// Puts the backup, or else what was put aside, in the place of an index that has gone.
Outcome RestoreIndex(const Finding& finding, bool dryRun);
// Lets the next open of the folder compare index and files.
Outcome MarkFolder(const Finding& finding, bool dryRun);
// Takes a new backup of an index that loads.
Outcome RenewBackup(const Finding& finding, bool dryRun);

}  // namespace tarnwick::admin

// Loading an index that may be damaged: the backup copy takes its place, or it is put aside.
#pragma once

#include "Library/SerialiserOwner.h"

namespace tarnwick {

enum class BackupWish { None, Refresh };

// Loads through `serialiser` and gives the load status, which is also stored in the index; never
// throws. With "Backup Index" set in the registry and a serialiser that supports recovery: a full
// load refreshes a backup copy that is older than "Backup Index Interval" (when that is wished
// for); a failed one is repeated on the backup copy, or puts the index aside when there is none.
// No serialiser (there was no memory for it) is a failed load.
// `serialiser` may be moved into a wrapper of it and is then empty.
std::uint32_t LoadWithRecovery(SerialiserOwner& serialiser, StoreIndex& index,
                               const std::string& folder, std::uint32_t folderType,
                               const DeserialiseRequest& request, BackupWish backup);

}  // namespace tarnwick

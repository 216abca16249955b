// One folder's index in a process: opened, changed in memory, committed, closed.
#pragma once

#include <cstdint>
#include <string>

#include "common/Files.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {

// The summary of a folder that is kept beside its files, "_FOLDER.DAT".
struct FolderDetails {
    std::uint32_t items = 0;
    std::uint32_t unread = 0;
    std::uint64_t size = 0;  // bytes of all message files
    std::uint32_t lastUid = 0;
    bool operator==(const FolderDetails&) const = default;
};

// What the operations below work on. The caller sets the folder before it opens the index and
// changes the entries between open and commit; it is not for use by two threads at once.
struct FolderIndex {
    std::string folder;  // full path without a backslash at the end
    FolderType folderType = kMailFolder;
    // Where the folder's details go when it is closed; without a name they are not written.
    std::string dataDirectory;
    std::string postoffice;
    std::string folderName;

    StoreIndex entries;
    bool open = false;
    // Of what the entries were loaded.
    std::string loadedFolder;
    FolderType loadedType = kMailFolder;
};

enum StoreOpenMode : int {
    kOpenChecked = 1,  // scans a folder that is marked as changed, leaves out entries without file
    kOpenReindexed = 2,   // scans the folder first in any case
    kOpenUnscanned = 3,   // takes the index as it is: no block file, no look at marks
    kOpenUnverified = 5,  // as 1, and keeps entries without looking for their files
    kOpenCheckedToo = 6,  // as 1
};

enum StoreOpenResult : int { kOpenFailed = 0, kOpenLoaded = 1, kOpenKept = 2 };

// Readies the index for use. In every mode a folder without an index gets one built from its files,
// and one whose index cannot be reached is not opened. Kept means that the entries in memory are
// still those of the file and were left alone, changes included. A number that is no mode counts
// as 1. Exceptions (a lost folder mutex, memory) are reported and thrown on.
int StoreIndex_Open(FolderIndex* index, int mode);

enum CommitMode : int { kCommit = 0, kCommitNotified = 1 };
enum CommitResult : int { kCommitFailed = 0, kCommitted = 1, kCommitNotOpen = 2 };

// Saves the open index. In the notified mode it waits for the folder's mutex no longer than "Index
// Notification Timeout". Never throws.
int StoreIndex_Commit(FolderIndex* index, int mode);

// Saves the index when `save` is set, marks the folder as changed when that fails or when the file
// was changed by another meanwhile, and removes the folder's block file, closing `block` first when
// `blockIsOpen`; without an index or a folder it closes `block` and does no more. `details` stand
// for those computed from the index when not null. Always 1; never throws.
int StoreIndex_SaveAndClose(FolderIndex* index, bool save, bool blockIsOpen, File& block,
                            const FolderDetails* details);

}  // namespace tarnwick

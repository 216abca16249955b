// The block file beside a folder's index: whoever creates it first may scan the folder. It works
// between processes and machines that share the store.
#pragma once

#include <string>

#include "common/Files.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

// Path of the block file of a folder, cut to 1023 characters: "_groups.blk" in a group folder,
// "_index.blk" in every other.
std::string IndexBlockPath(const std::string& folder, FolderType folderType);

// Waits for the block file at `path` and creates it. The open file is the lock; it is not open when
// the wait gave up (the folder is gone, its name is not valid, or a block file stands that cannot
// be removed): the caller then goes on without scanning. After 61 waits of a second a block file
// counts as abandoned and is removed; with "Index Unblock Mode" set, one of "_index.blk" after each
// wait, which is printed when it succeeded. Never throws anything but bad_alloc.
File WaitForAccessToIndexFileEx(const std::string& path);

// Closes the lock's handle, when it is open, and removes the block file, trying for 80 seconds.
// True when the file is gone.
bool RemoveIndexBlock(File& lock, const std::string& path);

// The same, and says on standard output when the file is still there.
void ReleaseIndexBlock(File& lock, const std::string& path);

// A folder's block file for the length of a scope: waited for at its start, released at its end
// whatever happens in between.
class IndexBlock {
  public:
    IndexBlock(const std::string& folder, FolderType folderType)
        : path_(IndexBlockPath(folder, folderType)), file_(WaitForAccessToIndexFileEx(path_)) {}
    ~IndexBlock();
    IndexBlock(const IndexBlock&) = delete;
    IndexBlock& operator=(const IndexBlock&) = delete;

    bool IsHeld() const { return file_.IsOpen(); }

  private:
    std::string path_;
    File file_;
};

enum class IndexAvailability : int { NoIndex = 0, IndexExists = 1, Busy = 5 };

// In this mode availability is looked up without touching the block file.
inline constexpr int kLookOnlyMode = 99;

// Whether the folder's "_index.xml" exists; Busy when somebody holds the folder's block file.
IndexAvailability CheckIndexFileAvailability(const std::string& folder, int mode);

}  // namespace tarnwick

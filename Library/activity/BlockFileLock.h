// The lock on a directory's activity file: a block file that its holder keeps open. It works
// between threads, processes and machines; a holder that died is overcome by waiting.
#pragma once

#include <cstdint>
#include <string>

#include "common/Files.h"

namespace tarnwick {

enum class LockState : std::uint32_t { NotHeld = 0, Held = 1, ReleaseFailed = 2 };

// Any non-zero value lets a waiter go on after the threshold.
inline constexpr std::uint32_t kWaitBeyondThreshold = 0xFFFFFFFF;

// How the removal of a block file ended.
enum class UnblockResult { Failed = 0, Removed = 1, AlreadyGone = 2 };

// Creates the block file at `path`, waiting in cycles of a second for one that is there; true when
// it was created. A path that does not exist fails at once. After "Store Notification Wait Timeout"
// waits the file counts as abandoned and is removed; when it cannot be, the wait ends in failure
// or, with `waitBeyondThreshold` other than 0, goes on for as long as it takes. `handle` receives
// the open file with `keepHandle` set; otherwise the file is closed and its existence alone is the
// lock.
bool WaitForAccessToFile(const std::string& path, File* handle, bool keepHandle,
                         std::uint32_t waitBeyondThreshold);

// Closes `handle` (when given) and deletes the block file, retrying for 81 seconds while something
// holds it. When that ends in vain a given handle is closed once more and the outcome logged, also
// of one that was closed before, which then is the error 6.
UnblockResult UnBlockIndexFileAccess_Notify(const std::string& path, File* handle);

// Whether the registry's "Activity Locking Mode" is 1. For hosts; nothing here asks.
bool IsActivityLockingModeEnabled();

class BlockFileLock {
  public:
    BlockFileLock() = default;
    // Waits for the lock as WaitForAccessToFile does; IsLocked() tells the outcome. A path is cut
    // to 1023 characters.
    BlockFileLock(const std::string& path, bool keepHandle, std::uint32_t waitBeyondThreshold);
    BlockFileLock(const BlockFileLock&) = delete;
    BlockFileLock& operator=(const BlockFileLock&) = delete;
    virtual ~BlockFileLock();

    // Takes the lock into an object that holds none; one whose release failed may take it anew.
    void Acquire(const std::string& path, bool keepHandle, std::uint32_t waitBeyondThreshold);
    // Gives the lock up; when the file cannot be removed the state tells so.
    void Release();

    // Kept: true in the state ReleaseFailed too, where the file may be there, but is no longer
    // held. Whoever is about to rely on the lock asks State().
    bool IsLocked() const { return state_ != LockState::NotHeld; }
    LockState State() const { return state_; }

  private:
    LockState state_ = LockState::NotHeld;
    File handle_;
    // Made before the lock is taken: giving it up must not need memory.
    std::string path_;
};

}  // namespace tarnwick

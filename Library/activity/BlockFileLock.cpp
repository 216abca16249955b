#include "Library/activity/BlockFileLock.h"

#include "common/BlockFile.h"
#include "common/Registry.h"
#include "common/Retry.h"
#include "common/Text.h"
#include "Library/activity/ModuleLog.h"

namespace tarnwick {
namespace {

constexpr std::uint32_t kDefaultWaitTimeoutSeconds = 100;
constexpr std::uint32_t kWaitsPerMessage = 10;
constexpr int kRemoveWaits = 80;

// Kept for compatibility: read once, and a 0 is used as 0.
std::uint32_t WaitTimeoutSeconds() {
    static const std::uint32_t seconds = RegistryDwordOr(
        kProductProvidersKey, "Store Notification Wait Timeout", kDefaultWaitTimeoutSeconds);
    return seconds;
}

// When the activity lock goes on waiting, and how it gets past an abandoned block file.
struct ActivityBlockRule {
    const std::string& path;
    const bool beyondThreshold;

    bool MayWait(DWORD error, std::uint32_t waits) const {
        // Nobody can make the file, nor the activity file beside it, before its directory is there.
        if (error == ERROR_PATH_NOT_FOUND) return false;
        // Each wait tells itself at its beginning, at 0, and then every tenth time.
        if (waits % kWaitsPerMessage == 0) {
            LogMessage("[Thread:%ld] WaitForAccessToFile: Blocking on activity file: %s (%d)\n",
                       {GetCurrentThreadId(), path, error});
        }
        return true;
    }

    BlockVerdict AfterWait(DWORD, std::uint32_t waits) const {
        // Kept for compatibility: one wait more than the threshold says.
        if (waits <= WaitTimeoutSeconds()) return BlockVerdict::TryAgain;
        LogMessage("[Thread:%ld] WaitForAccessToFile: Blocking timed out on activity file: %s\n",
                   {GetCurrentThreadId(), path});
        switch (UnBlockIndexFileAccess_Notify(path, nullptr)) {
            case UnblockResult::Removed:
                LogMessage("[Thread:%ld] WaitForAccessToFile: Unblocked activity file: %s\n",
                           {GetCurrentThreadId(), path});
                // Kept for compatibility: one try, and whoever was faster makes this wait fail.
                return BlockVerdict::TryLast;
            case UnblockResult::AlreadyGone:
                LogMessage(
                    "TW-WXXXX: Warning: Unblocking activity file (%s) succeeded with "
                    "non-fatal errors... trying to get block again.\n",
                    {path});
                // Its holder is alive, and so may be the next: that one gets the whole patience
                // too.
                return BlockVerdict::StartOver;
            case UnblockResult::Failed:
                break;
        }
        LogMessage(
            "TW-WXXXX: Error: Activity file (%s) access could not be obtained within "
            "timeout threshold. Threshold=%ld seconds.\n",
            {path, WaitTimeoutSeconds()});
        // The count stays above the threshold, so that every further wait tries the removal again.
        return beyondThreshold ? BlockVerdict::TryAgain : BlockVerdict::GiveUp;
    }
};

void LogStillOpen(const std::string& path, DWORD error) {
    LogMessage(
        "UnBlockIndexFileAccess_Notify: [Thread:%ld] was unable to release blockfile lock "
        "for file %s. LastError=%ld\n",
        {GetCurrentThreadId(), path, error});
}

void CloseBlockHandle(const std::string& path, File* handle) {
    if (handle != nullptr && !handle->CloseOrKeep()) LogStillOpen(path, GetLastError());
}

// The close of a release that gives up tells its outcome either way. Kept: a handle that is closed
// already cannot be closed once more, so that it is told as one that was not released.
void CloseAndTell(const std::string& path, File& handle) {
    if (!handle.IsOpen()) {
        LogStillOpen(path, ERROR_INVALID_HANDLE);
    } else if (!handle.CloseOrKeep()) {
        LogStillOpen(path, GetLastError());
    } else {
        LogMessage(
            "UnBlockIndexFileAccess_Notify: [Thread:%ld] released blockfile lock for file "
            "%s\n",
            {GetCurrentThreadId(), path});
    }
}

}  // namespace

bool WaitForAccessToFile(const std::string& path, File* handle, bool keepHandle,
                         std::uint32_t waitBeyondThreshold) {
    ActivityBlockRule rule{path, waitBeyondThreshold != 0};
    File block = WaitForBlockFile(path, rule);
    if (!block.IsOpen()) return false;
    if (keepHandle) {
        *handle = std::move(block);
    } else if (!block.CloseOrKeep()) {
        // The file is there all the same, and its existence is the lock: still a success.
        LogMessage(
            "WaitForAccessToFile: [Thread:%ld] was unable to release temporary blockfile "
            "handle for file %s. LastError=%ld\n",
            {GetCurrentThreadId(), path, GetLastError()});
    }
    return true;
}

UnblockResult UnBlockIndexFileAccess_Notify(const std::string& path, File* handle) {
    CloseBlockHandle(path, handle);
    // Kept for compatibility: one wait more, in vain.
    const RetryOutcome outcome = RetryWhileRefused([&] { return RemoveFile(path); },
                                                   [] { return kRemoveWaits; }, LastWait::InVain);
    if (outcome == RetryOutcome::Done) return UnblockResult::Removed;
    if (outcome == RetryOutcome::Gone) {
        const DWORD error = GetLastError();
        // A handle that would not close before may close now.
        CloseBlockHandle(path, handle);
        // Kept: without its directory the lock counts as not released, although no file is left.
        return error == ERROR_FILE_NOT_FOUND ? UnblockResult::AlreadyGone : UnblockResult::Failed;
    }
    if (handle != nullptr) CloseAndTell(path, *handle);
    return UnblockResult::Failed;
}

bool IsActivityLockingModeEnabled() {
    static const bool enabled = RegistryDwordOr(kProductKey, "Activity Locking Mode", 0) == 1;
    return enabled;
}

BlockFileLock::BlockFileLock(const std::string& path, bool keepHandle,
                             std::uint32_t waitBeyondThreshold) {
    Acquire(path, keepHandle, waitBeyondThreshold);
}

BlockFileLock::~BlockFileLock() {
    Release();
}

void BlockFileLock::Acquire(const std::string& path, bool keepHandle,
                            std::uint32_t waitBeyondThreshold) {
    state_ = LockState::NotHeld;
    path_ = UpToNul(path).substr(0, kPathCapacity - 1);
    if (WaitForAccessToFile(path_, &handle_, keepHandle, waitBeyondThreshold)) {
        state_ = LockState::Held;
        return;
    }
    LogMessage(
        "TW-EXXXX: [Thread:%ld] Serious Error: BlockFileLock Activity notification handler "
        "(WaitForAccessToFile) failed to obtain a lock on the blockfile (%s).\n",
        {GetCurrentThreadId(), path_});
}

void BlockFileLock::Release() {
    // A release that failed is not tried again: that would cost the caller its 81 seconds twice.
    if (state_ != LockState::Held) return;
    if (UnBlockIndexFileAccess_Notify(path_, &handle_) != UnblockResult::Failed) {
        state_ = LockState::NotHeld;
        return;
    }
    LogMessage(
        "TW-EXXXX: [Thread:%ld] ERROR BlockFileLock: Activity notification handler was able "
        "to obtain a lock to the file (%s) but was unable to gracefully unlock it.\n",
        {GetCurrentThreadId(), path_});
    state_ = LockState::ReleaseFailed;
}

}  // namespace tarnwick

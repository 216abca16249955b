#include "Library/activity/ActivityStore.h"

#include "common/Retry.h"
#include "common/Text.h"
#include "common/Waits.h"
#include "Library/activity/ModuleLog.h"

namespace tarnwick {
namespace {

// Kept for compatibility: refused while somebody has the file open for writing, so that its
// directory entry tells the time then.
constexpr OpenMode kOpenForTimes{GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING};

std::optional<std::uint64_t> LastWriteTimeOf(const std::string& path) {
    File file(path, kOpenForTimes);
    if (file.IsOpen()) {
        if (const auto time = file.LastWriteTime()) return time;
    }
    const auto found = DirectoryScan(path).Next();
    if (!found) return std::nullopt;
    return ToUint64(found->lastWrite);
}

constexpr int kTriesPerWarning = 5;

// Which comes first once a try failed: the wait or the next try. After the latter the wait is made
// even when that try succeeded; kept for compatibility.
enum class RetryOrder { WaitThenTry, TryThenWait };

template <typename Attempt>
DWORD ErrorOf(Attempt attempt) {
    return attempt() ? ERROR_SUCCESS : GetLastError();
}

// Tries until it succeeds, the file is gone (no wait brings it back), or `report`, which is called
// with the error and the count of waits before each further try, wants no more. The last try's
// error, 0 for success.
template <typename Attempt, typename Report>
DWORD TryRepeatedly(Attempt attempt, RetryOrder order, Report report) {
    DWORD error = ErrorOf(attempt);
    for (int waits = 0; error != ERROR_SUCCESS && !IsGone(error); ++waits) {
        if (!report(error, waits)) break;
        if (order == RetryOrder::WaitThenTry) WaitMilliseconds(kPollMilliseconds);
        error = ErrorOf(attempt);
        if (order == RetryOrder::TryThenWait) WaitMilliseconds(kPollMilliseconds);
    }
    return error;
}

}  // namespace

ActivityPaths::ActivityPaths(std::string_view directory)
    : file(FormatPath("%s\\_activity.tab", {directory})),
      replacement(FormatPath("%s\\_activity.tmp", {directory})),
      block(FormatPath("%s\\_activity.blk", {directory})) {}

void LockActivity(BlockFileLock& lock, const ActivityPaths& paths) {
    // Beyond the threshold: giving up would leave a client out of the file, or in it.
    lock.Acquire(paths.block, true, kWaitBeyondThreshold);
}

bool WriteActivity(File& file, std::string_view bytes) {
    const bool written = file.Write(bytes);
    return file.Close() && written;
}

std::uint32_t ReadActivityStamp(const std::string& path) {
    const auto time = LastWriteTimeOf(path);
    if (!time) return 0;
    const FILETIME fileTime{static_cast<DWORD>(*time), static_cast<DWORD>(*time >> 32)};
    WORD date = 0;
    WORD timeOfDay = 0;
    if (FileTimeToDosDateTime(&fileTime, &date, &timeOfDay) == FALSE) return 0;
    return (static_cast<std::uint32_t>(date) << 16) | timeOfDay;
}

bool DeleteWithRetry(const std::string& path, bool retry, int maxAttempts) {
    const DWORD error = TryRepeatedly(
        [&] { return RemoveFile(path); }, RetryOrder::TryThenWait,
        [&](DWORD reason, int waits) {
            if (waits > maxAttempts) {
                // Kept for compatibility: the two blanks.
                LogMessage(
                    "TW-WXXXX: DeleteWithRetry Error:  Abandoning attempts to delete file "
                    "%s. Error: %ld\n",
                    {path, reason});
                return false;
            }
            // At 0 too: a refusal that the next try gets past has its line in the log.
            if (waits % kTriesPerWarning == 0) {
                LogMessage(
                    "TW-WXXXX: DeleteWithRetry Warning: An error occurred when attempting "
                    "to delete file %s. Error: %ld\n",
                    {path, reason});
            }
            return retry;
        });
    // A file that is gone is all that was wanted.
    return error == ERROR_SUCCESS || IsGone(error);
}

bool MoveWithRetry(const std::string& from, const std::string& to, bool retry, int maxAttempts) {
    const DWORD error = TryRepeatedly(
        [&] { return MoveToName(from, to); }, RetryOrder::WaitThenTry,
        [&](DWORD reason, int waits) {
            if (waits > maxAttempts) {
                // Kept for compatibility: "occured".
                LogMessage(
                    "TW-WXXXX: Warning: A Timeout occured when attempting to move %s "
                    "Activity File to %s. Error: %ld\n",
                    {from, to, reason});
                return false;
            }
            // At 0 too, as above.
            if (waits % kTriesPerWarning == 0) {
                LogMessage(
                    "TW-WXXXX: Warning: Unable to move %s Activity File to %s at this time "
                    "(but will keep retrying). Error: %ld\n",
                    {from, to, reason});
            }
            return retry;
        });
    return error == ERROR_SUCCESS;
}

bool ReplaceActivityFile(const std::string& replacementPath, const std::string& filePath) {
    // Whatever comes of it: the move fails over a file that is still there, and tells the caller.
    DeleteWithRetry(filePath, true, kActivityRetries);
    return MoveWithRetry(replacementPath, filePath, true, kActivityRetries);
}

}  // namespace tarnwick

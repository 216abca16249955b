#include "Library/activity/ActivityStore.h"

#include "common/Text.h"

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

}  // namespace tarnwick

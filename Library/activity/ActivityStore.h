// The files of one directory's activity file, writing one whole, and the swap that puts it in
// place. Whoever uses them holds the directory's block-file lock.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/Files.h"
#include "Library/activity/BlockFileLock.h"

namespace tarnwick {

struct ActivityPaths {
    explicit ActivityPaths(std::string_view directory);

    std::string file;         // "_activity.tab"
    std::string replacement;  // "_activity.tmp"
    std::string block;        // "_activity.blk"
};

// Takes the lock of the directory, for as long as it takes.
void LockActivity(BlockFileLock& lock, const ActivityPaths& paths);

// Writes the content and closes the file; false when anything failed.
bool WriteActivity(File& file, std::string_view bytes);

// DOS date (high 16 bits) and time (low 16 bits) of the file's last write, in UTC; 0 when neither
// the file nor its directory entry tells it.
std::uint32_t ReadActivityStamp(const std::string& path);

// How often the files are tried again that somebody else holds open for a moment. Each failed try
// waits a second; warnings and the final failure go to the log.
inline constexpr int kActivityRetries = 15;

// Deletes; a file that is not there counts as deleted. Without `retry` there is one try, otherwise
// up to `maxAttempts` + 2.
bool DeleteWithRetry(const std::string& path, bool retry, int maxAttempts);

// Renames; fails at once when `from` or a folder is missing.
bool MoveWithRetry(const std::string& from, const std::string& to, bool retry, int maxAttempts);

// Deletes `filePath` and moves `replacementPath` to its name. Whether the move succeeded.
bool ReplaceActivityFile(const std::string& replacementPath, const std::string& filePath);

}  // namespace tarnwick

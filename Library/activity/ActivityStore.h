// The files of one directory's activity file, and writing one whole. Whoever uses them holds the
// directory's block-file lock.
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

}  // namespace tarnwick

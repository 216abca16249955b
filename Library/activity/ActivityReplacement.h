// Deleting and moving files that somebody else may hold open for a moment, and with them the swap
// that puts a rewritten activity file in place. Each failed try waits a second; warnings and the
// final failure go to the log.
#pragma once

#include <string>

namespace tarnwick {

// How often the files of an activity file are tried again.
inline constexpr int kActivityRetries = 15;

// Deletes; a file that is not there counts as deleted. Without `retry` there is one try, otherwise
// up to `maxAttempts` + 2.
bool DeleteWithRetry(const std::string& path, bool retry, int maxAttempts);

// Renames; fails at once when `from` or a folder is missing.
bool MoveWithRetry(const std::string& from, const std::string& to, bool retry, int maxAttempts);

// Deletes `filePath` and moves `replacementPath` to its name. Whether the move succeeded.
bool ReplaceActivityFile(const std::string& replacementPath, const std::string& filePath);

}  // namespace tarnwick

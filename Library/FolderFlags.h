// The flag files of a store folder. Their existence is the message; their text is for people.
#pragma once

#include <atomic>
#include <string>

namespace tarnwick {

// "_CHANGE.DTY": the folder changed behind its index, and the next open scans it again.
// Writes the flag; false when it could not be written.
bool MarkFolderChanged(const std::string& folder);

// The same with all memory that it needs taken beforehand, for handlers of failures.
class ChangeMark {
  public:
    explicit ChangeMark(const std::string& folder);
    bool Write() const;

  private:
    std::string path_;
};

bool IsFolderMarkedChanged(const std::string& folder);
// Removes the flag; true when there was one, also when it could not be removed.
bool ClearFolderChanged(const std::string& folder);

// Whether transactions may be kept in memory before they are written; off unless the host turns it
// on. While it is off the three operations below do nothing and give false.
std::atomic<bool>& CachedTransactionsEnabled();

// "_CACHED.DTY": there are transactions in memory that are not on disk.
bool WriteCachedFlag(const std::string& folder);
bool HasCachedFlag(const std::string& folder);
bool DeleteCachedFlag(const std::string& folder);

}  // namespace tarnwick

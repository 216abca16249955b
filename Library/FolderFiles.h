// The files of a store folder beside its index: messages, and flags.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

// Extension of the message files of a folder type, without the dot; null for any other number.
const char* MessageFileExtension(FolderType folderType);

struct MessageFile {
    std::string name;
    std::uint64_t size = 0;
    std::uint64_t lastWrite = 0;  // file time, 100 ns units since 1601-01-01 UTC
};

// The folder's files with that extension in the order of their names without regard to case, at
// most "Maximum Index Rows" of them (100000 unless the registry says otherwise). Files whose name
// begins with "_" are the store's own (an edit under way) and not listed. No value when the folder
// could not be listed to its end: a caller must not take that for files that have gone.
std::optional<std::vector<MessageFile>> ListMessageFiles(const std::string& folder,
                                                         const char* extension);

// Flag files: their existence is the message; their text is for people.
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

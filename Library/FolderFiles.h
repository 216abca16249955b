// The message files of a store folder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnwick {

// The folder types of the store, as every index operation receives them.
enum FolderType : std::uint32_t {
    kMailFolder = 0,
    kContactsFolder = 1,
    kCalendarFolder = 2,
    kTaskFolder = 3,
    kGroupsFolder = 54,
};

// Extension of the message files of a folder type, without the dot; null for any other number.
const char* MessageFileExtension(std::uint32_t folderType);

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

}  // namespace tarnwick

// What an index says of a message, taken from what its file holds.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

struct NamedValue {
    std::string name;
    std::string value;
};

// How many bytes at the beginning of a message file are looked at; none of a group.
std::size_t ItemTextLimit(FolderType folderType);

// What a message file that begins with `text` gives. A mail: FROM, TO, CC, SUBJECT and MESSAGEDATE,
// for those header fields (RFC 5322) that it has: the first of each name, unfolded, without blanks
// around it, encoded words as they stand; line ends may be CR LF or LF. A contact: its name and
// address. An event or task: subject, dates, importance and the like.
std::vector<NamedValue> ItemIndexProperties(FolderType folderType, std::string_view text);

}  // namespace tarnwick

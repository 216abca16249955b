// Taking tags apart.
#pragma once

#include <optional>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/ByteLanes.h"

namespace tarnwick {

inline bool IsBlank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// Without the blanks, tabs and line breaks at either end.
inline std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

struct TagAttribute {
    std::string_view name;
    std::string_view value;
};

// Takes the next attribute, a name, "=" and a value in double quotes, off the front of `rest`,
// which holds more than blanks and has kSlack bytes behind it; nothing when there is none.
std::optional<TagAttribute> TakeTagAttribute(std::string_view& rest);

}  // namespace tarnwick

// Taking tags apart.
#pragma once

#include <optional>
#include <string_view>

namespace tarnwick {

// Without the blanks, tabs and line breaks at either end.
std::string_view TrimBlanks(std::string_view text);

struct TagAttribute {
    std::string_view name;
    std::string_view value;
};

// What stands behind a tag's name.
std::string_view AttributeText(std::string_view tag);

// Takes the next attribute, a name, "=" and a value in double quotes, off the front of `rest`,
// which holds more than blanks; nothing when there is none.
std::optional<TagAttribute> TakeTagAttribute(std::string_view& rest);

}  // namespace tarnwick

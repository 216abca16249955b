#include "Library/LIBStoreIndexSerialisation/IndexTag.h"

namespace tarnwick {

std::optional<TagAttribute> TakeTagAttribute(std::string_view& rest) {
    // Names are too short for a search by lanes.
    std::size_t equals = 0;
    while (equals < rest.size() && rest[equals] != '=') ++equals;
    std::size_t open = equals + 1;
    while (open < rest.size() && IsBlank(rest[open])) ++open;
    if (open >= rest.size() || rest[open] != '"') return std::nullopt;
    const std::string_view name = TrimBlanks(rest.substr(0, equals));
    rest.remove_prefix(open + 1);
    const std::size_t length = FindInLanes(rest, '"');
    if (length == rest.size()) return std::nullopt;
    const std::string_view value = rest.substr(0, length);
    rest.remove_prefix(length + 1);
    return TagAttribute{name, value};
}

}  // namespace tarnwick

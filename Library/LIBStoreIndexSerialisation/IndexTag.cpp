#include "Library/LIBStoreIndexSerialisation/IndexTag.h"

#include "common/Scan.h"

namespace tarnwick {
namespace {

bool IsBlank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

}  // namespace

std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::string_view AttributeText(std::string_view tag) {
    while (!tag.empty() && !IsBlank(tag.front())) tag.remove_prefix(1);
    return tag;
}

std::optional<TagAttribute> TakeTagAttribute(std::string_view& rest) {
    // Names are too short for a search by lanes.
    std::size_t equals = 0;
    while (equals < rest.size() && rest[equals] != '=') ++equals;
    std::size_t open = equals + 1;
    while (open < rest.size() && IsBlank(rest[open])) ++open;
    if (open >= rest.size() || rest[open] != '"') return std::nullopt;
    const std::size_t close = FindByte(rest, '"', open + 1);
    if (close == kNotFound) return std::nullopt;
    const std::string_view name = TrimBlanks(rest.substr(0, equals));
    const std::string_view value = rest.substr(open + 1, close - open - 1);
    rest.remove_prefix(close + 1);
    return TagAttribute{name, value};
}

}  // namespace tarnwick

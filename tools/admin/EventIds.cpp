#include "tools/admin/EventIds.h"

#include <algorithm>
#include <cstdint>

#include "common/Text.h"

namespace tarnwick::admin {
namespace {

constexpr std::size_t kLongestId = 63;
constexpr std::string_view kItemExtension = ".ICS";
constexpr std::size_t kKeptLength = 40;
constexpr std::size_t kFingerprintLength = 16;
// IDs up to this length have room for "#" and five digits behind them.
constexpr std::size_t kLongestNumbered = kLongestId - 6;

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
    return lower;
}

bool IsPlainByte(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '@' || byte == '.';
}

// Whether a file can have this name in front of its extension, on every system and beside the
// names that devices have.
bool IsPlainName(std::string_view name) {
    constexpr std::size_t kLongestDeviceName = 4;
    return std::all_of(name.begin(), name.end(), IsPlainByte) && name.find("..") == name.npos &&
           std::min(name.find('.'), name.size()) > kLongestDeviceName;
}

// A name made of plain bytes alone, different for different names.
std::string WithFingerprint(std::string_view name, const std::string& fingerprint) {
    std::string replaced(name.substr(0, kKeptLength));
    std::replace_if(
        replaced.begin(), replaced.end(),
        [](char byte) { return !IsPlainByte(byte) || byte == '.'; }, '_');
    return replaced + "~" + fingerprint;
}

// Whether a name looks like those that ReplacedName makes.
bool IsReplaced(std::string_view name) {
    const std::size_t tilde = name.rfind('~');
    return tilde != name.npos && tilde + 1 + kFingerprintLength == name.size() &&
           name.find_first_not_of("0123456789abcdef", tilde + 1) == name.npos &&
           name.find('.') == name.npos &&
           std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(tilde),
                       IsPlainByte);
}

std::string ItemName(std::string_view id, std::size_t longest) {
    const bool stays = id.size() <= longest && IsPlainName(id);
    return (stays ? std::string(id) : ReplacedName(id)) + std::string(kItemExtension);
}

// The name that import gives to the item of an ID.
std::string ItemNameOf(std::string_view id) {
    if (IsReplaced(id)) return std::string(id) + std::string(kItemExtension);
    return ItemName(id, kLongestNumbered);
}

}  // namespace

std::string Fingerprint(std::string_view text) {
    std::uint64_t hash = 0xCBF2'9CE4'8422'2325;
    for (const char byte : text) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100'0000'01B3;
    }
    std::string digits;
    for (int shift = 60; shift >= 0; shift -= 4) digits += "0123456789abcdef"[hash >> shift & 15];
    return digits;
}

std::string ReplacedName(std::string_view name) {
    return WithFingerprint(name, Fingerprint(Lower(name)));
}

std::string NumberedId(const std::string& id, std::size_t number) {
    const std::string suffix = "#" + std::to_string(number);
    return (id.size() <= kLongestNumbered || IsReplaced(id) ? id : ReplacedName(id)) + suffix;
}

std::optional<std::string_view> WithoutNumber(std::string_view id) {
    const std::size_t mark = id.find_last_not_of("0123456789");
    if (mark == id.npos || mark == 0 || mark + 1 == id.size() || id[mark] != '#') {
        return std::nullopt;
    }
    return id.substr(0, mark);
}

std::vector<std::string> EventItemNames(std::string_view id) {
    // Earlier versions made other names for long and odd IDs, and an item for each "#2".
    std::vector<std::string> names{ItemNameOf(id)};
    const auto add = [&names](const std::string& name) {
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    };
    add(ItemName(id, kLongestId - kItemExtension.size()));
    if (const auto stem = WithoutNumber(id)) add(ItemNameOf(*stem));
    return names;
}

std::string UniqueIds::MakeUnique(const std::string& id) {
    std::string unique = id;
    for (int number = 2; !used_.insert(Lower(unique)).second; ++number) {
        unique = WithFingerprint(id, Fingerprint(id + "#" + std::to_string(number)));
    }
    return unique;
}

}  // namespace tarnwick::admin

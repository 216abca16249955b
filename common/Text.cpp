#include "common/Text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "common/Scan.h"

namespace tarnwick {
namespace {

bool IsSpace(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

template <typename Integer>
Integer ParseInteger(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size() && IsSpace(text[at])) ++at;
    const bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
    // from_chars takes a minus sign of its own, so a second sign must be ruled out here.
    if (at == text.size() || text[at] < '0' || text[at] > '9') return 0;
    if (negative) --at;
    Integer value = 0;
    const auto result = std::from_chars(text.data() + at, text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        return negative ? std::numeric_limits<Integer>::min() : std::numeric_limits<Integer>::max();
    }
    return value;
}

// Whether each of eight bytes is a digit: '0' to '?' by its high half, and so with 6 added.
bool AreEightDigits(const char* bytes) {
    constexpr std::uint64_t kHighHalves = 0xF0F0F0F0F0F0F0F0;
    constexpr std::uint64_t kDigits = 0x3030303030303030;
    constexpr std::uint64_t kSixes = 0x0606060606060606;
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return (word & kHighHalves) == kDigits && ((word + kSixes) & kHighHalves) == kDigits;
}

// At most sixteen.
bool AreDigits(std::string_view text) {
    if (text.size() >= 8) {
        return AreEightDigits(text.data()) && AreEightDigits(text.data() + text.size() - 8);
    }
    return std::all_of(text.begin(), text.end(),
                       [](char digit) { return digit >= '0' && digit <= '9'; });
}

}  // namespace

std::string_view FieldText(std::span<const char> field) {
    return {field.data(), BoundedLength(field.data(), field.size())};
}

std::string_view UpToNul(std::string_view text) {
    return text.substr(0, BoundedLength(text.data(), text.size()));
}

void StoreField(std::span<char> field, std::string_view text) {
    if (field.empty()) return;
    const std::size_t length = std::min(text.size(), field.size() - 1);
    if (length != 0) std::memmove(field.data(), text.data(), length);
    field[length] = '\0';
}

bool EqualsIgnoreCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() && StartsWithIgnoreCase(left, right);
}

bool StartsWithIgnoreCase(std::string_view text, std::string_view prefix) {
    if (prefix.size() > text.size()) return false;
    std::size_t at = 0;
    // Most names that are equal are so byte for byte, and most others begin alike.
    while (prefix.size() - at >= sizeof(std::uint64_t) &&
           std::memcmp(text.data() + at, prefix.data() + at, sizeof(std::uint64_t)) == 0) {
        at += sizeof(std::uint64_t);
    }
    for (; at < prefix.size(); ++at) {
        if (text[at] != prefix[at] && LowerAscii(text[at]) != LowerAscii(prefix[at])) return false;
    }
    return true;
}

std::size_t FindTextIgnoreCase(std::string_view text, std::string_view wanted, std::size_t from) {
    if (from > text.size() || wanted.size() > text.size() - from) return kNotFound;
    if (wanted.empty()) return from;
    const std::string_view starts = text.substr(0, text.size() - wanted.size() + 1);
    const char lower = LowerAscii(wanted[0]);
    const char upper =
        lower >= 'a' && lower <= 'z' ? static_cast<char>(lower - ('a' - 'A')) : lower;
    for (std::size_t at = FindEither(starts, lower, upper, from); at != kNotFound;
         at = FindEither(starts, lower, upper, at + 1)) {
        if (StartsWithIgnoreCase(text.substr(at), wanted)) return at;
    }
    return kNotFound;
}

std::int32_t ParseInt32(std::string_view text) {
    return ParseInteger<std::int32_t>(text);
}
std::int64_t ParseInt64(std::string_view text) {
    return ParseInteger<std::int64_t>(text);
}

bool IsPrintedInt32(std::string_view text) {
    constexpr std::size_t kMostDigits = 10;
    if (text.empty() || text.size() > kMostDigits) return false;
    if (text[0] == '0' && text.size() > 1) return false;
    if (text.size() == kMostDigits && text[0] != '1') return false;
    return AreDigits(text);
}

void AppendDecimal(std::string& text, std::int64_t number) {
    char digits[20];
    const auto result = std::to_chars(digits, digits + sizeof digits, number);
    text.append(digits, result.ptr);
}

std::optional<std::string_view> DelimitedField(std::string_view text, std::string_view delimiter,
                                               int number) {
    std::size_t start = 0;
    std::size_t end = FindText(text, delimiter);
    if (end == kNotFound) {
        if (number > 1) return std::nullopt;
        return text;
    }
    for (int field = 1; field < number; ++field) {
        start = end + delimiter.size();
        end = FindText(text, delimiter, start);
        // Beyond the last field the last: kept, since lines that lack a tab have always read so.
        if (end == kNotFound) return text.substr(start);
    }
    return text.substr(start, end - start);
}

bool GetDelimitedField(std::string_view text, std::string_view delimiter, int number,
                       std::span<char> output) {
    const auto field = DelimitedField(text, delimiter, number);
    if (!field || output.empty()) return false;
    const bool fits = field->size() < output.size();
    StoreField(output, fits ? *field : std::string_view());
    return fits;
}

std::size_t GetTextBetween(std::string_view text, std::string_view firstMarker,
                           std::string_view secondMarker, std::span<char> output) {
    const std::size_t first = FindText(text, firstMarker);
    if (first == kNotFound) return 0;
    const std::size_t start = first + firstMarker.size();
    const std::size_t end = FindText(text, secondMarker, start);
    if (end == kNotFound) return 0;
    StoreField(output, text.substr(start, end - start));
    return end + secondMarker.size();
}

std::string FormatPath(std::string_view format, std::initializer_list<std::string_view> arguments) {
    constexpr std::string_view kPlaceholder = "%s";
    std::string path;
    path.reserve(kPathCapacity);
    std::size_t from = 0;
    for (const std::string_view argument : arguments) {
        const std::size_t at = FindText(format, kPlaceholder, from);
        if (at == kNotFound) break;
        path.append(format, from, at - from).append(argument);
        from = at + kPlaceholder.size();
    }
    path.append(format, from);
    if (path.size() >= kPathCapacity) path.resize(kPathCapacity - 1);
    return path;
}

}  // namespace tarnwick

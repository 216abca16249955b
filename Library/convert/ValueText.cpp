#include "Library/convert/ValueText.h"

#include "common/Scan.h"

namespace tarnwick {
namespace {

int HexDigit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

// What a backslash and the first byte of `text` stand for; empty when they stand for themselves.
std::string_view Escaped(std::string_view text, Escapes escapes) {
    const char byte = text.front();
    if (escapes == Escapes::Old) return byte == ';' ? text.substr(0, 1) : std::string_view();
    return byte == 'n' || byte == 'N' ? "\r\n" : text.substr(0, 1);
}

}  // namespace

std::string DecodeQuotedPrintable(std::string_view value) {
    std::string decoded;
    std::size_t from = 0;
    for (std::size_t at = FindByte(value, '='); at != kNotFound; at = FindByte(value, '=', from)) {
        decoded.append(value, from, at - from);
        const int high = at + 1 < value.size() ? HexDigit(value[at + 1]) : -1;
        const int low = at + 2 < value.size() ? HexDigit(value[at + 2]) : -1;
        const bool isPair = high >= 0 && low >= 0;
        const char byte = isPair ? static_cast<char>(high * 16 + low) : '=';
        // Written out again, a NUL would end what no reader takes for a text.
        if (byte != '\0') decoded += byte;
        from = at + (isPair ? 3 : 1);
    }
    return decoded.append(value, from);
}

std::string Unescape(std::string_view value, Escapes escapes) {
    if (escapes == Escapes::None) return std::string(value);
    std::string text;
    std::size_t from = 0;
    for (std::size_t at = FindByte(value, '\\'); at != kNotFound && at + 1 < value.size();
         at = FindByte(value, '\\', from)) {
        const std::string_view meant = Escaped(value.substr(at + 1), escapes);
        text.append(value, from, at - from);
        text += meant.empty() ? value.substr(at, 2) : meant;
        from = at + 2;
    }
    return text.append(value, from);
}

std::string TextOfValue(std::string_view value, LineEncoding encoding, Escapes escapes) {
    if (encoding == LineEncoding::QuotedPrintable) {
        return Unescape(DecodeQuotedPrintable(value), escapes);
    }
    return Unescape(value, escapes);
}

std::string EscapeText(std::string_view text) {
    std::string escaped;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char byte = text[at];
        if (byte == '\r' && at + 1 < text.size() && text[at + 1] == '\n') continue;
        if (byte == '\n' || byte == '\r') {
            escaped += "\\n";
        } else if ((static_cast<unsigned char>(byte) >= ' ' && byte != '\x7F') || byte == '\t') {
            if (byte == '\\' || byte == ',' || byte == ';') escaped += '\\';
            escaped += byte;
        }
    }
    return escaped;
}

std::optional<std::int32_t> TakeDigits(std::string_view& text) {
    constexpr std::size_t kMostDigits = 9;
    std::int32_t number = 0;
    std::size_t count = 0;
    for (; count < text.size() && text[count] >= '0' && text[count] <= '9'; ++count) {
        if (count == kMostDigits) return std::nullopt;
        number = number * 10 + (text[count] - '0');
    }
    if (count == 0) return std::nullopt;
    text.remove_prefix(count);
    return number;
}

std::optional<std::int32_t> ParseWholeNumber(std::string_view text) {
    const int sign = text.starts_with('-') ? -1 : 1;
    if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
    const auto number = TakeDigits(text);
    if (!number || !text.empty()) return std::nullopt;
    return sign * *number;
}

}  // namespace tarnwick

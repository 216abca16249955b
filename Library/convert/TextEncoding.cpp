#include "Library/convert/TextEncoding.h"

#include <cstdint>
#include <cstring>

namespace tarnwick {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// What Windows-1252 has where ISO-8859-1 has control characters.
constexpr char16_t kFrom0x80[] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                  0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                  0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                  0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

unsigned ByteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

void AppendUtf8(std::string& text, char32_t character) {
    const auto add = [&text](char32_t bits) { text += static_cast<char>(bits); };
    if (character < 0x80) return add(character);
    if (character < 0x800) {
        add(0xC0 | character >> 6);
    } else if (character < 0x10000) {
        add(0xE0 | character >> 12);
        add(0x80 | (character >> 6 & 0x3F));
    } else {
        add(0xF0 | character >> 18);
        add(0x80 | (character >> 12 & 0x3F));
        add(0x80 | (character >> 6 & 0x3F));
    }
    add(0x80 | (character & 0x3F));
}

// Position of the first byte at or behind `at` that is not ASCII.
std::size_t SkipAscii(std::string_view text, std::size_t at) {
    constexpr std::uint64_t kHighBits = 0x8080'8080'8080'8080;
    std::uint64_t word = 0;
    for (; at + sizeof word <= text.size(); at += sizeof word) {
        std::memcpy(&word, text.data() + at, sizeof word);
        if ((word & kHighBits) != 0) break;
    }
    while (at < text.size() && ByteAt(text, at) < 0x80) ++at;
    return at;
}

// Position behind the line ends and the blank of a fold; `at` itself where there is none.
std::size_t SkipFold(std::string_view text, std::size_t at) {
    std::size_t end = at;
    while (end < text.size() && (text[end] == '\r' || text[end] == '\n')) ++end;
    const bool isFold = end != at && end < text.size() && (text[end] == ' ' || text[end] == '\t');
    return isFold ? end + 1 : at;
}

// The well-formed sequences of the Unicode standard, by their first byte.
struct Sequence {
    int following = -1;
    unsigned low = 0x80;  // bounds of the second byte
    unsigned high = 0xBF;
};

Sequence SequenceOf(unsigned first) {
    if (first >= 0xC2 && first <= 0xDF) return {1};
    if (first == 0xE0) return {2, 0xA0};
    if (first == 0xED) return {2, 0x80, 0x9F};
    if (first >= 0xE1 && first <= 0xEF) return {2};
    if (first == 0xF0) return {3, 0x90};
    if (first >= 0xF1 && first <= 0xF3) return {3};
    if (first == 0xF4) return {3, 0x80, 0x8F};
    return {};
}

bool IsUtf8(std::string_view text, bool foldsCount) {
    for (std::size_t at = SkipAscii(text, 0); at < text.size(); at = SkipAscii(text, at)) {
        Sequence sequence = SequenceOf(ByteAt(text, at++));
        if (sequence.following < 0) return false;
        for (; sequence.following > 0; --sequence.following) {
            if (foldsCount) at = SkipFold(text, at);
            if (at >= text.size()) return false;
            const unsigned byte = ByteAt(text, at++);
            if (byte < sequence.low || byte > sequence.high) return false;
            sequence.low = 0x80;
            sequence.high = 0xBF;
        }
    }
    return true;
}

}  // namespace

bool IsUtf8Folded(std::string_view text) {
    return IsUtf8(text, true);
}

// Looks at all of it, where it could stop, so that the compiler takes many bytes at a time.
bool HasControls(std::string_view text) {
    unsigned found = 0;
    for (std::size_t at = 0; at + 1 < text.size(); ++at) {
        const unsigned byte = ByteAt(text, at);
        const unsigned next = ByteAt(text, at + 1);
        const unsigned isControl =
            (byte < ' ' && byte != '\t' && byte != '\n' && byte != '\r') || byte == 0x7F;
        const unsigned isLone = byte == '\r' && next != '\r' && next != '\n';
        found |= isControl | isLone;
    }
    return found != 0 || (!text.empty() && text.back() != '\n' && IsControl(text.back()));
}

bool IsUtf8(std::string_view text) {
    return IsUtf8(text, false);
}

std::string Utf8OfWindows1252(std::string_view text) {
    std::string utf8;
    utf8.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const unsigned byte = ByteAt(text, at);
        AppendUtf8(utf8, byte >= 0x80 && byte < 0xA0 ? kFrom0x80[byte - 0x80] : byte);
    }
    return utf8;
}

std::string Utf8OrWindows1252(std::string text) {
    return IsUtf8(text) ? text : Utf8OfWindows1252(text);
}

std::optional<std::string> Utf8OfUtf16(std::string_view text) {
    const bool isLittle = text.starts_with("\xFF\xFE");
    if (!isLittle && !text.starts_with("\xFE\xFF")) return std::nullopt;
    const auto unitAt = [text, isLittle](std::size_t at) -> char32_t {
        const unsigned first = ByteAt(text, at);
        const unsigned second = ByteAt(text, at + 1);
        return isLittle ? second << 8 | first : first << 8 | second;
    };
    std::string utf8;
    utf8.reserve(text.size());
    for (std::size_t at = 2; at + 1 < text.size(); at += 2) {
        char32_t character = unitAt(at);
        if (character >= 0xD800 && character < 0xE000) {
            const char32_t low = at + 3 < text.size() ? unitAt(at + 2) : 0;
            const bool isPair = character < 0xDC00 && low >= 0xDC00 && low < 0xE000;
            if (isPair) at += 2;
            character =
                isPair ? 0x10000 + ((character & 0x3FF) << 10 | (low & 0x3FF)) : kReplacement;
        }
        AppendUtf8(utf8, character);
    }
    return utf8;
}

}  // namespace tarnwick

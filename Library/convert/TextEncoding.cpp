#include "Library/convert/TextEncoding.h"

#include <emmintrin.h>
#include <algorithm>
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

// Whether one of 16 bytes is a control character and neither tab nor part of a line end; `next` are
// those one place on.
bool HasStrayControl(__m128i bytes, __m128i next) {
    const auto is = [](__m128i lane, char byte) {
        return _mm_cmpeq_epi8(lane, _mm_set1_epi8(byte));
    };
    const __m128i isLow = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(0x1F)), bytes);
    const __m128i isBlank = _mm_or_si128(is(bytes, '\t'), is(bytes, '\n'));
    const __m128i isReturn =
        _mm_and_si128(is(bytes, '\r'), _mm_or_si128(is(next, '\r'), is(next, '\n')));
    const __m128i isStray = _mm_andnot_si128(_mm_or_si128(isBlank, isReturn), isLow);
    return _mm_movemask_epi8(_mm_or_si128(isStray, is(bytes, 0x7F))) != 0;
}

__m128i LaneAt(const char* bytes) {
    __m128i lane;
    std::memcpy(&lane, bytes, sizeof lane);
    return lane;
}

}  // namespace

bool IsUtf8Folded(std::string_view text) {
    return IsUtf8(text, true);
}

bool HasControls(std::string_view text) {
    constexpr std::size_t kLane = sizeof(__m128i);
    std::size_t at = 0;
    for (; at + kLane < text.size(); at += kLane) {
        if (HasStrayControl(LaneAt(text.data() + at), LaneAt(text.data() + at + 1))) return true;
    }
    // The rest, and a line end behind it.
    char rest[kLane + 1];
    std::memset(rest, '\n', sizeof rest);
    std::copy(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), rest);
    return HasStrayControl(LaneAt(rest), LaneAt(rest + 1));
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
    if (!IsUtf8(text)) text = Utf8OfWindows1252(text);
    return text;
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

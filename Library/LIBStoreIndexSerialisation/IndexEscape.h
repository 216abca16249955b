// The escaping of property values in an index file. Nothing else in the file is escaped.
#pragma once

#include <string>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/ByteLanes.h"

namespace tarnwick {

// Escapes `text` in place: first the ampersand, then both angle brackets (for attribute use also
// both quotes), then each byte that is no valid XML character as "&#x", its value in lower-case
// hexadecimal, ";". A byte counts as a signed number, so that 0x80 to 0xFF are all escaped: 8-bit
// text survives whatever code page it is in.
void EscapeXmlText(std::string& text, bool forAttributeUse);

// The reverse in place: first each "&#" up to the next ";" becomes one byte, as long as there is
// one (a byte that completes another reference counts), then the named entities, the ampersand
// last. Takes time linear in the text.
void UnescapeXmlText(std::string& text, bool forAttributeUse);

// What one byte becomes at most.
inline constexpr std::size_t kLongestEscape = std::string_view("&#xff;").size();
// The size of `text` when it is escaped for element text.
std::size_t EscapedSize(std::string_view text);

// Both ways for element text, appended to `output`. They read up to kSlack bytes behind the text,
// which its owner sees to.
void AppendEscaped(ByteBuffer& output, std::string_view text);
void AppendUnescaped(ByteBuffer& output, std::string_view text);

// A text's length as it stands in the file, and of what it becomes. Fits into two registers.
struct UnescapedText {
    std::size_t length;
    std::size_t size;
    bool IsNone() const { return length == std::string_view::npos; }
};

inline constexpr auto kAmpersandOrTagMask = [](__m128i lane) {
    return BitsOf(_mm_or_si128(_mm_cmpeq_epi8(lane, _mm_set1_epi8('&')),
                               _mm_cmpeq_epi8(lane, _mm_set1_epi8('<'))));
};

// Goes on for UnescapeUpToTag behind `plain` copied bytes that an ampersand follows.
UnescapedText UnescapeUpToTagFrom(std::size_t plain, char* to, std::string_view text);

// Unescapes `text` up to its first "<" into the room of `output`, where it counts with Extend.
// None when there is no "<", or when the text has references that a save does not write.
inline UnescapedText UnescapeUpToTag(ByteBuffer& output, std::string_view text) {
    char* const to = output.Room(text.size());
    const std::size_t plain = CopyUntil(to, text.data(), text.size(), kAmpersandOrTagMask);
    if (plain == text.size()) return {std::string_view::npos, 0};
    return text[plain] == '<' ? UnescapedText{plain, plain} : UnescapeUpToTagFrom(plain, to, text);
}

}  // namespace tarnwick

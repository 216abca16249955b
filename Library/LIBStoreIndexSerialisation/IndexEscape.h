// The escaping of property values in an index file. Nothing else in the file is escaped.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

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

// Unescapes to `to` a text whose ampersands are the marks from `mark` on, before the mark `end`,
// and which begins with the first of them. Gives the end of what it wrote, which is no longer than
// the text; null when the text has references that a save does not write.
char* UnescapeMarked(char* to, const char* bytes, const std::uint32_t* mark,
                     const std::uint32_t* end);

}  // namespace tarnwick

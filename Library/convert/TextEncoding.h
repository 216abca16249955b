// The encodings in which calendar and card files come.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnwick {

// What there is to know of a whole file before its lines are taken over.
struct TextShape {
    bool isUtf8 = true;   // a line folded within a character counts as one line
    bool isClean = true;  // no control characters but tabs and line ends
};

TextShape ShapeOf(std::string_view text);

bool IsUtf8(std::string_view text);

// The five bytes that Windows-1252 does not use become the control characters of their numbers.
std::string Utf8OfWindows1252(std::string_view text);

// The text itself where it is UTF-8, else as Windows-1252.
std::string Utf8OrWindows1252(std::string text);

// A text that begins with UTF-16's byte order mark in UTF-8; no value for any other. Half a
// surrogate pair becomes U+FFFD, a last odd byte is dropped.
std::optional<std::string> Utf8OfUtf16(std::string_view text);

}  // namespace tarnwick

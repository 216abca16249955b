// The encodings in which calendar and card files come.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnwick {

// Whether a text is UTF-8; a line that is folded within a character counts as one line.
bool IsUtf8Folded(std::string_view text);

// Whether there is a control character but tabs and line ends.
bool HasControls(std::string_view text);
inline bool IsControl(char byte) {
    return (static_cast<unsigned char>(byte) < ' ' && byte != '\t') || byte == 0x7F;
}

bool IsUtf8(std::string_view text);

// The five bytes that Windows-1252 does not use become the control characters of their numbers.
std::string Utf8OfWindows1252(std::string_view text);

// The text itself where it is UTF-8, else as Windows-1252.
std::string Utf8OrWindows1252(std::string text);

// A text that begins with UTF-16's byte order mark in UTF-8; no value for any other. Half a
// surrogate pair becomes U+FFFD, a last odd byte is dropped.
std::optional<std::string> Utf8OfUtf16(std::string_view text);

}  // namespace tarnwick

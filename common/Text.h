// Text helpers shared by every room: 8-bit text in the system code page, no locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tarnwick {

// The capacity that every path and registry text of the system has, terminator included.
inline constexpr std::size_t kPathCapacity = 1024;

// The text of a fixed-size field: up to its first NUL, or all of it when it holds none.
std::string_view FieldText(std::span<const char> field);

// The text up to its first NUL; what a C string function would see of it.
std::string_view UpToNul(std::string_view text);

// Copies `text` into `field`, cut to leave room for the terminator, and terminates it. Bytes behind
// the terminator keep their values. Does nothing to a field of no bytes.
void StoreField(std::span<char> field, std::string_view text);

// The letters A to Z in lower case; other bytes unchanged.
inline char LowerAscii(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A'))
                                                : character;
}

// Equality and prefix test in which the letters A to Z stand for their lower-case forms.
bool EqualsIgnoreCase(std::string_view left, std::string_view right);
bool StartsWithIgnoreCase(std::string_view text, std::string_view prefix);

// First occurrence of `wanted` without regard to the case of A to Z, or kNotFound (Scan.h).
std::size_t FindTextIgnoreCase(std::string_view text, std::string_view wanted,
                               std::size_t from = 0);

// Decimal conversion that never fails: leading white space, one sign, digits up to the first other
// byte; no digits give 0. Values beyond the type are held at its limits.
std::int32_t ParseInt32(std::string_view text);
std::int64_t ParseInt64(std::string_view text);

// Whether `text` is what AppendDecimal makes of its ParseInt32. Not found out of a negative number
// and one of 2 000 000 000 and more, which are rare.
bool IsPrintedInt32(std::string_view text);

// Appends a number in decimal.
void AppendDecimal(std::string& text, std::int64_t number);

// Field `number` (from 1) of `text`, whose fields are separated by `delimiter` (one or more bytes,
// matched exactly). A field beyond the last gives the last field, except that a text without any
// delimiter has field 1 (and any below) alone: above that the result is empty (no value).
std::optional<std::string_view> DelimitedField(std::string_view text, std::string_view delimiter,
                                               int number);

// The same into a buffer of fixed size. True when the field was stored. A field that does not fit
// with its terminator leaves an empty text and gives false; a missing field leaves the buffer as it
// was and gives false: kept for compatibility, it holds the field of the line before.
bool GetDelimitedField(std::string_view text, std::string_view delimiter, int number,
                       std::span<char> output);

// Copies the text between the first `firstMarker` (an empty one stands at the beginning) and the
// next `secondMarker` after it into `output`, cut to fit. The result is the position just past the
// second marker; 0, with the output untouched, when a marker is missing.
std::size_t GetTextBetween(std::string_view text, std::string_view firstMarker,
                           std::string_view secondMarker, std::span<char> output);

// Replaces each "%s" of `format` by the next argument and cuts the result to 1023 characters.
std::string FormatPath(std::string_view format, std::initializer_list<std::string_view> arguments);

}  // namespace tarnwick

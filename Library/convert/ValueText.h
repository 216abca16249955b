// Property values as texts: the encodings and escapes under which they travel.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Library/convert/ContentLines.h"

namespace tarnwick {

enum class Escapes {
    None,    // the text stands as it is
    Modern,  // RFC 5545 and RFC 6350: \n and \N are line breaks, others their second byte
    Old,     // vCalendar 1.0 and vCard 2.1: \; is a semicolon
};

// Decodes quoted-printable (RFC 2045); a "=" that begins no hexadecimal pair stays, and a pair that
// stands for NUL is left out.
std::string DecodeQuotedPrintable(std::string_view value);

// Resolves escapes; line breaks become CR LF. A backslash that begins none stays.
std::string Unescape(std::string_view value, Escapes escapes);

// The value of a line as text. Bytes are not converted, whatever the parameter CHARSET says.
std::string TextOfValue(std::string_view value, LineEncoding encoding, Escapes escapes);

// Escapes a text so that it reads back the same under Escapes::Modern, line breaks as CR LF and
// without the control characters that no calendar file may have.
std::string EscapeText(std::string_view text);

// The number that the digits at the front of `text` make, taken off it; no value without digits or
// with more than nine.
std::optional<std::int32_t> TakeDigits(std::string_view& text);

// A whole text that is a decimal number with at most nine digits and perhaps a sign.
std::optional<std::int32_t> ParseWholeNumber(std::string_view text);

}  // namespace tarnwick

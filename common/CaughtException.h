// What the outer edge of an operation says of the exception that it caught.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick {

enum class CaughtKind { ComError, Exception, Other };

struct CaughtException {
    CaughtKind kind;
    std::string text;
};

// To be called in a catch block. The text is the operation's name and one of three: a COM error
// with its code, meaning, source and description; an exception with its text; anything else, whose
// one line has no break. Throws when memory is too short for the text.
CaughtException DescribeCaughtException(std::string_view operation);

// To be called in a catch block: writes this text to the trace, and an exception's to the event log
// too. Never throws.
void ReportCaughtException(std::string_view operation) noexcept;

}  // namespace tarnwick

// Telling of an exception at the outer edge of a store operation.
#pragma once

#include <string_view>

namespace tarnwick {

// To be called in a catch block: writes what was thrown to the trace, as the operation's name and
// one of three texts (a COM error with its code, meaning, source and description; an exception with
// its text, which also goes to the event log; anything else). Never throws.
void ReportCaughtException(std::string_view operation) noexcept;

}  // namespace tarnwick

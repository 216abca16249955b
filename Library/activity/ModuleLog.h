// The store library's log: the debug trace and the event log.
#pragma once

#include <string_view>

namespace tarnwick {

// Writes `text`, cut to 1023 characters, to the trace and to the event log: as an error or a
// warning when it begins with "TW-E" or "TW-W", as information otherwise.
void LogMessage(std::string_view text);

}  // namespace tarnwick

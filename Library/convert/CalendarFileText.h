// Writes items as a calendar file for other programs, as RFC 5545 has it. The item texts of
// ItemText.h are the store's own form; this one is escaped, folded and valid.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "Library/convert/CalendarReader.h"

namespace tarnwick {

// One VCALENDAR of all the items, each stamped with the file time `now`. Properties that are
// missing have no line. Texts go in byte for byte; they are UTF-8 when what was read was.
std::string CalendarFileText(std::span<CalendarItem> items, std::uint64_t now);

}  // namespace tarnwick

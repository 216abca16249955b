// The lines that RFC 5545 has for what item properties hold. The texts of ItemText.h are the
// store's own form of the same.
#pragma once

#include <string>

#include "Library/convert/ItemProperties.h"

namespace tarnwick {

// The lines (as CalendarItem::lines) of a VEVENT or VTODO with these properties, without DTSTAMP.
// Times are UTC, properties that are missing have no line, bytes that are no UTF-8 are taken as
// Windows-1252.
// An end before the start has no line either.
std::string EventLines(PropertySource& event);
std::string TaskLines(PropertySource& task);

// The value of the RRULE that the recurrence properties mean; empty when there is none. The store's
// own rule texts lose intervals and carry two ends and positions that no reader knows.
std::string RuleOf(PropertySource& item);

}  // namespace tarnwick

// Reads events and tasks out of iCalendar (RFC 5545) and vCalendar 1.0 text.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "Library/convert/ItemProperties.h"
#include "Library/convert/ReadProblem.h"

namespace tarnwick {

enum class ItemKind { Event, Task };

// A VEVENT or VTODO as the properties of PropertyNames.h that its kind has. A property whose line
// is missing or empty is missing.
struct CalendarItem {
    ItemKind kind = ItemKind::Event;
    std::size_t line = 0;  // of its BEGIN
    ItemPropertyContainer properties;
};

struct CalendarReading {
    // In the order of the text; none after a failure.
    std::vector<CalendarItem> items;
    // What was left out or assumed.
    std::vector<ReadProblem> notes;
    // Why the text cannot be read.
    std::optional<ReadProblem> failure;
};

// Reads a text of one or more VCALENDARs. Takes time and memory in proportion to its length and
// throws nothing but std::bad_alloc, whatever the text is. docs/vcalendar.md says what becomes
// what.
CalendarReading ReadCalendarText(std::string_view text);

}  // namespace tarnwick

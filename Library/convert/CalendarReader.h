// Reads events and tasks out of iCalendar (RFC 5545) and vCalendar 1.0 text.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Library/convert/ItemProperties.h"
#include "Library/convert/Remarks.h"
#include "Library/convert/Schedule.h"

namespace tarnwick {

enum class ItemKind { Event, Task };

// A VEVENT or VTODO: what the store's item properties hold of it, when it takes place, and the
// whole of it as it came.
struct CalendarItem {
    ItemKind kind = ItemKind::Event;
    std::size_t line = 0;  // of its BEGIN
    std::string uid;       // UTF-8; empty without one
    // Those of PropertyNames.h that its kind has. A property whose line is missing or empty is
    // missing.
    ItemPropertyContainer properties;
    Schedule schedule;
    // Its content lines, components within it, BEGIN and END included, as RFC 5545 has them:
    // unfolded, escaped, in UTF-8, each ended by "\n". What could not be read is not among them.
    std::string lines;
    // Those that the lines name and the text defines.
    std::vector<std::shared_ptr<const Zone>> zones;
};

struct CalendarReading {
    // In the order of the text, cancelled ones too; none after a failure.
    std::vector<CalendarItem> items;
    // What of the text was not understood, left out or assumed, and what stands instead.
    std::vector<ReadProblem> notes;
    // What stands in the items' lines and not in their properties, which cannot hold it.
    std::vector<ReadProblem> unheld;
    // How many events could not be read at all; each has its note.
    std::size_t leftOut = 0;
    // Why the text cannot be read.
    std::optional<ReadProblem> failure;
};

// Reads a text of one or more VCALENDARs. Takes time and memory in proportion to its length and
// throws nothing but std::bad_alloc, whatever the text is. docs/vcalendar.md says what becomes
// what.
CalendarReading ReadCalendarText(std::string_view text);

}  // namespace tarnwick

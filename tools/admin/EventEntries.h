// Events of calendar files (.ics) as entries with item files, and back.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Library/convert/CalendarReader.h"
#include "tools/admin/EntryLines.h"

namespace tarnwick::admin {

// An entry and the text of the item that belongs to it; empty for an entry without one.
struct ImportedEntry {
    NumberedEntry numbered;
    std::string itemText;
};

struct EventFile {
    std::vector<ImportedEntry> entries;
    // What of the file was passed over or assumed, each with its line.
    std::vector<std::string> notes;
};

// Reads the events of a calendar file. An entry has its event's UID as ID, shortened when it does
// not fit; the second event of one UID gets "#2" behind it. An event that ends at midnight ends a
// second before it, so that it lies in the calendar of its day. Throws Failure (Refused), naming
// the line, when the file cannot be read.
EventFile ParseEventFile(std::string_view text);

// Name of the item file that belongs to the entry with this ID.
std::string EventItemName(std::string_view id);

// The event of an entry: its item's, with the entry's times when they were changed since; without
// an item that holds an event, one with the ID as its subject.
CalendarItem EventOfEntry(const Entry& entry, const std::optional<std::string>& itemText);

}  // namespace tarnwick::admin

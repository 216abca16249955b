// Events of calendar files (.ics) as entries with item files, and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Library/convert/CalendarFileText.h"
#include "tools/admin/EntryText.h"

namespace tarnwick::admin {

// What the planning of entries asks of the system.
struct EntryPlaces {
    // The calendar of an entry by its times.
    std::function<std::string(std::int32_t start, std::int32_t end)> calendarOf;
    // A text in the system code page; no value when that lacks one of its characters.
    std::function<std::optional<std::string>(std::string_view utf8)> toCodePage;
};

// Which occurrences become entries. Without `until` the default holds: those that begin before
// `defaultUntil`, and the first of each event wherever it lies.
struct EntryWindow {
    std::optional<std::int64_t> from;
    std::optional<std::int64_t> until;
    std::int64_t defaultUntil = 0;
};

// All events of one UID: the entries that they become, and the item that belongs to them.
struct PlannedEvent {
    std::size_t line = 0;  // of the first BEGIN
    std::string uid;
    std::string id;  // of its first entry in each calendar
    // Whether the file has changed occurrences alone, and not the event that they are of.
    bool isChange = false;
    std::vector<PlacedEntry> entries;
    std::string itemName;
    std::string itemText;
};

struct EventFile {
    std::vector<PlannedEvent> events;
    // What of the file was left out or assumed.
    std::vector<ReadProblem> notes;
    std::size_t withNotes = 0;  // events that have notes and are not left out
    std::size_t leftOut = 0;    // events that became no entry
    std::size_t beyond = 0;     // occurrences that lie behind the window
    std::size_t endless = 0;    // events whose rules have no end
};

// Reads the events of a calendar file. Each occurrence becomes an entry, in the calendar of its
// times, with its event's UID as ID, shortened when it does not fit; the second in one calendar
// gets
// "#2" behind it. An occurrence that ends at midnight ends a second before it, so that it lies in
// the calendar of its day. Throws Failure (Refused), naming the line, when the text is no calendar.
EventFile ParseEventFile(std::string_view text, const EntryWindow& window,
                         const EntryPlaces& places);

// Gives the event an ID, which its item is named after.
void SetId(PlannedEvent& event, const std::string& id);

// The item for all the occurrences that two items enter, when they hold the same event and nothing
// lies between their windows; no value otherwise.
std::optional<std::string> JoinedItem(std::string_view held, std::string_view added);

// An item file read back.
struct KeptEvent {
    std::vector<CalendarItem> components;
    // Whether every occurrence of `window` was entered; else the first alone.
    bool isSeries = false;
    OccurrenceWindow window;
};

// Throws Failure (Refused) with the reason when the text holds no event.
KeptEvent ReadKeptEvent(std::string_view itemText);

// Whether it is one event without recurrence, which an entry that was moved can move whole.
bool TakesPlaceOnce(const KeptEvent& event);

// An entry that an event was entered as, without its ID, and the component that it is of.
struct KeptEntry {
    PlacedEntry placed;
    std::size_t component = 0;
};
std::vector<KeptEntry> EntriesOf(const KeptEvent& event, const EntryPlaces& places);

// Whether two entries have the same calendar and times.
bool TakesPlaceLike(const PlacedEntry& left, const PlacedEntry& right);

// The lines of an event that takes place when the entry does: as `like` has it but for the times,
// the recurrence and the UID; without it, one with the ID as its subject. Texts are UTF-8.
std::string LinesOfEntry(const Entry& entry, std::string_view uid, std::string_view like);

// The lines of an event that was moved since, with everything but its times.
std::string LinesOfMovedEvent(const Entry& entry, std::string_view lines);

}  // namespace tarnwick::admin

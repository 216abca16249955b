// The text of a calendar file: one entry a line, "start TAB end TAB id". See docs/calendar-file.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/Text.h"
#include "provider/CalendarReader.h"

namespace tarnwick {

// One that ends before it starts is as good as any: callers decide what the two numbers mean.
struct CalendarEntry {
    std::int32_t start;
    std::int32_t end;
    std::string_view id;
};

// Whether an entry with `id` is meant by `wanted`: equal without regard to case, or any when empty.
inline bool MatchesId(std::string_view wanted, std::string_view id) {
    // Callers enumerate and remove whole calendars with an empty one.
    if (wanted.empty()) return true;
    // IDs of one calendar often begin alike, so the last character tells most of them apart.
    return wanted.size() == id.size() && LowerAscii(wanted.back()) == LowerAscii(id.back()) &&
           EqualsIgnoreCase(wanted, id);
}

// The entry in a line; numbers without digits are 0.
CalendarEntry EntryIn(const CalendarLine& line);

// Builds a calendar's bytes. Each line but the first brings its separator along, so that a calendar
// never ends with a line break.
class CalendarBuilder {
  public:
    explicit CalendarBuilder(std::size_t expectedSize) { bytes_.reserve(expectedSize); }
    void Append(const CalendarEntry& entry);

    int Lines() const { return lines_; }
    const std::string& Bytes() const { return bytes_; }

  private:
    std::string bytes_;
    int lines_ = 0;
};

enum class MatchAction { Keep, Drop, Replace };

// One pass over a calendar: what becomes of the entries that match `wantedId`.
struct CalendarChange {
    std::string_view wantedId;
    MatchAction action;
    // Stands in place of each match (Replace), or at the end when nothing matched (Keep).
    CalendarEntry entry;
};

struct ChangedCalendar {
    CalendarBuilder content;
    bool matched;
};

// The calendar after the change. Lines that do not match keep their order and their values; empty
// ones are left out. `size` is what the calendar is expected to have, in bytes.
ChangedCalendar ChangeCalendar(CalendarReader& calendar, std::size_t size,
                               const CalendarChange& change);

}  // namespace tarnwick

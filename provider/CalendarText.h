// The text of a calendar file: one entry a line, "start TAB end TAB id". See docs/calendar-file.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/TextFile.h"
#include "provider/CalendarReader.h"

namespace tarnwick {

// One that ends before it starts is as good as any: callers decide what the two numbers mean.
struct CalendarEntry {
    std::int32_t start;
    std::int32_t end;
    std::string_view id;
};

// The entry in a line; numbers without digits are 0.
CalendarEntry EntryIn(const CalendarLine& line);

// Builds a calendar's bytes. Each line but the first brings its separator along, so that a calendar
// never ends with a line break.
class CalendarBuilder {
  public:
    explicit CalendarBuilder(std::size_t expectedSize) { bytes_.reserve(expectedSize); }
    void Append(const CalendarEntry& entry);
    // Appends the line's entry. The line's text must stay where it is until all is built: lines
    // that stand in their file as they are written are copied together.
    void Append(const CalendarLine& line);

    int Lines() const { return lines_; }
    // To be called once, behind the last line.
    std::string TakeBytes();

  private:
    std::string bytes_;
    LineRun run_;
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
    std::string bytes;
    int lines = 0;
    bool matched = false;
};

// The calendar after the change; `bytes` is what it was on disk. Lines that do not match keep their
// order and their values; empty ones are left out.
ChangedCalendar ChangeCalendar(std::string_view bytes, const CalendarChange& change);

}  // namespace tarnwick

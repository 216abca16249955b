// The text of a calendar file: one entry a line, "start TAB end TAB id". See docs/calendar-file.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/TextFile.h"

namespace tarnwick {

struct CalendarEntry {
    std::int32_t start;
    std::int32_t end;
    std::string_view id;
};

// Whether an entry with `id` is meant by `wanted`: equal without regard to case, or any when empty.
bool MatchesId(std::string_view wanted, std::string_view id);

// The entries of a calendar's bytes as they lie on disk. Every line gives an entry, however damaged
// it is: what is missing of it is taken from what stands before.
class CalendarReader {
  public:
    // `bytes` must outlive the reader and the entries it gives.
    explicit CalendarReader(std::string_view bytes);

    // The next line, whatever it holds, or nothing at the end.
    std::optional<std::string_view> NextLine() { return lines_.Next(); }
    // The next line that is not empty, parsed, or nothing at the end.
    std::optional<CalendarEntry> NextEntry();
    // The entry in a line; lines must be given in their order.
    CalendarEntry Parse(std::string_view line);

  private:
    TextModeLines lines_;
    std::string_view previousId_;
};

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
// ones are left out.
ChangedCalendar ChangeCalendar(std::string_view bytes, const CalendarChange& change);

}  // namespace tarnwick

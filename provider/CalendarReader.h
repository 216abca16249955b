// Reading a calendar line by line, with the C runtime's rules for text files: CR LF pairs are line
// breaks, Ctrl-Z ends the text, and a line of more than 1023 characters comes in pieces that count
// as lines of their own. One pass, no allocation and no copy. See docs/calendar-file.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/TabbedLines.h"
#include "common/Text.h"

namespace tarnwick {

// A line's parts as they stand in the file.
struct CalendarLine {
    std::string_view start;
    std::string_view end;
    std::string_view id;
    std::string_view text;  // all of it, without its break
};

// Whether an entry with `id` is meant by `wanted`: equal without regard to case, or any when empty.
inline bool MatchesId(std::string_view wanted, std::string_view id) {
    // Callers enumerate and remove whole calendars with an empty one.
    if (wanted.empty()) return true;
    // IDs of one calendar often begin alike, so the last character tells most of them apart.
    return wanted.size() == id.size() && LowerAscii(wanted.back()) == LowerAscii(id.back()) &&
           EqualsIgnoreCase(wanted, id);
}

class CalendarReader {
  public:
    // The buffer for one line, its terminator included: a longer line is read in pieces.
    static constexpr std::size_t kLineCapacity = 1024;

    // `bytes` is the calendar as it lies on disk; it must outlive the reader and its lines.
    explicit CalendarReader(std::string_view bytes) : lines_(bytes, kLineCapacity) {}

    // Goes to the next line, whatever it holds; false at the end. What is missing of a line is
    // taken from what stands before: without a tab it ends when it starts and keeps the ID of the
    // line before it, with one tab its last field is the ID too. All behind the second tab is ID.
    bool Next();
    const CalendarLine& Line() const { return line_; }

    // Goes to the next line that is not empty and whose ID is meant by `id`; false at the end.
    bool NextMatch(std::string_view id);

    // Passes over the first `count` lines, unread; fewer when the calendar has fewer. The result is
    // how many there were. To be called before the first line is read.
    std::int32_t Skip(std::int32_t count);

  private:
    bool TakeDamagedLine();
    void PassOthers(std::string_view id);
    std::int32_t SkipStrides(std::int32_t count);

    TabbedLines<3> lines_;
    CalendarLine line_{};
};

}  // namespace tarnwick

// What is wrong with the lines of a calendar. docs/calendar-file.md has the rules.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/admin/store/Problem.h"

namespace tarnwick::admin {

struct LineProblem {
    Problem problem;
    std::uint64_t line;
    std::string detail = {};
    std::string id = {};
    std::int64_t start = 0;
    std::int64_t end = 0;
};

// Looks at one calendar after another; what it says of one holds until the next.
class CalendarInspection {
  public:
    struct SeenEntry {
        std::string_view id;
        std::uint64_t line;
    };

    // `bytes` is the calendar as it lies on disk and must outlive what is said of it; `name` is its
    // name without extension.
    void Run(std::string_view bytes, std::string_view name);

    // In the order of lines, at most one a line.
    const std::vector<LineProblem>& Problems() const { return problems_; }
    // The lines that are entries with an ID that can be named.
    const std::vector<SeenEntry>& Entries() const { return entries_; }
    // Whether there may be others that cannot be read.
    bool HidesEntries() const;

  private:
    struct HashedLine {
        std::uint32_t hash;
        std::uint32_t entry;
    };

    void TakeLine(std::string_view text);
    void TakeEntry(std::string_view start, std::string_view end, std::string_view id);
    bool IsInItsCalendar(std::int32_t start, std::int32_t end);
    void FindDoubledIds();
    LineProblem& Add(Problem problem, std::string detail = {});

    std::string_view name_;
    bool isBucket_ = false;
    std::uint64_t line_ = 0;
    std::vector<LineProblem> problems_;
    std::vector<SeenEntry> entries_;
    std::vector<HashedLine> hashes_;
    // The days of the entry whose calendar was last asked for, and that calendar.
    std::int64_t startDay_ = 0;
    std::int64_t endDay_ = 0;
    std::string bucket_;
};

// Whether a name is one that dates give to calendars, in any case of letters.
bool IsBucketName(std::string_view name);

// Whether every line has its two tabs and no line break ends the calendar; also of an empty one.
bool IsWholeCalendar(std::string_view bytes);

// The lines that are whole, as a calendar on disk.
std::string WholeLines(std::string_view bytes);

}  // namespace tarnwick::admin

// The times that a recurrence rule gives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Library/convert/RecurrencePattern.h"

namespace tarnwick {

// Goes through the times of a pattern in their order, each once. Times are those that clocks show,
// in seconds since 1970 as DateValue has them; zones and the changes of their clocks are the
// caller's. The start is among the times only if the pattern gives it, and is counted only then.
//
// What a pattern leaves open comes from the start. A week of BYWEEKNO without other days is its
// seven days; ordinals of BYDAY hold within the month, or the year when no months are named, and
// say nothing in periods of a week or less; BYHOUR, BYMINUTE and BYSECOND say nothing for a DATE.
//
// There are no times behind the year 9999. A search ends when it has found nothing in so many
// periods that the calendar repeats itself from there, as it does after 400 years and as many days
// as the interval needs to meet each; and when it has looked at as many periods as these years have
// days, 146 097, which is less for some rules by hours, minutes or seconds.
class PatternOccurrences {
  public:
    PatternOccurrences(const RecurrencePattern& pattern, const DateValue& start);

    // No value at the end, and from then on. UNTIL is compared as if it stood on the same clocks.
    std::optional<std::int64_t> Next();

    // Before the first Next: leaves out the times before `time`. A pattern with a count keeps them,
    // for they count.
    void SkipTo(std::int64_t time);

  private:
    struct Month {
        std::int64_t first = 0;  // its first day since 1970
        unsigned length = 0;
        std::uint32_t days = 0;  // bit n: the pattern has day n
    };

    void TakeFromStart(const DateValue& start);
    void LoadMonth(std::int64_t year, unsigned month);
    void LoadMonthOf(std::int64_t day);
    bool HasDay(std::int64_t day, std::int64_t firstOfYear, std::int64_t lastOfYear) const;
    void AddDaysOfMonth();

    std::int64_t PositionOf(std::int64_t time) const;
    bool LoadPeriod();
    std::int64_t LookAt(std::int64_t position);
    std::int64_t LookAtUnit(std::int64_t time);
    void ChooseTimes();
    std::int64_t TimeAt(std::size_t index) const;

    RecurrencePattern pattern_;
    std::int64_t earliest_;
    std::int64_t last_;

    // Periods are numbered by years, months, days (of a week's first day) or seconds.
    std::int64_t firstPosition_;
    std::int64_t step_;
    std::int64_t position_;  // the next to look at
    std::int64_t mostTries_;

    // The times of the period: each of the days or shorter units with each time in it, numbered
    // through; `chosen_` are those of BYSETPOS.
    std::vector<std::int64_t> units_;
    std::vector<std::int32_t> hours_;
    std::vector<std::int32_t> minutes_;
    std::vector<std::int32_t> seconds_;
    std::vector<std::size_t> chosen_;
    std::size_t index_ = 0;
    std::size_t size_ = 0;

    Month month_;
};

}  // namespace tarnwick

// A recurrence rule: the value of RRULE and EXRULE (RFC 5545 section 3.3.10).
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "Library/convert/CalendarDate.h"

namespace tarnwick {

// From the longest period to the shortest.
enum class Frequency { Yearly, Monthly, Weekly, Daily, Hourly, Minutely, Secondly };

// Numbers from -366 to 366.
class NumberSet {
  public:
    static constexpr int kMost = 366;

    void Add(int number) {
        numbers_.set(static_cast<std::size_t>(number + kMost));
        isEmpty_ = false;
    }
    bool Has(std::int64_t number) const {
        return number >= -kMost && number <= kMost &&
               numbers_[static_cast<std::size_t>(number + kMost)];
    }
    bool IsEmpty() const { return isEmpty_; }

  private:
    std::bitset<2 * kMost + 1> numbers_;
    bool isEmpty_ = true;
};

// The parts of a rule; a set is empty when its part is not there. Negative numbers count from the
// end of the year, the month or the set of times.
struct RecurrencePattern {
    Frequency frequency = Frequency::Daily;
    std::int64_t interval = 1;
    std::optional<std::int32_t> count;
    std::optional<DateValue> until;
    unsigned weekStart = 1;  // 0 Sunday to 6 Saturday
    NumberSet seconds;
    NumberSet minutes;
    NumberSet hours;
    std::array<NumberSet, 7> weekdays;  // from Sunday, each with its ordinals; 0 is every one
    NumberSet daysOfMonth;
    NumberSet daysOfYear;
    NumberSet weeks;
    NumberSet months;
    NumberSet positions;

    bool HasWeekdays() const;
};

// Takes what good readers take: letters of any case, parts in any order; empty parts and items are
// passed over. A leap second counts as the second before it. COUNT=0
// beside UNTIL is no count: rules of the store's own texts carry both. No value for anything else
// that the standard does not know: no frequency or another, other parts, numbers out of range.
std::optional<RecurrencePattern> ParsePattern(std::string_view rule);

}  // namespace tarnwick

// The parts of an RRULE value (RFC 5545 section 3.3.10), and the rules of vCalendar 1.0.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/ContentLines.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {

// The parts that are used here, as they stand in the value. A part that is not there, or empty, is
// empty. Numbers that are no numbers make the whole rule unreadable.
struct RuleParts {
    std::string_view frequency;
    std::optional<std::int32_t> interval;
    std::optional<std::int32_t> count;
    std::optional<DateValue> until;
    std::string_view days;
    std::string_view daysOfMonth;
    std::string_view months;
    std::string_view positions;
    std::string_view weekStart;
    // Whether there is a part beside these, which narrows the rule in another way.
    bool hasMore = false;
};

// No value for a text that is not made of such parts.
std::optional<RuleParts> ParseRule(std::string_view value);

// Days of the week with the position that goes before them.
struct RuleDays {
    std::int32_t mask = 0;                // bit n is weekday n, from Sunday
    std::optional<std::int32_t> ordinal;  // the one before all of them; none when none has one
};

// No value when a day is no day, or when the days do not share one ordinal.
std::optional<RuleDays> ParseRuleDays(std::string_view days);

// A rule of vCalendar 1.0, such as "MP1 2+ TU #12", as RFC 5545 writes it; empty for a text that is
// no such rule. The count 0, which stands for no end, is left out; a rule without count or end date
// has two occurrences.
std::string ModernRule(std::string_view oldRule);

}  // namespace tarnwick

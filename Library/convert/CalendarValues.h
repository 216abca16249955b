// The values of iCalendar properties that are not text (RFC 5545 section 3.3).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Library/convert/ValueText.h"

namespace tarnwick {

// A DATE or DATE-TIME: the seconds since 1970 at which a clock that shows UTC would show it.
struct DateValue {
    std::int64_t seconds = 0;
    bool isDate = false;  // midnight, without a time of its own
    bool isUtc = false;
};

// No value for what is neither, a day its month does not have, or a time the day does not have. A
// leap second counts as the second before it; years have four digits or five. "t" and "z" pass, and
// so does a time without seconds.
std::optional<DateValue> ParseDateValue(std::string_view value);

// The date as the standard writes it.
std::string DateValueText(const DateValue& date);

// Seconds east of UTC, from "+hhmm" or "-hhmmss".
std::optional<std::int32_t> ParseUtcOffset(std::string_view value);

// Days (and weeks) move the date, the rest the time.
struct DurationValue {
    std::int64_t days = 0;
    std::int64_t seconds = 0;
};
std::optional<DurationValue> ParseDuration(std::string_view value);

}  // namespace tarnwick

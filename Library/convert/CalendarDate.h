// Dates of the Gregorian calendar, extended backwards, their forms in the store and in calendar
// texts, and the other values of iCalendar properties that are not text (RFC 5545 section 3.3).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick {

inline constexpr std::int64_t kSecondsPerDay = 86400;

struct CivilDate {
    std::int64_t year;
    unsigned month;  // 1 to 12
    unsigned day;    // 1 to 31
    bool operator==(const CivilDate&) const = default;
};

// The day since 1970-01-01 in which a second since then lies.
std::int64_t DayOf(std::int64_t seconds);
// Days since 1970-01-01; month and day must be in their ranges.
std::int64_t DaysFromCivil(const CivilDate& date);
CivilDate CivilFromDays(std::int64_t days);
// 0 Sunday to 6 Saturday.
unsigned WeekdayFromDays(std::int64_t days);
unsigned DaysInMonth(std::int64_t year, unsigned month);

// The fields of a point in time, as the system's own conversion gives them.
struct CalendarFields {
    std::uint16_t year = 0;
    std::uint16_t month = 0;
    std::uint16_t day = 0;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    bool operator==(const CalendarFields&) const = default;
};

// No value for a file time of 2^63 or more, which the system's conversion refuses.
std::optional<CalendarFields> FieldsOfFileTime(std::uint64_t fileTime);

// Year (at least four places), month, day, "T", hour, minute, second. Fields out of range are
// clamped: month, and day below 1 or above 31, to 1; hour from 25 on, minute and second from 60 on
// to 0. The hour 24 stays.
std::string DateText(const CalendarFields& fields);

// The text of a file time; empty when there is none or it cannot be converted.
std::string DateText(std::optional<std::uint64_t> fileTime);

// Seconds since 1970 as a file time, and back (cut to whole seconds).
std::uint64_t FileTimeOfSeconds(std::int32_t secondsSince1970);
std::int64_t SecondsOfFileTime(std::uint64_t fileTime);

// The file time of any point from 1601 to the last that DateText can write.
std::optional<std::uint64_t> FileTimeOfUnixSeconds(std::int64_t secondsSince1970);

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

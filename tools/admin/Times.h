// Times as people write them: ISO 8601 in UTC, or the seconds since 1970 that calendars store.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::admin {

// The first and the last second of a period, both within it.
struct Period {
    std::int32_t start = 0;
    std::int32_t end = 0;
    bool operator==(const Period&) const = default;
};

// Reads "2025-03-01T09:30:00Z" (seconds, zone or the whole time of day may be missing; a space may
// stand for the T; a zone may be "+02:00"; without one the time is UTC) or seconds since 1970. No
// value when the text is none of these or lies outside the 32-bit seconds of a calendar entry.
std::optional<std::int32_t> ParseTime(std::string_view text);

// "2025-03-01T09:30:00Z".
std::string FormatTime(std::int32_t seconds);

// Reads "2025-03-01", "2025-03" or "2025"; no value when no second of it fits into 32 bits.
std::optional<Period> ParseDay(std::string_view text);
std::optional<std::chrono::year_month> ParseMonth(std::string_view text);
std::optional<std::chrono::year> ParseYear(std::string_view text);

// Whether some second of the month fits into 32 bits.
bool IsCalendarMonth(std::chrono::year_month month);

// The days from `first` to `last`, both included, cut to what 32-bit seconds hold.
Period DaysFrom(std::chrono::sys_days first, std::chrono::sys_days last);
Period PeriodOf(std::chrono::year_month month);

// The calendar year in which the seconds lie.
std::chrono::year YearOf(std::int32_t seconds);

// "15 s", "3 min 20 s", "2 h 5 min" or "4 days".
std::string FormatAge(std::int64_t seconds);

}  // namespace tarnwick::admin

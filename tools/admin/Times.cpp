#include "tools/admin/Times.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>

namespace tarnwick::admin {
namespace {

using std::chrono::day;
using std::chrono::days;
using std::chrono::month;
using std::chrono::sys_days;
using std::chrono::year;
using std::chrono::year_month;
using std::chrono::year_month_day;

constexpr std::int64_t kFirstSecond = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kLastSecond = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kSecondsPerHour = 3600;
constexpr std::int64_t kSecondsPerMinute = 60;

// Takes text from the front as long as it is what was expected; after the first thing that is not,
// everything fails.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : rest_(text) {}

    bool Good() const { return good_; }
    bool AtEnd() const { return rest_.empty(); }

    // A number of exactly `digits` digits from 0 to `limit`.
    int Number(std::size_t digits, int limit) {
        int number = 0;
        if (rest_.size() < digits) return Fail();
        const char* end = rest_.data() + digits;
        const auto [stopped, error] = std::from_chars(rest_.data(), end, number);
        if (error != std::errc{} || stopped != end || number < 0 || number > limit) return Fail();
        rest_.remove_prefix(digits);
        return number;
    }

    // Takes one of `letters`; 0 when there is none, which is no failure.
    char Take(std::string_view letters) {
        if (!good_ || rest_.empty() || letters.find(rest_.front()) == letters.npos) return 0;
        const char taken = rest_.front();
        rest_.remove_prefix(1);
        return taken;
    }

    void Expect(char letter) {
        if (Take(std::string_view(&letter, 1)) == 0) Fail();
    }

  private:
    int Fail() {
        good_ = false;
        return 0;
    }

    std::string_view rest_;
    bool good_ = true;
};

std::optional<std::int32_t> Fitting(std::int64_t seconds) {
    if (seconds < kFirstSecond || seconds > kLastSecond) return std::nullopt;
    return static_cast<std::int32_t>(seconds);
}

std::int64_t SecondsAt(sys_days date) {
    return std::int64_t{date.time_since_epoch().count()} * kSecondsPerDay;
}

std::optional<std::int32_t> ParseSeconds(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    std::int32_t seconds = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, seconds);
    if (error != std::errc{} || stopped != end) return std::nullopt;
    return seconds;
}

year_month_day TakeDate(Cursor& cursor) {
    const year takenYear(cursor.Number(4, 9999));
    cursor.Expect('-');
    const month takenMonth(static_cast<unsigned>(cursor.Number(2, 12)));
    cursor.Expect('-');
    return {takenYear, takenMonth, day(static_cast<unsigned>(cursor.Number(2, 31)))};
}

// "09:30" or "09:30:00", in seconds.
std::int64_t TakeTimeOfDay(Cursor& cursor) {
    const int hours = cursor.Number(2, 23);
    cursor.Expect(':');
    const int minutes = cursor.Number(2, 59);
    const int seconds = cursor.Take(":") != 0 ? cursor.Number(2, 59) : 0;
    return hours * kSecondsPerHour + minutes * kSecondsPerMinute + seconds;
}

// "Z", "+02:00" or nothing: what the zone is ahead of UTC, in seconds.
std::int64_t TakeZone(Cursor& cursor) {
    if (cursor.Take("Zz") != 0) return 0;
    const char sign = cursor.Take("+-");
    if (sign == 0) return 0;
    const int hours = cursor.Number(2, 14);
    cursor.Take(":");
    const int minutes = cursor.Number(2, 59);
    const std::int64_t ahead = hours * kSecondsPerHour + minutes * kSecondsPerMinute;
    return sign == '+' ? ahead : -ahead;
}

std::optional<std::int32_t> ParseIsoTime(std::string_view text) {
    Cursor cursor(text);
    const year_month_day date = TakeDate(cursor);
    std::int64_t offset = 0;
    if (cursor.Take("Tt ") != 0) {
        offset = TakeTimeOfDay(cursor);
        offset -= TakeZone(cursor);
    }
    if (!cursor.Good() || !cursor.AtEnd() || !date.ok()) return std::nullopt;
    return Fitting(SecondsAt(date) + offset);
}

// Whether any second of the days can stand in an entry.
bool ReachesCalendarTime(sys_days first, sys_days last) {
    return SecondsAt(first) <= kLastSecond && SecondsAt(last) + kSecondsPerDay > kFirstSecond;
}

}  // namespace

std::optional<std::int32_t> ParseTime(std::string_view text) {
    if (const auto seconds = ParseSeconds(text)) return seconds;
    return ParseIsoTime(text);
}

std::string FormatTime(std::int32_t seconds) {
    const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
    const sys_days date = std::chrono::floor<days>(time);
    const year_month_day parts(date);
    const std::chrono::hh_mm_ss clock(time - date);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(parts.year()), static_cast<unsigned>(parts.month()),
                  static_cast<unsigned>(parts.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

std::optional<Period> ParseDay(std::string_view text) {
    Cursor cursor(text);
    const year_month_day date = TakeDate(cursor);
    if (!cursor.Good() || !cursor.AtEnd() || !date.ok()) return std::nullopt;
    if (!ReachesCalendarTime(date, date)) return std::nullopt;
    return DaysFrom(date, date);
}

std::optional<year_month> ParseMonth(std::string_view text) {
    Cursor cursor(text);
    const year takenYear(cursor.Number(4, 9999));
    cursor.Expect('-');
    const year_month taken(takenYear, month(static_cast<unsigned>(cursor.Number(2, 12))));
    if (!cursor.Good() || !cursor.AtEnd() || !taken.ok()) return std::nullopt;
    if (!IsCalendarMonth(taken)) return std::nullopt;
    return taken;
}

std::optional<year> ParseYear(std::string_view text) {
    Cursor cursor(text);
    const year taken(cursor.Number(4, 9999));
    if (!cursor.Good() || !cursor.AtEnd()) return std::nullopt;
    if (!ReachesCalendarTime(taken / 1 / 1, taken / 12 / 31)) return std::nullopt;
    return taken;
}

bool IsCalendarMonth(year_month wanted) {
    return ReachesCalendarTime(wanted / 1, wanted / std::chrono::last);
}

Period DaysFrom(sys_days first, sys_days last) {
    const auto held = [](std::int64_t seconds) {
        return static_cast<std::int32_t>(std::clamp(seconds, kFirstSecond, kLastSecond));
    };
    return {held(SecondsAt(first)), held(SecondsAt(last) + kSecondsPerDay - 1)};
}

Period PeriodOf(year_month wanted) {
    return DaysFrom(wanted / 1, wanted / std::chrono::last);
}

year YearOf(std::int32_t seconds) {
    const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
    return year_month_day(std::chrono::floor<days>(time)).year();
}

std::string FormatAge(std::int64_t seconds) {
    if (seconds < kSecondsPerMinute) return std::to_string(seconds) + " s";
    if (seconds < kSecondsPerHour) {
        return std::to_string(seconds / kSecondsPerMinute) + " min " +
               std::to_string(seconds % kSecondsPerMinute) + " s";
    }
    if (seconds < 2 * kSecondsPerDay) {
        return std::to_string(seconds / kSecondsPerHour) + " h " +
               std::to_string(seconds % kSecondsPerHour / kSecondsPerMinute) + " min";
    }
    return std::to_string(seconds / kSecondsPerDay) + " days";
}

}  // namespace tarnwick::admin

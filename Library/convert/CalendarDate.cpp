#include "Library/convert/CalendarDate.h"

#include <limits>
#include <string_view>

#include "common/Text.h"

namespace tarnwick {
namespace {

// An era is the 400 years after which the calendar repeats; eras begin on a first of March.
constexpr std::int64_t kYearsPerEra = 400;
constexpr std::int64_t kDaysPerEra = 146'097;
constexpr std::int64_t kDaysFromEraZeroTo1970 = 719'468;

constexpr std::uint64_t kLastFileTime = std::numeric_limits<std::int64_t>::max();

std::int64_t FloorDivide(std::int64_t number, std::int64_t divisor) {
    return number / divisor - (number % divisor < 0 ? 1 : 0);
}

void AppendPadded(std::string& text, unsigned number, std::size_t width, char padding) {
    const std::string digits = std::to_string(number);
    if (digits.size() < width) text.append(width - digits.size(), padding);
    text += digits;
}

bool IsLeapYear(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

}  // namespace

std::int64_t DayOf(std::int64_t seconds) {
    return FloorDivide(seconds, kSecondsPerDay);
}

std::int64_t DaysFromCivil(const CivilDate& date) {
    const std::int64_t year = date.month <= 2 ? date.year - 1 : date.year;
    const std::int64_t era = FloorDivide(year, kYearsPerEra);
    const std::int64_t yearOfEra = year - era * kYearsPerEra;
    const std::int64_t monthFromMarch = (date.month + 9) % 12;
    const std::int64_t dayOfYear = (153 * monthFromMarch + 2) / 5 + date.day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * kDaysPerEra + dayOfEra - kDaysFromEraZeroTo1970;
}

CivilDate CivilFromDays(std::int64_t days) {
    const std::int64_t shifted = days + kDaysFromEraZeroTo1970;
    const std::int64_t era = FloorDivide(shifted, kDaysPerEra);
    const std::int64_t dayOfEra = shifted - era * kDaysPerEra;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    const auto day = static_cast<unsigned>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    const auto month =
        static_cast<unsigned>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    return {era * kYearsPerEra + yearOfEra + (month <= 2 ? 1 : 0), month, day};
}

unsigned WeekdayFromDays(std::int64_t days) {
    constexpr std::int64_t kWeekdayOf1970 = 4;
    const std::int64_t remainder = (days + kWeekdayOf1970) % 7;
    return static_cast<unsigned>(remainder < 0 ? remainder + 7 : remainder);
}

unsigned DaysInMonth(std::int64_t year, unsigned month) {
    if (month == 2) return IsLeapYear(year) ? 29 : 28;
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

std::optional<CalendarFields> FieldsOfFileTime(std::uint64_t fileTime) {
    if (fileTime > kLastFileTime) return std::nullopt;
    const std::int64_t seconds = SecondsOfFileTime(fileTime);
    const std::int64_t days = DayOf(seconds);
    const auto secondOfDay = static_cast<unsigned>(seconds - days * kSecondsPerDay);
    const CivilDate date = CivilFromDays(days);
    const auto narrow = [](auto number) { return static_cast<std::uint16_t>(number); };
    return CalendarFields{narrow(date.year),
                          narrow(date.month),
                          narrow(date.day),
                          narrow(secondOfDay / 3600),
                          narrow(secondOfDay / 60 % 60),
                          narrow(secondOfDay % 60)};
}

// The clamps are kept for compatibility, and so are the blanks before a short year.
std::string DateText(const CalendarFields& fields) {
    const unsigned month = fields.month < 1 || fields.month > 12 ? 1U : fields.month;
    const unsigned day = fields.day < 1 || fields.day > 31 ? 1U : fields.day;
    // The hour 24 passes: readers of these texts have always met it.
    const unsigned hour = fields.hour >= 25 ? 0U : fields.hour;
    const unsigned minute = fields.minute >= 60 ? 0U : fields.minute;
    const unsigned second = fields.second >= 60 ? 0U : fields.second;
    std::string text;
    AppendPadded(text, fields.year, 4, ' ');
    AppendPadded(text, month, 2, '0');
    AppendPadded(text, day, 2, '0');
    text += 'T';
    for (const unsigned number : {hour, minute, second}) AppendPadded(text, number, 2, '0');
    return text;
}

std::string DateText(std::uint64_t fileTime) {
    const std::optional<CalendarFields> fields = FieldsOfFileTime(fileTime);
    return fields ? DateText(*fields) : std::string();
}

std::uint64_t FileTimeOfSeconds(std::int32_t secondsSince1970) {
    return static_cast<std::uint64_t>((secondsSince1970 + kSecondsFrom1601To1970) *
                                      kFileTimeUnitsPerSecond);
}

std::int64_t SecondsOfFileTime(std::uint64_t fileTime) {
    return static_cast<std::int64_t>(fileTime / kFileTimeUnitsPerSecond) - kSecondsFrom1601To1970;
}

std::optional<std::uint64_t> FileTimeOfUnixSeconds(std::int64_t secondsSince1970) {
    constexpr std::int64_t kLastSecond =
        static_cast<std::int64_t>(kLastFileTime / kFileTimeUnitsPerSecond) - kSecondsFrom1601To1970;
    if (secondsSince1970 < -kSecondsFrom1601To1970 || secondsSince1970 > kLastSecond) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(secondsSince1970 + kSecondsFrom1601To1970) *
           static_cast<std::uint64_t>(kFileTimeUnitsPerSecond);
}

}  // namespace tarnwick

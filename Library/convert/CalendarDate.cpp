#include "Library/convert/CalendarDate.h"

#include <algorithm>
#include <limits>

#include "common/Clock.h"
#include "Library/convert/ValueText.h"

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

void AppendPadded(std::string& text, std::int64_t number, std::size_t width, char padding = '0') {
    const std::string digits = std::to_string(number);
    if (digits.size() < width) text.append(width - digits.size(), padding);
    text += digits;
}

bool IsLeapYear(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Takes exactly `count` digits off the front.
std::optional<std::int32_t> TakeFixed(std::string_view& text, std::size_t count) {
    if (text.size() < count) return std::nullopt;
    std::string_view digits = text.substr(0, count);
    const auto number = TakeDigits(digits);
    if (!number || !digits.empty()) return std::nullopt;
    text.remove_prefix(count);
    return number;
}

std::optional<std::int64_t> TakeDate(std::string_view& text) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits != 8 && digits != 9) return std::nullopt;
    const auto year = TakeFixed(text, digits - 4);
    const auto month = static_cast<unsigned>(TakeFixed(text, 2).value_or(0));
    const auto day = static_cast<unsigned>(TakeFixed(text, 2).value_or(0));
    if (!year || month < 1 || month > 12 || day < 1 || day > DaysInMonth(*year, month)) {
        return std::nullopt;
    }
    return DaysFromCivil({*year, month, day}) * kSecondsPerDay;
}

std::optional<std::int64_t> TakeTime(std::string_view& text) {
    const auto hour = TakeFixed(text, 2);
    const auto minute = TakeFixed(text, 2);
    const bool hasSeconds = !text.empty() && text.front() >= '0' && text.front() <= '9';
    const auto second = hasSeconds ? TakeFixed(text, 2) : std::optional(0);
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 60) {
        return std::nullopt;
    }
    return (*hour * 60 + *minute) * 60 + std::min(*second, 59);
}

bool TakeByte(std::string_view& text, char byte) {
    if (!text.starts_with(byte)) return false;
    text.remove_prefix(1);
    return true;
}

// Takes a sign off; -1 or 1.
int TakeSign(std::string_view& text) {
    if (TakeByte(text, '-')) return -1;
    TakeByte(text, '+');
    return 1;
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
    AppendPadded(text, month, 2);
    AppendPadded(text, day, 2);
    text += 'T';
    for (const unsigned number : {hour, minute, second}) AppendPadded(text, number, 2);
    return text;
}

std::string DateText(std::optional<std::uint64_t> fileTime) {
    const auto fields = fileTime ? FieldsOfFileTime(*fileTime) : std::nullopt;
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

std::optional<DateValue> ParseDateValue(std::string_view value) {
    const auto date = TakeDate(value);
    if (!date) return std::nullopt;
    if (value.empty()) return DateValue{*date, true, false};
    if (!TakeByte(value, 'T') && !TakeByte(value, 't')) return std::nullopt;
    const auto time = TakeTime(value);
    if (!time) return std::nullopt;
    const bool isUtc = TakeByte(value, 'Z') || TakeByte(value, 'z');
    if (!value.empty()) return std::nullopt;
    return DateValue{*date + *time, false, isUtc};
}

std::string DateValueText(const DateValue& date) {
    const std::int64_t days = DayOf(date.seconds);
    const CivilDate civil = CivilFromDays(days);
    const std::int64_t seconds = date.seconds - days * kSecondsPerDay;
    std::string text;
    AppendPadded(text, civil.year, 4);
    AppendPadded(text, civil.month, 2);
    AppendPadded(text, civil.day, 2);
    if (date.isDate) return text;
    text += 'T';
    AppendPadded(text, seconds / 3600, 2);
    AppendPadded(text, seconds / 60 % 60, 2);
    AppendPadded(text, seconds % 60, 2);
    return date.isUtc ? text + "Z" : text;
}

std::optional<std::int32_t> ParseUtcOffset(std::string_view value) {
    if (!value.starts_with('+') && !value.starts_with('-')) return std::nullopt;
    const int sign = TakeSign(value);
    const auto hours = TakeFixed(value, 2);
    const auto minutes = TakeFixed(value, 2);
    const auto seconds = value.empty() ? std::optional(0) : TakeFixed(value, 2);
    if (!hours || !minutes || !seconds || !value.empty() || *hours > 23 || *minutes > 59 ||
        *seconds > 59) {
        return std::nullopt;
    }
    return sign * ((*hours * 60 + *minutes) * 60 + *seconds);
}

std::optional<DurationValue> ParseDuration(std::string_view value) {
    const int sign = TakeSign(value);
    if (!TakeByte(value, 'P') || value.empty()) return std::nullopt;
    DurationValue duration;
    bool inTime = false;
    // Each unit at most once and in this order, which also bounds the sums.
    std::string_view units = "WDHMS";
    while (!value.empty()) {
        if (!inTime && TakeByte(value, 'T')) inTime = true;
        const auto number = TakeDigits(value);
        if (!number || value.empty()) return std::nullopt;
        const std::int64_t amount = static_cast<std::int64_t>(sign) * *number;
        const char unit = value.front();
        const std::size_t place = units.find(unit);
        if (place == units.npos) return std::nullopt;
        units.remove_prefix(place + 1);
        value.remove_prefix(1);
        if (!inTime && unit == 'W') {
            duration.days += amount * 7;
        } else if (!inTime && unit == 'D') {
            duration.days += amount;
        } else if (inTime && unit == 'H') {
            duration.seconds += amount * 3600;
        } else if (inTime && unit == 'M') {
            duration.seconds += amount * 60;
        } else if (inTime && unit == 'S') {
            duration.seconds += amount;
        } else {
            return std::nullopt;
        }
    }
    return duration;
}

}  // namespace tarnwick

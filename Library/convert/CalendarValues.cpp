#include "Library/convert/CalendarValues.h"

#include <algorithm>

#include "Library/convert/CalendarDate.h"

namespace tarnwick {
namespace {

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
    const auto append = [&text](std::int64_t number, std::size_t width) {
        const std::string digits = std::to_string(number);
        if (digits.size() < width) text.append(width - digits.size(), '0');
        text += digits;
    };
    append(civil.year, 4);
    append(civil.month, 2);
    append(civil.day, 2);
    if (date.isDate) return text;
    text += 'T';
    append(seconds / 3600, 2);
    append(seconds / 60 % 60, 2);
    append(seconds % 60, 2);
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

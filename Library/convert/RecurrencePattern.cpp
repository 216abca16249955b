#include "Library/convert/RecurrencePattern.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "common/Scan.h"
#include "Library/convert/ContentLines.h"
#include "Library/convert/RecurrenceRule.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

// In the order of Frequency.
constexpr std::string_view kFrequencies[] = {"YEARLY", "MONTHLY",  "WEEKLY",  "DAILY",
                                             "HOURLY", "MINUTELY", "SECONDLY"};

struct NumberPart {
    std::string_view name;
    NumberSet RecurrencePattern::*numbers;
    int least;
    int most;
    bool countsFromEnd;
};
constexpr NumberPart kNumberParts[] = {
    {"BYSECOND", &RecurrencePattern::seconds, 0, 60, false},
    {"BYMINUTE", &RecurrencePattern::minutes, 0, 59, false},
    {"BYHOUR", &RecurrencePattern::hours, 0, 23, false},
    {"BYMONTHDAY", &RecurrencePattern::daysOfMonth, 1, 31, true},
    {"BYYEARDAY", &RecurrencePattern::daysOfYear, 1, 366, true},
    {"BYWEEKNO", &RecurrencePattern::weeks, 1, 53, true},
    {"BYMONTH", &RecurrencePattern::months, 1, 12, false},
    {"BYSETPOS", &RecurrencePattern::positions, 1, 366, true},
};
constexpr int kMostOrdinal = 53;

// Calls `take` for each item that is not empty; false as soon as one call gives that.
template <typename Take>
bool TakeEach(std::string_view text, char delimiter, const Take& take) {
    while (const auto item = NextListItem(text, delimiter)) {
        if (!item->empty() && !take(*item)) return false;
    }
    return true;
}

template <typename Word, std::size_t size>
std::optional<std::size_t> PlaceOf(std::string_view word, const Word (&words)[size]) {
    const auto found = std::find(std::begin(words), std::end(words), word);
    if (found == std::end(words)) return std::nullopt;
    return static_cast<std::size_t>(found - std::begin(words));
}

bool TakeWeekday(RecurrencePattern& pattern, std::string_view item) {
    if (item.size() < 2) return false;
    const auto weekday = PlaceOf(item.substr(item.size() - 2), kWeekdayNames);
    const std::string_view before = item.substr(0, item.size() - 2);
    const auto ordinal = before.empty() ? std::optional(0) : ParseWholeNumber(before);
    if (!weekday || !ordinal || *ordinal < -kMostOrdinal || *ordinal > kMostOrdinal) return false;
    if (*ordinal == 0 && !before.empty()) return false;
    pattern.weekdays[*weekday].Add(*ordinal);
    return true;
}

bool TakeNumber(RecurrencePattern& pattern, const NumberPart& part, std::string_view item) {
    const auto number = ParseWholeNumber(item);
    if (!number) return false;
    const int magnitude = part.countsFromEnd && *number < 0 ? -*number : *number;
    if (magnitude < part.least || magnitude > part.most) return false;
    const bool isLeapSecond = part.numbers == &RecurrencePattern::seconds && *number == 60;
    (pattern.*part.numbers).Add(isLeapSecond ? 59 : *number);
    return true;
}

bool TakePart(RecurrencePattern& pattern, std::string_view name, std::string_view value) {
    if (name == "INTERVAL") {
        const auto number = ParseWholeNumber(value);
        pattern.interval = number.value_or(0);
        return pattern.interval > 0;
    }
    if (name == "COUNT") {
        pattern.count = ParseWholeNumber(value);
        return pattern.count && *pattern.count >= 0;
    }
    if (name == "UNTIL") {
        pattern.until = ParseDateValue(value);
        return pattern.until.has_value();
    }
    if (name == "WKST") {
        const auto weekday = PlaceOf(value, kWeekdayNames);
        pattern.weekStart = static_cast<unsigned>(weekday.value_or(0));
        return weekday.has_value();
    }
    if (name == "BYDAY") {
        return TakeEach(value, ',', [&](auto item) { return TakeWeekday(pattern, item); });
    }
    for (const NumberPart& part : kNumberParts) {
        if (name != part.name) continue;
        return TakeEach(value, ',', [&](auto item) { return TakeNumber(pattern, part, item); });
    }
    return false;
}

}  // namespace

bool RecurrencePattern::HasWeekdays() const {
    return std::ranges::any_of(weekdays, [](const NumberSet& set) { return !set.IsEmpty(); });
}

std::optional<RecurrencePattern> ParsePattern(std::string_view rule) {
    std::string upper(rule);
    for (char& letter : upper) {
        if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
    }
    RecurrencePattern pattern;
    std::optional<std::size_t> frequency;
    const bool areParts = TakeEach(upper, ';', [&](std::string_view part) {
        const std::size_t equals = FindByte(part, '=');
        if (equals == kNotFound) return false;
        const std::string_view name = part.substr(0, equals);
        const std::string_view value = part.substr(equals + 1);
        if (value.empty()) return true;
        if (name != "FREQ") return TakePart(pattern, name, value);
        frequency = PlaceOf(value, kFrequencies);
        return frequency.has_value();
    });
    if (!areParts || !frequency) return std::nullopt;
    pattern.frequency = static_cast<Frequency>(*frequency);
    if (pattern.count == 0) {
        if (!pattern.until) return std::nullopt;
        pattern.count.reset();
    }
    return pattern;
}

}  // namespace tarnwick

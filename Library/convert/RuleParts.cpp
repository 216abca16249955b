#include "Library/convert/RuleParts.h"

#include "common/Scan.h"
#include "common/Text.h"
#include "Library/convert/RecurrenceRule.h"

namespace tarnwick {
namespace {

std::optional<std::string_view> TakeUpTo(std::string_view& text, char delimiter) {
    if (text.empty()) return std::nullopt;
    const std::size_t end = FindByte(text, delimiter);
    const std::string_view item = text.substr(0, end);
    text.remove_prefix(end == kNotFound ? text.size() : end + 1);
    return item;
}

// Stores a part; false when its value is not what it must be.
bool StorePart(RuleParts& parts, std::string_view name, std::string_view value) {
    const auto is = [name](std::string_view known) { return EqualsIgnoreCase(name, known); };
    const auto storeNumber = [value](std::optional<std::int32_t>& number) {
        number = ParseWholeNumber(value);
        return number.has_value();
    };
    if (value.empty()) return true;
    if (is("INTERVAL")) return storeNumber(parts.interval);
    if (is("COUNT")) return storeNumber(parts.count);
    if (is("UNTIL")) {
        parts.until = ParseDateValue(value);
        return parts.until.has_value();
    }
    if (is("FREQ")) {
        parts.frequency = value;
    } else if (is("BYDAY")) {
        parts.days = value;
    } else if (is("BYMONTHDAY")) {
        parts.daysOfMonth = value;
    } else if (is("BYMONTH")) {
        parts.months = value;
    } else if (is("BYSETPOS")) {
        parts.positions = value;
    } else if (is("WKST")) {
        parts.weekStart = value;
    } else {
        parts.hasMore = true;
    }
    return true;
}

std::optional<int> WeekdayNumber(std::string_view name) {
    for (int day = 0; day < 7; ++day) {
        if (EqualsIgnoreCase(name, kWeekdayNames[day])) return day;
    }
    return std::nullopt;
}

}  // namespace

std::optional<RuleParts> ParseRule(std::string_view value) {
    RuleParts parts;
    bool namesFrequency = false;
    while (const auto part = TakeUpTo(value, ';')) {
        if (part->empty()) continue;
        const std::size_t equals = FindByte(*part, '=');
        if (equals == kNotFound) return std::nullopt;
        const std::string_view name = part->substr(0, equals);
        if (!StorePart(parts, name, part->substr(equals + 1))) return std::nullopt;
        namesFrequency = namesFrequency || EqualsIgnoreCase(name, "FREQ");
    }
    return namesFrequency ? std::optional(parts) : std::nullopt;
}

std::optional<RuleDays> ParseRuleDays(std::string_view days) {
    RuleDays result;
    bool first = true;
    while (const auto item = NextListItem(days)) {
        if (item->size() < 2) return std::nullopt;
        const auto day = WeekdayNumber(item->substr(item->size() - 2));
        const std::string_view ordinalText = item->substr(0, item->size() - 2);
        const auto ordinal = ParseWholeNumber(ordinalText);
        if (!day || (!ordinal && !ordinalText.empty())) return std::nullopt;
        if (!first && ordinal != result.ordinal) return std::nullopt;
        result.ordinal = ordinal;
        result.mask |= 1 << *day;
        first = false;
    }
    return result;
}

}  // namespace tarnwick

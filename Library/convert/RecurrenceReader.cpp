#include "Library/convert/RecurrenceReader.h"

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"

namespace tarnwick {
namespace {

// Stands for the types that have no word behind "FREQ=".
constexpr std::int32_t kTypeWithoutWord = 4;

std::optional<std::int32_t> TypeOf(const RuleParts& parts) {
    const auto is = [&parts](std::string_view word) {
        return EqualsIgnoreCase(parts.frequency, word);
    };
    const auto number = [](RecurrenceType type) { return static_cast<std::int32_t>(type); };
    const bool onWeekday = !parts.days.empty();
    if (parts.frequency.empty()) return kTypeWithoutWord;
    if (is("DAILY")) return number(RecurrenceType::Daily);
    if (is("WEEKLY")) return number(RecurrenceType::Weekly);
    if (is("MONTHLY")) {
        return number(onWeekday ? RecurrenceType::MonthlyOnWeekday : RecurrenceType::MonthlyOnDay);
    }
    if (is("YEARLY")) {
        return number(onWeekday ? RecurrenceType::YearlyOnWeekday : RecurrenceType::YearlyOnDay);
    }
    return std::nullopt;
}

bool IsOneDay(std::int32_t mask) {
    return (mask & (mask - 1)) == 0;
}

// The instance for a position; nothing for one it cannot hold.
std::optional<std::int32_t> InstanceOf(const RuleParts& parts, const RuleDays& days) {
    if (!parts.positions.empty()) {
        if (days.ordinal || days.mask == 0) return std::nullopt;
        const auto position = ParseWholeNumber(parts.positions);
        return position == -1 ? kLastInstance : position;
    }
    if (!days.ordinal) return kEveryInstance;
    if (!IsOneDay(days.mask) || *days.ordinal < -1) return std::nullopt;
    return *days.ordinal == -1 ? kLastInstance : *days.ordinal;
}

// A part that is one number; 0 when it is not there, nothing when it is a list.
std::optional<std::int32_t> OneNumber(std::string_view part) {
    if (part.empty()) return 0;
    return ParseWholeNumber(part);
}

// Parts that say nothing in the frequencies that the properties know them for.
bool HasForeignParts(const RuleParts& parts, std::int32_t type) {
    const bool monthlyOrYearly = type >= static_cast<std::int32_t>(RecurrenceType::MonthlyOnDay);
    const bool yearly = type >= static_cast<std::int32_t>(RecurrenceType::YearlyOnDay);
    return parts.hasMore || (!parts.daysOfMonth.empty() && !monthlyOrYearly) ||
           (!parts.months.empty() && !yearly);
}

void SetEnd(ItemPropertyContainer& item, const RuleParts& parts) {
    item.Set(property::kNoEndDate, parts.count || parts.until ? 0 : 1);
    if (parts.count) item.Set(property::kOccurrences, *parts.count);
    if (!parts.until) return;
    if (const auto end = FileTimeOfUnixSeconds(parts.until->seconds)) {
        item.Set(property::kPatternEndDate, *end);
    }
}

}  // namespace

bool SetRecurrence(ItemPropertyContainer& item, const RuleParts& parts) {
    auto type = TypeOf(parts);
    const auto days = ParseRuleDays(parts.days);
    if (!type || !days || HasForeignParts(parts, *type)) return false;
    const auto instance = InstanceOf(parts, *days);
    const auto dayOfMonth = OneNumber(parts.daysOfMonth);
    const auto month = OneNumber(parts.months);
    if (!instance || !dayOfMonth || !month) return false;
    std::int32_t interval = parts.interval.value_or(0);
    if (*type == static_cast<std::int32_t>(RecurrenceType::Daily) &&
        days->mask == kMondayToFriday && !parts.interval) {
        // Each working day, which the properties hold as a weekly rule and the writer turns back.
        type = static_cast<std::int32_t>(RecurrenceType::Weekly);
        interval = 1;
    }
    item.Set(property::kIsRecurring, 1);
    item.Set(property::kRecurrenceType, *type);
    item.Set(property::kRecurrenceInterval, interval);
    item.Set(property::kRecurrenceDays, days->mask);
    item.Set(property::kRecurrenceInstance, *instance);
    item.Set(property::kRecurrenceDayOfMonth, *dayOfMonth);
    item.Set(property::kRecurrenceMonth, *month);
    SetEnd(item, parts);
    return true;
}

}  // namespace tarnwick

#include "Library/convert/RecurrenceReader.h"

#include <bit>

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

// The instance for a position; nothing for one it cannot hold. Instance 5 is the last, not the
// fifth.
std::optional<std::int32_t> InstanceOf(const RuleParts& parts, const RuleDays& days) {
    std::optional<std::int32_t> position = kEveryInstance;
    if (!parts.positions.empty()) {
        if (days.ordinal || days.mask == 0) return std::nullopt;
        position = ParseWholeNumber(parts.positions);
    } else if (days.ordinal) {
        if (!IsOneDay(days.mask) || *days.ordinal < -1) return std::nullopt;
        position = days.ordinal;
    } else {
        return kEveryInstance;
    }
    if (position == kLastInstance) return std::nullopt;
    return position == -1 ? kLastInstance : position;
}

// A part that is one number; 0 when it is not there, nothing when it is a list.
std::optional<std::int32_t> OneNumber(std::string_view part) {
    if (part.empty()) return 0;
    return ParseWholeNumber(part);
}

// Parts that say nothing in the frequencies that the properties know them for, or more than the
// properties know.
bool HasForeignParts(const RuleParts& parts, std::int32_t type) {
    const bool ofAnyMonth = IsYearly(type) && !parts.daysOfMonth.empty() && parts.months.empty();
    return parts.hasMore || ofAnyMonth ||
           (!parts.daysOfMonth.empty() && !IsMonthly(type) && !IsYearly(type)) ||
           (!parts.months.empty() && !IsYearly(type));
}

// How many days later the start is in UTC than on its own clocks.
int DaysLaterInUtc(const std::optional<ZonedTime>& start) {
    if (!start) return 0;
    return static_cast<int>(DayOf(start->ToUtc()) - DayOf(start->date.seconds));
}

std::int32_t Rotated(std::int32_t mask, int days) {
    const int left = (days + 7) % 7;
    return (mask << left | mask >> (7 - left)) & 0x7F;
}

// Weeks that are skipped must begin where the properties have them begin, on Sundays, or at least
// hold the same days. `mask` and `weekStart` are those in UTC.
bool WeeksAgree(std::int32_t mask, int weekStart, std::int32_t startDay) {
    const std::int32_t days = mask | startDay;
    const std::int32_t before = days & ((1 << weekStart) - 1);
    return before == 0 || before == days;
}

int WeekStartOf(const RuleParts& parts) {
    constexpr int kMonday = 1;
    const auto days = ParseRuleDays(parts.weekStart);
    if (!days || days->mask == 0) return kMonday;
    return std::countr_zero(static_cast<std::uint32_t>(days->mask));
}

// The numbers of a rule as the properties hold them, in UTC.
struct HeldRule {
    std::int32_t type;
    std::int32_t interval;
    std::int32_t mask;
    std::int32_t instance;
    std::int32_t dayOfMonth;
    std::int32_t month;
};

// Whether each day of the rule can move by so many days without another month or weekday.
bool MoveDays(HeldRule& rule, const ZonedTime& start, int days) {
    constexpr int kShortestMonth = 28;
    if (days == 0) return true;
    if (!IsMonthly(rule.type) && !IsYearly(rule.type)) {
        rule.mask = Rotated(rule.mask, days);
        return rule.instance == kEveryInstance;
    }
    const CivilDate date = CivilFromDays(DayOf(start.date.seconds));
    const int day = rule.dayOfMonth == 0 ? static_cast<int>(date.day) : rule.dayOfMonth;
    const bool staysInMonth =
        day >= 1 && day <= kShortestMonth && day + days >= 1 && day + days <= kShortestMonth;
    if (rule.mask != 0 || !staysInMonth) return false;
    if (rule.dayOfMonth != 0) rule.dayOfMonth += days;
    return true;
}

bool MoveToUtc(HeldRule& rule, const RuleParts& parts, const std::optional<ZonedTime>& start) {
    const int days = DaysLaterInUtc(start);
    if (start && !MoveDays(rule, *start, days)) return false;
    const bool isWeekly = rule.type == static_cast<std::int32_t>(RecurrenceType::Weekly);
    if (!isWeekly || rule.interval < 2) return true;
    const auto startDay =
        start ? std::int32_t{1} << WeekdayFromDays(DayOf(start->ToUtc())) : std::int32_t{0};
    return WeeksAgree(rule.mask, (WeekStartOf(parts) + days + 7) % 7, startDay);
}

// Each working day is a daily rule that the properties hold as a weekly one; the writer turns it
// back.
void HoldWorkingDays(HeldRule& rule, const RuleParts& parts) {
    const bool isDaily = rule.type == static_cast<std::int32_t>(RecurrenceType::Daily);
    if (!isDaily || rule.mask != kMondayToFriday || parts.interval) return;
    rule.type = static_cast<std::int32_t>(RecurrenceType::Weekly);
    rule.interval = 1;
}

std::optional<HeldRule> Held(const RuleParts& parts) {
    const auto type = TypeOf(parts);
    const auto days = ParseRuleDays(parts.days);
    if (!type || !days || HasForeignParts(parts, *type)) return std::nullopt;
    const auto instance = InstanceOf(parts, *days);
    const auto dayOfMonth = OneNumber(parts.daysOfMonth);
    const auto month = OneNumber(parts.months);
    if (!instance || !dayOfMonth || !month) return std::nullopt;
    return HeldRule{*type, parts.interval.value_or(0), days->mask, *instance, *dayOfMonth, *month};
}

void SetEnd(ItemPropertyContainer& item, const RuleParts& parts,
            const std::optional<ZonedTime>& start) {
    item.Set(property::kNoEndDate, parts.count || parts.until ? 0 : 1);
    if (parts.count) item.Set(property::kOccurrences, *parts.count);
    if (!parts.until) return;
    ZonedTime until{*parts.until, nullptr};
    if (start && !until.date.isUtc) until.zone = start->zone;
    if (const auto end = FileTimeOfUnixSeconds(until.ToUtc())) {
        item.Set(property::kPatternEndDate, *end);
    }
}

}  // namespace

bool SetRecurrence(ItemPropertyContainer& item, const RuleParts& parts,
                   const std::optional<ZonedTime>& start) {
    auto rule = Held(parts);
    if (!rule) return false;
    HoldWorkingDays(*rule, parts);
    if (!MoveToUtc(*rule, parts, start)) return false;
    item.Set(property::kIsRecurring, 1);
    item.Set(property::kRecurrenceType, rule->type);
    item.Set(property::kRecurrenceInterval, rule->interval);
    item.Set(property::kRecurrenceDays, rule->mask);
    item.Set(property::kRecurrenceInstance, rule->instance);
    item.Set(property::kRecurrenceDayOfMonth, rule->dayOfMonth);
    item.Set(property::kRecurrenceMonth, rule->month);
    SetEnd(item, parts, start);
    return true;
}

bool HasChangingClocks(const ZonedTime& start) {
    constexpr int kMonths = 12;
    constexpr std::int64_t kDaysBetween = 30;
    if (start.zone == nullptr) return false;
    const std::int64_t difference = start.date.seconds - start.ToUtc();
    ZonedTime later = start;
    for (int month = 1; month <= kMonths; ++month) {
        later.date.seconds += kDaysBetween * kSecondsPerDay;
        if (later.date.seconds - later.ToUtc() != difference) return true;
    }
    return false;
}

}  // namespace tarnwick

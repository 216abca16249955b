#include "Library/convert/RecurrenceRule.h"

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/PropertyNames.h"

namespace tarnwick {
namespace {

// PR_BNP_RecurrenceDayOfWeekMask as the value of BYDAY.
std::string DayList(std::int32_t mask) {
    std::string list;
    for (int day = 0; day < 7; ++day) {
        if ((mask >> day & 1) == 0) continue;
        if (!list.empty()) list += ',';
        list += kWeekdayNames[day];
    }
    return list;
}

void AppendPart(std::string& rule, const char* name, std::int32_t number) {
    rule += name;
    AppendDecimal(rule, number);
}

void AppendNonZeroPart(std::string& rule, const char* name, std::int32_t number) {
    if (number != 0) AppendPart(rule, name, number);
}

// ";BYDAY=" and its companions. Without an instance there is no ";BYSETPOS=".
void AppendDays(std::string& rule, std::int32_t mask, std::optional<std::int32_t> instance) {
    const std::string list = DayList(mask);
    if (list.empty()) return;
    rule.append(";BYDAY=").append(list);
    if (instance) {
        AppendPart(rule, ";BYSETPOS=", *instance == kLastInstance ? -1 : *instance);
    }
    // The mask's weeks begin on Sunday; without a word of it the standard's begin on Monday.
    rule += ";WKST=SU";
}

// The day of the month, or the month of the year, that types of such periods alone have.
void AppendPlaceInPeriod(std::string& rule, PropertySource& source, std::int32_t type) {
    if (IsMonthly(type)) {
        AppendNonZeroPart(rule,
                          ";BYMONTHDAY=", source.NumberOr(property::kRecurrenceDayOfMonth, 0));
    }
    if (IsYearly(type)) {
        AppendNonZeroPart(rule, ";BYMONTH=", source.NumberOr(property::kRecurrenceMonth, 0));
    }
}

// One end, as the standard wants it: the count when there is one, else the date.
std::string StandardEnd(PropertySource& source) {
    if (source.NumberOr(property::kNoEndDate, 0) != 0) return {};
    const std::int32_t count = source.NumberOr(property::kOccurrences, 0);
    if (count > 0) return ";COUNT=" + std::to_string(count);
    const std::string date = DateText(source.FileTime(property::kPatternEndDate));
    return date.empty() ? date : ";UNTIL=" + date + "Z";
}

}  // namespace

const char* FrequencyWord(std::int32_t type) {
    switch (static_cast<RecurrenceType>(type)) {
        case RecurrenceType::Daily:
            return "DAILY";
        case RecurrenceType::Weekly:
            return "WEEKLY";
        case RecurrenceType::MonthlyOnDay:
        case RecurrenceType::MonthlyOnWeekday:
            return "MONTHLY";
        case RecurrenceType::YearlyOnDay:
        case RecurrenceType::YearlyOnWeekday:
            return "YEARLY";
    }
    return "";
}

bool IsMonthly(std::int32_t type) {
    return type == static_cast<std::int32_t>(RecurrenceType::MonthlyOnDay) ||
           type == static_cast<std::int32_t>(RecurrenceType::MonthlyOnWeekday);
}

bool IsYearly(std::int32_t type) {
    return type == static_cast<std::int32_t>(RecurrenceType::YearlyOnDay) ||
           type == static_cast<std::int32_t>(RecurrenceType::YearlyOnWeekday);
}

std::string RecurrenceRuleLine(PropertySource& source) {
    if (source.NumberOr(property::kIsRecurring, 0) == 0) return {};
    // What is missing counts as 0, the value that says nothing, and as no instance.
    std::int32_t type = source.NumberOr(property::kRecurrenceType, 0);
    std::int32_t interval = source.NumberOr(property::kRecurrenceInterval, 0);
    const std::int32_t days = source.NumberOr(property::kRecurrenceDays, 0);
    const std::int32_t instance = source.NumberOr(property::kRecurrenceInstance, kEveryInstance);
    const std::int32_t noEnd = source.NumberOr(property::kNoEndDate, 0);
    if (type == static_cast<std::int32_t>(RecurrenceType::Weekly) && days == kMondayToFriday) {
        // The interval of such a rule is lost.
        type = static_cast<std::int32_t>(RecurrenceType::Daily);
        interval = 0;
    }
    std::string rule = std::string("RRULE:FREQ=") + FrequencyWord(type);
    if (!IsYearly(type)) AppendNonZeroPart(rule, ";INTERVAL=", interval);
    if (noEnd == 0) {
        // Both, although the standard allows only one of them.
        AppendPart(rule, ";COUNT=", source.NumberOr(property::kOccurrences, 0));
        rule.append(";UNTIL=").append(DateText(source.FileTime(property::kPatternEndDate)));
    }
    AppendDays(rule, days, instance == kEveryInstance ? std::nullopt : std::optional(instance));
    AppendPlaceInPeriod(rule, source, type);
    return rule + "\r\n";
}

std::string StoredRecurrenceRule(PropertySource& source) {
    std::string rule;
    if (const auto type = source.Number(property::kRecurrenceType)) {
        rule.append("FREQ=").append(FrequencyWord(*type));
    }
    if (const auto interval = source.Number(property::kRecurrenceInterval)) {
        AppendPart(rule, ";INTERVAL=", *interval);
    }
    if (source.NumberOr(property::kNoEndDate, 1) == 0) {
        if (const auto end = source.FileTime(property::kPatternEndDate)) {
            rule.append(";UNTIL=").append(DateText(*end));
        }
    }
    const std::int32_t days = source.NumberOr(property::kRecurrenceDays, 0);
    AppendDays(rule, days, source.Number(property::kRecurrenceInstance));
    AppendNonZeroPart(rule, ";BYMONTHDAY=", source.NumberOr(property::kRecurrenceDayOfMonth, 0));
    AppendNonZeroPart(rule, ";BYMONTH=", source.NumberOr(property::kRecurrenceMonth, 0));
    return rule;
}

std::string StandardRecurrenceRule(PropertySource& source) {
    if (source.NumberOr(property::kIsRecurring, 0) == 0) return {};
    const std::int32_t type = source.NumberOr(property::kRecurrenceType, 0);
    const std::string frequency = FrequencyWord(type);
    if (frequency.empty()) return {};
    std::string rule = "FREQ=" + frequency;
    const std::int32_t interval = source.NumberOr(property::kRecurrenceInterval, 0);
    if (interval > 0) AppendPart(rule, ";INTERVAL=", interval);
    rule += StandardEnd(source);
    const std::int32_t days = source.NumberOr(property::kRecurrenceDays, 0);
    const std::int32_t instance = source.NumberOr(property::kRecurrenceInstance, kEveryInstance);
    // A position says something in a month or year alone.
    const bool hasPosition = instance > 0 && (IsMonthly(type) || IsYearly(type));
    AppendDays(rule, days, hasPosition ? std::optional(instance) : std::nullopt);
    AppendPlaceInPeriod(rule, source, type);
    return rule;
}

}  // namespace tarnwick

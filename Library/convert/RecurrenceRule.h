// The writers of recurrence rules. The store's own two grew apart, and readers of either form rely
// on the differences:
//
//                      RecurrenceRuleLine                StoredRecurrenceRule
//   recurring test     the property must be non-zero     none
//   ends               "RRULE:" before, CR LF after      neither; "FREQ=" only with a type
//   Monday to Friday   a weekly rule becomes daily       left as it is
//   ";INTERVAL="       non-zero and not yearly           whenever found, also 0, also yearly
//   end of the rule    ";COUNT=" and ";UNTIL=" together  ";UNTIL=" alone, with flag and date
//   ";BYSETPOS="       not for the instance -1           for every instance found, -1 too
//   day and month      with their types alone            whenever found and non-zero
#pragma once

#include <string>

#include "Library/convert/ItemProperties.h"

namespace tarnwick {

// PR_BNP_RecurrenceType.
enum class RecurrenceType : std::int32_t {
    Daily = 0,
    Weekly = 1,
    MonthlyOnDay = 2,
    MonthlyOnWeekday = 3,
    YearlyOnDay = 5,
    YearlyOnWeekday = 6,
};

// "DAILY" to "YEARLY"; empty for a type without a word, which leaves "FREQ=" with nothing behind
// it.
const char* FrequencyWord(std::int32_t type);
bool IsMonthly(std::int32_t type);
bool IsYearly(std::int32_t type);

// PR_BNP_RecurrenceDayOfWeekMask: bit n is weekday n of kWeekdayNames.
inline constexpr const char* kWeekdayNames[] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};
inline constexpr std::int32_t kMondayToFriday = 62;

// PR_BNP_RecurrenceInstance: which of the days in the mask counts in a month or year.
inline constexpr std::int32_t kEveryInstance = -1;
inline constexpr std::int32_t kLastInstance = 5;

// The RRULE line of an item, its line end included; empty when the item does not recur.
std::string RecurrenceRuleLine(PropertySource& source);

// The stored rule's value alone, from whatever recurrence properties are found.
std::string StoredRecurrenceRule(PropertySource& source);

// The value of the RRULE (RFC 5545) that the properties mean; empty when there is none. The store's
// own rules lose intervals and carry two ends and positions that no reader knows.
std::string StandardRecurrenceRule(PropertySource& source);

}  // namespace tarnwick

#include <sstream>

#include <gtest/gtest.h>

#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"

namespace tarnwick {
namespace {

// Recurrence properties by their letters: T type, I interval, M day mask, N instance, E no-end
// flag, C occurrences, D day of month, Y month of year, R recurring; U an end date, X one that
// cannot be converted.
const std::pair<char, const char*> kNames[] = {
    {'T', property::kRecurrenceType},
    {'I', property::kRecurrenceInterval},
    {'M', property::kRecurrenceDays},
    {'N', property::kRecurrenceInstance},
    {'E', property::kNoEndDate},
    {'C', property::kOccurrences},
    {'D', property::kRecurrenceDayOfMonth},
    {'Y', property::kRecurrenceMonth},
    {'R', property::kIsRecurring},
};

// "T1 I2" and so on; the end date is 2024-03-05 06:07:08 UTC.
ItemPropertyContainer ItemOf(const char* letters) {
    ItemPropertyContainer item;
    item.Set(property::kIsRecurring, 1);
    std::istringstream words(letters);
    for (std::string word; words >> word;) {
        if (word == "U")
            item.Set(property::kPatternEndDate, std::uint64_t{133'540'924'280'000'000});
        if (word == "X") item.Set(property::kPatternEndDate, std::uint64_t{1} << 63);
        for (const auto& [letter, name] : kNames) {
            if (word[0] == letter) item.Set(name, std::stoi(word.substr(1)));
        }
    }
    return item;
}

const struct {
    const char* letters;
    const char* line;  // without "RRULE:" and the line end
    const char* stored;
} kRows[] = {
    // Frequencies; missing numbers.
    {"", "FREQ=DAILY;COUNT=0;UNTIL=", ""},
    {"T0 E1", "FREQ=DAILY", "FREQ=DAILY"},
    {"T1 E1", "FREQ=WEEKLY", "FREQ=WEEKLY"},
    {"T2 E1", "FREQ=MONTHLY", "FREQ=MONTHLY"},
    {"T3 E1", "FREQ=MONTHLY", "FREQ=MONTHLY"},
    {"T4 E1", "FREQ=", "FREQ="},
    {"T5 E1", "FREQ=YEARLY", "FREQ=YEARLY"},
    {"T6 E1", "FREQ=YEARLY", "FREQ=YEARLY"},
    {"T7 E1", "FREQ=", "FREQ="},
    {"T-1 E1", "FREQ=", "FREQ="},
    // Only the line asks whether the item recurs.
    {"R0 T1 E1", "", "FREQ=WEEKLY"},
    {"R-1 T1 E1", "FREQ=WEEKLY", "FREQ=WEEKLY"},
    // Intervals.
    {"T0 I0 E1", "FREQ=DAILY", "FREQ=DAILY;INTERVAL=0"},
    {"T1 I2 E1", "FREQ=WEEKLY;INTERVAL=2", "FREQ=WEEKLY;INTERVAL=2"},
    {"T4 I2 E1", "FREQ=;INTERVAL=2", "FREQ=;INTERVAL=2"},
    {"T5 I2 E1", "FREQ=YEARLY", "FREQ=YEARLY;INTERVAL=2"},
    {"T6 I2 E1", "FREQ=YEARLY", "FREQ=YEARLY;INTERVAL=2"},
    {"I2 E1", "FREQ=DAILY;INTERVAL=2", ";INTERVAL=2"},
    // Ends.
    {"T0 E0", "FREQ=DAILY;COUNT=0;UNTIL=", "FREQ=DAILY"},
    {"T0 E0 C9 U", "FREQ=DAILY;COUNT=9;UNTIL=20240305T060708", "FREQ=DAILY;UNTIL=20240305T060708"},
    {"T0 C9 U", "FREQ=DAILY;COUNT=9;UNTIL=20240305T060708", "FREQ=DAILY"},
    {"T0 E-1 C9 U", "FREQ=DAILY", "FREQ=DAILY"},
    {"E0 X", "FREQ=DAILY;COUNT=0;UNTIL=", ";UNTIL="},
    // Days and instances.
    {"T1 M127 E1", "FREQ=WEEKLY;BYDAY=SU,MO,TU,WE,TH,FR,SA;WKST=SU",
     "FREQ=WEEKLY;BYDAY=SU,MO,TU,WE,TH,FR,SA;WKST=SU"},
    {"T1 M10 N-1 E1", "FREQ=WEEKLY;BYDAY=MO,WE;WKST=SU",
     "FREQ=WEEKLY;BYDAY=MO,WE;BYSETPOS=-1;WKST=SU"},
    {"T3 M32 N5 E1", "FREQ=MONTHLY;BYDAY=FR;BYSETPOS=-1;WKST=SU",
     "FREQ=MONTHLY;BYDAY=FR;BYSETPOS=-1;WKST=SU"},
    {"T3 M1 N0 E1", "FREQ=MONTHLY;BYDAY=SU;BYSETPOS=0;WKST=SU",
     "FREQ=MONTHLY;BYDAY=SU;BYSETPOS=0;WKST=SU"},
    {"T1 M128 N2 E1", "FREQ=WEEKLY", "FREQ=WEEKLY"},
    // Monday to Friday.
    {"T1 M62 I2 N-1 E1", "FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR;WKST=SU",
     "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1;WKST=SU"},
    {"T3 M62 I2 N5 E1", "FREQ=MONTHLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1;WKST=SU",
     "FREQ=MONTHLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1;WKST=SU"},
    // Day of the month, month of the year.
    {"T2 D17 Y3 E1", "FREQ=MONTHLY;BYMONTHDAY=17", "FREQ=MONTHLY;BYMONTHDAY=17;BYMONTH=3"},
    {"T3 D17 E1", "FREQ=MONTHLY;BYMONTHDAY=17", "FREQ=MONTHLY;BYMONTHDAY=17"},
    {"T5 D17 Y3 E1", "FREQ=YEARLY;BYMONTH=3", "FREQ=YEARLY;BYMONTHDAY=17;BYMONTH=3"},
    {"T6 Y3 E1", "FREQ=YEARLY;BYMONTH=3", "FREQ=YEARLY;BYMONTH=3"},
    {"T1 D17 Y3 E1", "FREQ=WEEKLY", "FREQ=WEEKLY;BYMONTHDAY=17;BYMONTH=3"},
    {"T2 D0 Y0 E1", "FREQ=MONTHLY", "FREQ=MONTHLY"},
    // Everything at once, in order.
    {"T6 I3 M2 N1 E0 C4 D8 Y12 U",
     "FREQ=YEARLY;COUNT=4;UNTIL=20240305T060708;BYDAY=MO;BYSETPOS=1;WKST=SU;BYMONTH=12",
     "FREQ=YEARLY;INTERVAL=3;UNTIL=20240305T060708;BYDAY=MO;BYSETPOS=1;WKST=SU;BYMONTHDAY=8;"
     "BYMONTH=12"},
};

TEST(RecurrenceRules, OfBothWriters) {
    for (const auto& row : kRows) {
        ItemPropertyContainer item = ItemOf(row.letters);
        const std::string line = row.line;
        EXPECT_EQ(row.stored, StoredRecurrenceRule(item)) << row.letters;
        EXPECT_EQ(line.empty() ? line : "RRULE:" + line + "\r\n", RecurrenceRuleLine(item))
            << row.letters;
    }
}

}  // namespace
}  // namespace tarnwick

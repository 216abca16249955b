#include <gtest/gtest.h>

#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"

namespace tarnwick {
namespace {

// Recurrence properties by their letters: T type, I interval, M day mask, N instance, E no-end
// flag, C occurrences, D day of month, Y month of year, R recurring.
using Letters = std::vector<std::pair<char, std::int32_t>>;

const char* NameOf(char letter) {
    switch (letter) {
        case 'T':
            return property::kRecurrenceType;
        case 'I':
            return property::kRecurrenceInterval;
        case 'M':
            return property::kRecurrenceDays;
        case 'N':
            return property::kRecurrenceInstance;
        case 'E':
            return property::kNoEndDate;
        case 'C':
            return property::kOccurrences;
        case 'D':
            return property::kRecurrenceDayOfMonth;
        case 'Y':
            return property::kRecurrenceMonth;
        default:
            return property::kIsRecurring;
    }
}

// 2024-03-05 06:07:08 UTC.
constexpr std::uint64_t kEndDate = 133'540'924'280'000'000;

struct RuleRow {
    Letters letters;
    bool endDate;
    const char* line;  // without "RRULE:" and the line end
    const char* stored;
};

const RuleRow kRows[] = {
    // Frequencies; missing numbers.
    {{}, false, "FREQ=DAILY;COUNT=0;UNTIL=", ""},
    {{{'T', 0}, {'E', 1}}, false, "FREQ=DAILY", "FREQ=DAILY"},
    {{{'T', 1}, {'E', 1}}, false, "FREQ=WEEKLY", "FREQ=WEEKLY"},
    {{{'T', 2}, {'E', 1}}, false, "FREQ=MONTHLY", "FREQ=MONTHLY"},
    {{{'T', 3}, {'E', 1}}, false, "FREQ=MONTHLY", "FREQ=MONTHLY"},
    {{{'T', 4}, {'E', 1}}, false, "FREQ=", "FREQ="},
    {{{'T', 5}, {'E', 1}}, false, "FREQ=YEARLY", "FREQ=YEARLY"},
    {{{'T', 6}, {'E', 1}}, false, "FREQ=YEARLY", "FREQ=YEARLY"},
    {{{'T', 7}, {'E', 1}}, false, "FREQ=", "FREQ="},
    {{{'T', -1}, {'E', 1}}, false, "FREQ=", "FREQ="},
    // Intervals.
    {{{'T', 0}, {'I', 0}, {'E', 1}}, false, "FREQ=DAILY", "FREQ=DAILY;INTERVAL=0"},
    {{{'T', 1}, {'I', 2}, {'E', 1}}, false, "FREQ=WEEKLY;INTERVAL=2", "FREQ=WEEKLY;INTERVAL=2"},
    {{{'T', 4}, {'I', 2}, {'E', 1}}, false, "FREQ=;INTERVAL=2", "FREQ=;INTERVAL=2"},
    {{{'T', 5}, {'I', 2}, {'E', 1}}, false, "FREQ=YEARLY", "FREQ=YEARLY;INTERVAL=2"},
    {{{'T', 6}, {'I', 2}, {'E', 1}}, false, "FREQ=YEARLY", "FREQ=YEARLY;INTERVAL=2"},
    {{{'I', 2}, {'E', 1}}, false, "FREQ=DAILY;INTERVAL=2", ";INTERVAL=2"},
    // Ends.
    {{{'T', 0}, {'E', 0}}, false, "FREQ=DAILY;COUNT=0;UNTIL=", "FREQ=DAILY"},
    {{{'T', 0}, {'E', 0}, {'C', 9}}, false, "FREQ=DAILY;COUNT=9;UNTIL=", "FREQ=DAILY"},
    {{{'T', 0}, {'E', 0}, {'C', 9}},
     true,
     "FREQ=DAILY;COUNT=9;UNTIL=20240305T060708",
     "FREQ=DAILY;UNTIL=20240305T060708"},
    {{{'T', 0}, {'C', 9}}, true, "FREQ=DAILY;COUNT=9;UNTIL=20240305T060708", "FREQ=DAILY"},
    {{{'T', 0}, {'E', -1}, {'C', 9}}, true, "FREQ=DAILY", "FREQ=DAILY"},
    // Days and instances.
    {{{'T', 1}, {'M', 127}, {'E', 1}},
     false,
     "FREQ=WEEKLY;BYDAY=SU,MO,TU,WE,TH,FR,SA;WKST=SU",
     "FREQ=WEEKLY;BYDAY=SU,MO,TU,WE,TH,FR,SA;WKST=SU"},
    {{{'T', 1}, {'M', 10}, {'N', -1}, {'E', 1}},
     false,
     "FREQ=WEEKLY;BYDAY=MO,WE;WKST=SU",
     "FREQ=WEEKLY;BYDAY=MO,WE;BYSETPOS=-1;WKST=SU"},
    {{{'T', 3}, {'M', 32}, {'N', 5}, {'E', 1}},
     false,
     "FREQ=MONTHLY;BYDAY=FR;BYSETPOS=-1;WKST=SU",
     "FREQ=MONTHLY;BYDAY=FR;BYSETPOS=-1;WKST=SU"},
    {{{'T', 3}, {'M', 64}, {'N', 2}, {'E', 1}},
     false,
     "FREQ=MONTHLY;BYDAY=SA;BYSETPOS=2;WKST=SU",
     "FREQ=MONTHLY;BYDAY=SA;BYSETPOS=2;WKST=SU"},
    {{{'T', 3}, {'M', 1}, {'N', 0}, {'E', 1}},
     false,
     "FREQ=MONTHLY;BYDAY=SU;BYSETPOS=0;WKST=SU",
     "FREQ=MONTHLY;BYDAY=SU;BYSETPOS=0;WKST=SU"},
    {{{'T', 1}, {'M', 128}, {'N', 2}, {'E', 1}}, false, "FREQ=WEEKLY", "FREQ=WEEKLY"},
    // Monday to Friday.
    {{{'T', 1}, {'M', 62}, {'I', 2}, {'N', -1}, {'E', 1}},
     false,
     "FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR;WKST=SU",
     "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1;WKST=SU"},
    {{{'T', 3}, {'M', 62}, {'I', 2}, {'N', 5}, {'E', 1}},
     false,
     "FREQ=MONTHLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1;WKST=SU",
     "FREQ=MONTHLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1;WKST=SU"},
    // Day of the month, month of the year.
    {{{'T', 2}, {'D', 17}, {'Y', 3}, {'E', 1}},
     false,
     "FREQ=MONTHLY;BYMONTHDAY=17",
     "FREQ=MONTHLY;BYMONTHDAY=17;BYMONTH=3"},
    {{{'T', 3}, {'D', 17}, {'E', 1}},
     false,
     "FREQ=MONTHLY;BYMONTHDAY=17",
     "FREQ=MONTHLY;BYMONTHDAY=17"},
    {{{'T', 5}, {'D', 17}, {'Y', 3}, {'E', 1}},
     false,
     "FREQ=YEARLY;BYMONTH=3",
     "FREQ=YEARLY;BYMONTHDAY=17;BYMONTH=3"},
    {{{'T', 6}, {'Y', 3}, {'E', 1}}, false, "FREQ=YEARLY;BYMONTH=3", "FREQ=YEARLY;BYMONTH=3"},
    {{{'T', 1}, {'D', 17}, {'Y', 3}, {'E', 1}},
     false,
     "FREQ=WEEKLY",
     "FREQ=WEEKLY;BYMONTHDAY=17;BYMONTH=3"},
    {{{'T', 2}, {'D', 0}, {'Y', 0}, {'E', 1}}, false, "FREQ=MONTHLY", "FREQ=MONTHLY"},
    // Everything at once, in order.
    {{{'T', 6}, {'I', 3}, {'M', 2}, {'N', 1}, {'E', 0}, {'C', 4}, {'D', 8}, {'Y', 12}},
     true,
     "FREQ=YEARLY;COUNT=4;UNTIL=20240305T060708;BYDAY=MO;BYSETPOS=1;WKST=SU;BYMONTH=12",
     "FREQ=YEARLY;INTERVAL=3;UNTIL=20240305T060708;BYDAY=MO;BYSETPOS=1;WKST=SU;BYMONTHDAY=8;"
     "BYMONTH=12"},
};

ItemPropertyContainer ItemOf(const RuleRow& row) {
    ItemPropertyContainer item;
    for (const auto& [letter, number] : row.letters) item.Set(NameOf(letter), number);
    if (row.endDate) item.Set(property::kPatternEndDate, kEndDate);
    return item;
}

TEST(RecurrenceRules, OfBothWriters) {
    for (const RuleRow& row : kRows) {
        ItemPropertyContainer item = ItemOf(row);
        EXPECT_EQ(row.stored, StoredRecurrenceRule(item)) << row.line;
        item.Set(property::kIsRecurring, 1);
        EXPECT_EQ(std::string("RRULE:") + row.line + "\r\n", RecurrenceRuleLine(item));
    }
}

TEST(RecurrenceRules, OnlyTheLineAsksWhetherTheItemRecurs) {
    ItemPropertyContainer item;
    item.Set(property::kRecurrenceType, 1);
    EXPECT_EQ("", RecurrenceRuleLine(item));
    EXPECT_EQ("FREQ=WEEKLY", StoredRecurrenceRule(item));
    item.Set(property::kIsRecurring, 0);
    EXPECT_EQ("", RecurrenceRuleLine(item));
    EXPECT_EQ("FREQ=WEEKLY", StoredRecurrenceRule(item));
    item.Set(property::kIsRecurring, -1);
    EXPECT_NE("", RecurrenceRuleLine(item));
}

TEST(RecurrenceRules, AnEndDateThatCannotBeConvertedIsEmpty) {
    ItemPropertyContainer item;
    item.Set(property::kIsRecurring, 1);
    item.Set(property::kNoEndDate, 0);
    item.Set(property::kPatternEndDate, std::uint64_t{1} << 63);
    EXPECT_EQ("RRULE:FREQ=DAILY;COUNT=0;UNTIL=\r\n", RecurrenceRuleLine(item));
    EXPECT_EQ(";UNTIL=", StoredRecurrenceRule(item));
}

}  // namespace
}  // namespace tarnwick

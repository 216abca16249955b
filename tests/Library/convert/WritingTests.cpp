// What is written of items: the store's own texts, dates and rules.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>

#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"
#include "tests/Library/convert/ItemDescription.h"

namespace tarnwick {
namespace {

TEST(CalendarDate, IsTheLibrarysOwnForAThousandYears) {
    using namespace std::chrono;
    for (days day{-300'000}; day.count() < 300'000; ++day) {
        const year_month_day date{sys_days{day}};
        const CivilDate civil{int{date.year()}, unsigned{date.month()}, unsigned{date.day()}};
        ASSERT_EQ(civil, CivilFromDays(day.count())) << day.count();
        ASSERT_EQ(day.count(), DaysFromCivil(civil));
        ASSERT_EQ(weekday{sys_days{day}}.c_encoding(), WeekdayFromDays(day.count()));
        ASSERT_EQ(unsigned{year_month_day_last{date.year() / date.month() / last}.day()},
                  DaysInMonth(civil.year, civil.month));
        ASSERT_EQ(day.count(), DayOf(day.count() * kSecondsPerDay));
        ASSERT_EQ(day.count(), DayOf(day.count() * kSecondsPerDay + kSecondsPerDay - 1));
    }
}

// What is out of range becomes 1 or 0, but the hour 24, and short years have blanks before them.
TEST(DateText, HoldsAnyFieldAndEveryFileTime) {
    const std::pair<CalendarFields, const char*> rows[] = {
        {{2024, 12, 31, 23, 59, 59}, "20241231T235959"},
        {{2024, 0, 5, 6, 7, 8}, "20240105T060708"},
        {{2024, 13, 5, 6, 7, 8}, "20240105T060708"},
        {{2024, 65535, 5, 6, 7, 8}, "20240105T060708"},
        {{2024, 3, 0, 6, 7, 8}, "20240301T060708"},
        {{2024, 3, 32, 6, 7, 8}, "20240301T060708"},
        {{2024, 2, 31, 6, 7, 8}, "20240231T060708"},
        {{2024, 3, 5, 24, 7, 8}, "20240305T240708"},
        {{2024, 3, 5, 25, 7, 8}, "20240305T000708"},
        {{2024, 3, 5, 6, 60, 8}, "20240305T060008"},
        {{2024, 3, 5, 6, 7, 60}, "20240305T060700"},
        {{7, 3, 5, 6, 7, 8}, "   70305T060708"},
        {{65535, 3, 5, 6, 7, 8}, "655350305T060708"},
    };
    for (const auto& [fields, text] : rows) EXPECT_EQ(text, DateText(fields));
    EXPECT_EQ("16010101T000000", DateText(std::uint64_t{9'999'999}));
    EXPECT_EQ("20380119T031407", DateText(FileTimeOfSeconds(INT32_MAX)));
    EXPECT_EQ("19011213T204552", DateText(FileTimeOfSeconds(INT32_MIN)));
    EXPECT_EQ("308280914T024805", DateText(std::uint64_t{INT64_MAX}));
    EXPECT_EQ("", DateText(std::uint64_t{1} << 63));
}

using Properties = std::vector<std::pair<const char*, PropertyValue>>;

ItemPropertyContainer Item(const Properties& properties) {
    ItemPropertyContainer item;
    for (const auto& [name, value] : properties) item.Set(name, value);
    return item;
}

// 2024-03-05 06:07:08 and 2024-03-05 07:00:00 UTC.
constexpr std::uint64_t kMorning = 133'540'924'280'000'000;
constexpr std::uint64_t kLater = 133'540'956'000'000'000;
// A file time whose text is the one of "no date": 2038-01-19 03:14:07 UTC.
constexpr std::uint64_t kNoDate = 137'919'572'470'000'000;

std::string OwnCalendar(const std::string& component, const std::string& lines) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\nBEGIN:" +
           component + "\r\n" + lines + "END:" + component + "\r\nEND:VCALENDAR\r\n";
}

std::string OwnEvent(const std::string& dates, const std::string& texts,
                     const std::string& end = "LAST-MODIFIED:\r\n") {
    return OwnCalendar("VEVENT", dates + texts + end);
}

std::string OwnTask(const std::string& lines) {
    return OwnCalendar("VTODO", lines);
}

std::string OwnCard(const std::string& lines) {
    return "BEGIN:VCARD\r\nVERSION:2.1\r\n" + lines + "END:VCARD\r\n";
}

TEST(OwnTexts, AreWritten) {
    const std::string noDates = "DTSTART:\r\nDTEND:\r\nUID:\r\n";
    const std::string noTexts = "LOCATION:\r\nDESCRIPTION:\r\nSUMMARY:\r\n";
    const std::string noTask =
        "UID:\r\nCLASS:\r\nLAST-MODIFIED:\r\nPERCENT-COMPLETE:\r\nSTATUS:\r\nPRIORITY:\r\n"
        "DESCRIPTION:\r\nSUMMARY:\r\n";
    const struct {
        std::string (*write)(PropertySource&);
        Properties properties;
        std::string text;
    } rows[] = {
        {EventText, {}, OwnEvent(noDates, noTexts)},
        {EventText,
         {{property::kAppointmentUid, "A-1"},
          {property::kEventStart, kMorning},
          {property::kEventEnd, kLater},
          {property::kLocation, "Room 5"},
          {property::kBody, "Bring tea"},
          {property::kSubject, "Tea"},
          {property::kIsRecurring, 1},
          {property::kRecurrenceInterval, 3},
          {property::kNoEndDate, 1},
          {property::kModifiedDate, 1'700'000'000}},
         OwnEvent("DTSTART:20240305T060708Z\r\nDTEND:20240305T070000Z\r\nUID:A-1\r\n",
                  "LOCATION:Room 5\r\nDESCRIPTION:Bring tea\r\nSUMMARY:Tea\r\n",
                  "RRULE:FREQ=DAILY;INTERVAL=3\r\nLAST-MODIFIED:20231114T221320\r\n")},
        // Texts go in as they are.
        {EventText,
         {{property::kLocation, "a,b;c\\d"}, {property::kBody, "one\r\ntwo\n three\xE9"}},
         OwnEvent(noDates,
                  "LOCATION:a,b;c\\d\r\nDESCRIPTION:one\r\ntwo\n three\xE9\r\nSUMMARY:\r\n")},
        // In events the no-date text means nothing; dates that cannot be converted are empty.
        {EventText,
         {{property::kEventStart, kNoDate}, {property::kEventEnd, std::uint64_t{1} << 63}},
         OwnEvent("DTSTART:20380119T031407Z\r\nDTEND:\r\nUID:\r\n", noTexts)},
        {TaskText, {}, OwnTask(noTask)},
        // A task has no recurrence.
        {TaskText,
         {{property::kItemId, "T-1"},
          {property::kDueDate, kLater},
          {property::kSensitivity, 0},
          {property::kModifiedDate, 0},
          {property::kPercentComplete, 12.5},
          {property::kStatus, 1},
          {property::kImportance, 1},
          {property::kTaskStart, kMorning},
          {property::kBody, "All of it"},
          {property::kSubject, "Write"},
          {property::kIsRecurring, 1}},
         OwnTask("UID:T-1\r\nDUE:20240305T070000\r\nCLASS:PUBLIC\r\n"
                 "LAST-MODIFIED:19700101T000000\r\nPERCENT-COMPLETE:12.5\r\n"
                 "STATUS:IN-PROCESS\r\nPRIORITY:5\r\nDTSTART:20240305T060708\r\n"
                 "DESCRIPTION:All of it\r\nSUMMARY:Write\r\n")},
        // The no-date text leaves the date out; values of another kind are not found.
        {TaskText,
         {{property::kDueDate, kNoDate}, {property::kTaskStart, kNoDate + 9'999'999}},
         OwnTask(noTask)},
        {TaskText,
         {{property::kStatus, 1.0}, {property::kDueDate, 7}, {property::kPercentComplete, 7}},
         OwnTask(noTask)},
        {ContactText, {}, OwnCard("N:;;;;\r\nNICKNAME:\r\nEMAIL;PREF;INTERNET:\r\n")},
        // The body is left out.
        {ContactText,
         {{property::kBody, "Knows tea"},
          {property::kSurname, "Smith"},
          {property::kGivenName, "Anna"},
          {property::kMiddleName, "B."},
          {property::kNamePrefix, "Dr."},
          {property::kGeneration, "III"},
          {property::kNickname, "Ann"},
          {property::kEmailAddress, "anna@example.org"}},
         OwnCard("N:Smith;Anna;B.;Dr.;III\r\nNICKNAME:Ann\r\n"
                 "EMAIL;PREF;INTERNET:anna@example.org\r\n")},
        {ContactText,
         {{property::kSurname, "a;b"}, {property::kNickname, "x\r\ny\xE9"}},
         OwnCard("N:a;b;;;;\r\nNICKNAME:x\r\ny\xE9\r\nEMAIL;PREF;INTERNET:\r\n")},
    };
    for (const auto& row : rows) {
        ItemPropertyContainer item = Item(row.properties);
        EXPECT_EQ(row.text, row.write(item));
    }
}

TEST(OwnTexts, WordsOfNumbers) {
    const struct {
        const char* name;
        PropertyValue value;
        const char* line;
    } rows[] = {
        {property::kSensitivity, 1, "CLASS:PRIVATE"},
        {property::kSensitivity, 2, "CLASS:PRIVATE"},
        {property::kSensitivity, 3, "CLASS:CONFIDENTIAL"},
        {property::kSensitivity, -1, "CLASS:CONFIDENTIAL"},
        {property::kStatus, 0, "STATUS:"},
        {property::kStatus, 2, "STATUS:COMPLETED"},
        {property::kStatus, 3, "STATUS:NEEDS-ACTION"},
        {property::kStatus, 4, "STATUS:CANCELLED"},
        {property::kStatus, 5, "STATUS:"},
        {property::kImportance, 0, "PRIORITY:9"},
        {property::kImportance, 2, "PRIORITY:1"},
        {property::kImportance, -7, "PRIORITY:1"},
        {property::kPercentComplete, 66.66666666, "PERCENT-COMPLETE:66.6667"},
        {property::kPercentComplete, 0.0000125, "PERCENT-COMPLETE:1.25e-05"},
        {property::kPercentComplete, 1234567.0, "PERCENT-COMPLETE:1.23457e+06"},
        {property::kPercentComplete, std::numeric_limits<double>::infinity(),
         "PERCENT-COMPLETE:inf"},
    };
    for (const auto& row : rows) {
        ItemPropertyContainer item = Item({{row.name, row.value}});
        const std::string line = std::string("\r\n") + row.line + "\r\n";
        EXPECT_NE(std::string::npos, TaskText(item).find(line)) << row.line << TaskText(item);
    }
}

char* Allocated(const char* text) {
    return std::strcpy(static_cast<char*>(std::malloc(std::strlen(text) + 1)), text);
}

// Kinds of values are read in StoreItemTextTests.cpp; here memory is watched.
TEST(ReturnedValues, AreCopiedAndReleasedOnlyWithTheCodeForFound) {
    EXPECT_EQ(PropertyValue("tea"), TakeReturnedValue(2, Allocated("tea"), PropertyKind::Text));
    EXPECT_EQ(std::nullopt, TakeReturnedValue(2, nullptr, PropertyKind::Text));
    for (const std::int32_t code : {-1, 0, 1, 3}) {
        char ownedByTheProvider[] = "tea";
        EXPECT_EQ(std::nullopt, TakeReturnedValue(code, ownedByTheProvider, PropertyKind::Text))
            << code;
    }
}

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
    const char* standard = nullptr;  // that of RFC 5545, where it has less or more
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
    {"T5 I2 E1", "FREQ=YEARLY", "FREQ=YEARLY;INTERVAL=2", "FREQ=YEARLY;INTERVAL=2"},
    {"T6 I2 E1", "FREQ=YEARLY", "FREQ=YEARLY;INTERVAL=2"},
    {"I2 E1", "FREQ=DAILY;INTERVAL=2", ";INTERVAL=2"},
    // Ends.
    {"T0 E0", "FREQ=DAILY;COUNT=0;UNTIL=", "FREQ=DAILY"},
    {"T0 E0 C9 U", "FREQ=DAILY;COUNT=9;UNTIL=20240305T060708", "FREQ=DAILY;UNTIL=20240305T060708"},
    {"T0 C9 U", "FREQ=DAILY;COUNT=9;UNTIL=20240305T060708", "FREQ=DAILY", "FREQ=DAILY;COUNT=9"},
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
     "FREQ=MONTHLY;BYDAY=SU;BYSETPOS=0;WKST=SU", "FREQ=MONTHLY;BYDAY=SU;WKST=SU"},
    {"T1 M128 N2 E1", "FREQ=WEEKLY", "FREQ=WEEKLY"},
    // Monday to Friday.
    {"T1 M62 I2 N-1 E1", "FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR;WKST=SU",
     "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1;WKST=SU",
     "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;WKST=SU"},
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

TEST(RecurrenceRules, OfAllWriters) {
    for (const auto& row : kRows) {
        ItemPropertyContainer item = ItemOf(row.letters);
        const std::string line = row.line;
        EXPECT_EQ(row.stored, StoredRecurrenceRule(item)) << row.letters;
        EXPECT_EQ(line.empty() ? line : "RRULE:" + line + "\r\n", RecurrenceRuleLine(item))
            << row.letters;
        if (row.standard != nullptr) {
            EXPECT_EQ(row.standard, StandardRecurrenceRule(item)) << row.letters;
        }
    }
}

}  // namespace
}  // namespace tarnwick

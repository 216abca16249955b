// What is written of items: the store's own texts, dates and rules, and files for other programs
// that read back to the same items.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include "Library/convert/CalendarFileText.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"
#include "tests/Library/convert/ItemDescription.h"

namespace tarnwick {
namespace {

using testing::Describe;

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

constexpr int kRounds = 1500;

bool SameProperties(const ItemPropertyContainer& left, const ItemPropertyContainer& right) {
    if (left.size() != right.size()) return false;
    for (const auto& property : left) {
        const PropertyValue* other = right.Find(property.name);
        if (other == nullptr || *other != property.value) return false;
    }
    return true;
}

// Items such as the store holds: what is set is what the texts can carry.
class Generator {
  public:
    explicit Generator(const char* alphabet, bool breaksArePairs = false)
        : alphabet_(alphabet), breaksArePairs_(breaksArePairs) {}

    int Below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }

    std::string Text() {
        std::string text;
        const int length = 1 + Below(Below(8) == 0 ? 300 : 12);
        while (static_cast<int>(text.size()) < length) {
            const int letter = Below(static_cast<int>(alphabet_.size()));
            const char byte = alphabet_[static_cast<std::size_t>(letter)];
            text += byte == '\n' && breaksArePairs_ ? "\r\n" : std::string(1, byte);
        }
        return text;
    }
    // A text in which lines begin as the writer's own do, and items end.
    std::string Body() {
        static constexpr const char* kPieces[] = {
            "\r\nSUMMARY:",      "\r\nEND:VEVENT",
            "\r\nEND:VCALENDAR", "\r\nBEGIN:VCALENDAR",
            "\r\nDESCRIPTION:",  "\r\nEND:VTODO\r\nEND:VCALENDAR",
            "\r\nUID:",          "\r\nLAST-MODIFIED:x",
            "\r\nRRULE:FREQ=",   "\r\nEND:VEVENT\r\nEND:VCALENDAR\r\nBEGIN:VCALENDAR\r\n"};
        std::string body = Text();
        for (int pieces = Below(6); pieces > 0; --pieces) body += kPieces[Below(10)] + Text();
        return body;
    }
    // Any second of the 800 years from 1601.
    std::uint64_t Date() {
        return std::uniform_int_distribution<std::uint64_t>(0, 25'245'000'000)(random_) *
               10'000'000;
    }
    std::int32_t Number() {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(random_()));
    }
    void Maybe(ItemPropertyContainer& item, const char* name, const PropertyValue& value) {
        if (Below(4) != 0) item.Set(name, value);
    }
    void MaybeTexts(ItemPropertyContainer& item, std::initializer_list<const char*> names) {
        for (const char* name : names) Maybe(item, name, Text());
    }

  private:
    std::mt19937 random_{5545};
    std::string alphabet_;
    bool breaksArePairs_;
};

// An end before its start is noted, and the properties keep it.
bool IsOfTheEnd(const ReadProblem& note) {
    return note.reason == "an end that is not behind the start is left out";
}

void AddRecurrence(Generator& generator, ItemPropertyContainer& item) {
    static constexpr std::int32_t kTypes[] = {0, 1, 2, 3, 5, 6};
    const std::int32_t type = kTypes[generator.Below(6)];
    const bool onWeekday = type == 3 || type == 6;
    std::int32_t days = type == 2 || type == 5 ? 0 : generator.Below(128);
    if (onWeekday && days == 0) days = 1;
    // A weekly rule of all working days has lost its interval, a yearly one never has any.
    std::int32_t interval = type >= 5 ? 0 : generator.Below(5);
    if (type == 1 && days == kMondayToFriday) interval = 1;
    if (type == 0 && days == kMondayToFriday && interval == 0) interval = 2;
    static constexpr std::int32_t kInstances[] = {-1, 1, 2, 3, 4, 5};
    item.Set(property::kIsRecurring, 1);
    item.Set(property::kRecurrenceType, type);
    item.Set(property::kRecurrenceInterval, interval);
    item.Set(property::kRecurrenceDays, days);
    item.Set(property::kRecurrenceInstance, days == 0 ? -1 : kInstances[generator.Below(6)]);
    item.Set(property::kRecurrenceDayOfMonth, type == 2 || type == 3 ? generator.Below(32) : 0);
    item.Set(property::kRecurrenceMonth, type >= 5 ? generator.Below(13) : 0);
    const bool ends = generator.Below(2) == 0;
    item.Set(property::kNoEndDate, ends ? 0 : 1);
    if (!ends) return;
    item.Set(property::kOccurrences, generator.Below(100));
    item.Set(property::kPatternEndDate, generator.Date());
}

CalendarItem MakeEvent(Generator& generator) {
    CalendarItem event;
    event.kind = ItemKind::Event;
    ItemPropertyContainer& item = event.properties;
    generator.Maybe(item, property::kEventStart, generator.Date());
    generator.Maybe(item, property::kEventEnd, generator.Date());
    generator.MaybeTexts(item,
                         {property::kAppointmentUid, property::kLocation, property::kSubject});
    generator.Maybe(item, property::kBody, generator.Body());
    if (generator.Below(2) == 0) AddRecurrence(generator, item);
    generator.Maybe(item, property::kModifiedDate, generator.Number());
    return event;
}

CalendarItem MakeTask(Generator& generator) {
    static constexpr std::int32_t kSensitivities[] = {0, 2, 3};
    CalendarItem task;
    task.kind = ItemKind::Task;
    ItemPropertyContainer& item = task.properties;
    generator.MaybeTexts(item, {property::kItemId, property::kSubject});
    generator.Maybe(item, property::kBody, generator.Body());
    generator.Maybe(item, property::kDueDate, generator.Date());
    generator.Maybe(item, property::kTaskStart, generator.Date());
    generator.Maybe(item, property::kSensitivity, kSensitivities[generator.Below(3)]);
    generator.Maybe(item, property::kStatus, 1 + generator.Below(4));
    generator.Maybe(item, property::kImportance, generator.Below(3));
    generator.Maybe(item, property::kModifiedDate, generator.Number());
    if (generator.Below(2) == 0) item.Set(property::kPercentComplete, generator.Below(401) / 4.0);
    return task;
}

std::string OwnText(CalendarItem& item) {
    const bool isEvent = item.kind == ItemKind::Event;
    return isEvent ? EventText(item.properties) : TaskText(item.properties);
}

// Values of which the texts keep a part, or that they hold in another way.
void Scatter(Generator& generator, CalendarItem& item) {
    ItemPropertyContainer& properties = item.properties;
    if (item.kind == ItemKind::Task) {
        properties.Set(property::kSensitivity, generator.Below(9));
        properties.Set(property::kImportance, generator.Below(9));
        properties.Set(property::kPercentComplete, generator.Number() / 7.0);
        properties.Set(property::kDueDate, generator.Date() + 1);
        return;
    }
    properties.Set(property::kIsRecurring, 1);
    properties.Set(property::kRecurrenceType, generator.Below(9));
    properties.Set(property::kRecurrenceInterval, generator.Below(3));
    properties.Set(property::kRecurrenceDays,
                   generator.Below(3) == 0 ? kMondayToFriday : generator.Below(128));
    properties.Set(property::kRecurrenceInstance, generator.Below(8) - 1);
    properties.Set(property::kRecurrenceDayOfMonth, generator.Below(32));
    properties.Set(property::kRecurrenceMonth, generator.Below(13));
    properties.Set(property::kNoEndDate, generator.Below(2));
}

TEST(RoundTrip, EventsAndTasksReadBackToTheSameProperties) {
    Generator generator("ab :;,\\\"=\r\n\t\xE9");
    for (int round = 0; round < 2 * kRounds && !HasFatalFailure(); ++round) {
        CalendarItem item = round % 2 == 0 ? MakeEvent(generator) : MakeTask(generator);
        const std::string text = OwnText(item);
        const CalendarReading reading = ReadCalendarText(text);
        ASSERT_EQ(std::nullopt, reading.failure) << round << "\n" << text;
        ASSERT_TRUE(reading.unheld.empty() && std::ranges::all_of(reading.notes, IsOfTheEnd))
            << text;
        ASSERT_EQ(1U, reading.items.size()) << round;
        ASSERT_EQ(item.kind, reading.items[0].kind) << round;
        ASSERT_TRUE(SameProperties(item.properties, reading.items[0].properties))
            << round << "\n"
            << text << Describe(reading.items[0].properties);
        Scatter(generator, item);
        const std::string scattered = OwnText(item);
        CalendarReading again = ReadCalendarText(scattered + text);
        ASSERT_EQ(2U, again.items.size()) << scattered;
        ASSERT_EQ(scattered + text, OwnText(again.items[0]) + OwnText(again.items[1]));
    }
}

// Drops what the standard does not allow: the second end of a rule.
void KeepOneEnd(ItemPropertyContainer& item) {
    if (item.Number(property::kNoEndDate) != 0) return;
    ItemPropertyContainer kept;
    const bool counted = item.NumberOr(property::kOccurrences, 0) > 0;
    const std::string_view dropped = counted ? property::kPatternEndDate : property::kOccurrences;
    for (const auto& property : item) {
        if (property.name != dropped) kept.Set(property.name.data(), property.value);
    }
    item = kept;
}

TEST(RoundTrip, CalendarFilesReadBackToTheSameProperties) {
    Generator generator("ab :;,\\\"=\n\t", true);
    std::vector<CalendarItem> items;
    for (int round = 0; round < kRounds; ++round) {
        items.push_back(round % 2 == 0 ? MakeEvent(generator) : MakeTask(generator));
        CalendarItem& item = items.back();
        KeepOneEnd(item.properties);
        const bool isEvent = item.kind == ItemKind::Event;
        item.properties.Set(isEvent ? property::kAppointmentUid : property::kItemId, "uid");
        // An event without an end of its own would get its start's.
        const std::uint64_t start = item.properties.FileTime(property::kEventStart).value_or(0);
        if (isEvent) item.properties.Set(property::kEventEnd, std::max(start, generator.Date()));
        // A position says something in a month or year alone.
        if (item.properties.NumberOr(property::kRecurrenceType, 2) < 2) {
            item.properties.Set(property::kRecurrenceInstance, kEveryInstance);
        }
        if (item.properties.Double(property::kPercentComplete)) {
            item.properties.Set(property::kPercentComplete, double(generator.Below(101)));
        }
        item.lines = (isEvent ? EventLines : TaskLines)(item.properties);
    }
    const std::string text = CalendarFileText(items, generator.Date());
    const CalendarReading reading = ReadCalendarText(text);
    ASSERT_EQ(std::nullopt, reading.failure);
    ASSERT_EQ(items.size(), reading.items.size());
    for (std::size_t number = 0; number < items.size(); ++number) {
        ASSERT_TRUE(SameProperties(items[number].properties, reading.items[number].properties))
            << Describe(items[number].properties) << "---\n"
            << Describe(reading.items[number].properties);
    }
}

TEST(CalendarFileText, IsEscapedAndFolded) {
    CalendarItem item;
    item.properties.Set(property::kSubject,
                        std::string(67, 'x') + "\xC3\xA9" + std::string(74, 'y'));
    item.properties.Set(property::kBody, "a,b;c\\d\r\ne\nf:g");
    item.properties.Set(property::kEventStart, std::uint64_t{133'540'924'280'000'000});
    item.properties.Set(property::kIsRecurring, 1);
    item.properties.Set(property::kOccurrences, 0);
    item.properties.Set(property::kPatternEndDate, std::uint64_t{133'540'956'000'000'000});
    item.lines = EventLines(item.properties);
    EXPECT_EQ(
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Calendar Export//EN\r\n"
        "BEGIN:VEVENT\r\nUID:item-1\r\nDTSTAMP:16010101T000000Z\r\nDTSTART:20240305T060708Z\r\n"
        "SUMMARY:" +
            std::string(67, 'x') + "\r\n \xC3\xA9" + std::string(72, 'y') +
            "\r\n yy\r\n"
            "DESCRIPTION:a\\,b\\;c\\\\d\\ne\\nf:g\r\n"
            "RRULE:FREQ=DAILY;UNTIL=20240305T070000Z\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n",
        CalendarFileText({&item, 1}, 0));
}

// Two definitions under one name are told apart, however the lines write that name.
TEST(CalendarFileText, KeepsZonesOfOneNameApart) {
    const auto calendar = [](const std::string& written, const char* offset) {
        return "BEGIN:VCALENDAR\nBEGIN:VTIMEZONE\nTZID:A\\, B\nBEGIN:STANDARD\n"
               "DTSTART:19700101T000000\nTZOFFSETFROM:" +
               std::string(offset) + "\nTZOFFSETTO:" + offset +
               "\nEND:STANDARD\nEND:VTIMEZONE\nBEGIN:VEVENT\nDTSTART;TZID=" + written +
               ":20240305T080000\nEND:VEVENT\nEND:VCALENDAR\n";
    };
    for (const char* const written : {"\"A, B\"", "\"A\\, B\"", "A\\, B", " A, B", "\"A, B \""}) {
        const auto reading =
            ReadCalendarText(calendar(written, "+0100") + calendar(written, "+0500"));
        const auto again = ReadCalendarText(CalendarFileText(reading.items, 0));
        ASSERT_EQ(2U, again.items.size()) << written;
        for (std::size_t number = 0; number < 2; ++number) {
            EXPECT_EQ(reading.items[number].schedule.start->ToUtc(),
                      again.items[number].schedule.start->ToUtc())
                << written;
        }
    }
}

TEST(RoundTrip, ContactsReadBackToTheSameProperties) {
    Generator generator("ab :,\"=@\t\xE9");
    for (int round = 0; round < kRounds; ++round) {
        ItemPropertyContainer contact;
        generator.MaybeTexts(
            contact,
            {property::kSurname, property::kGivenName, property::kMiddleName, property::kNamePrefix,
             property::kGeneration, property::kNickname, property::kEmailAddress});
        const ContactReading reading = ReadContactText(ContactText(contact));
        ASSERT_EQ(std::nullopt, reading.failure) << ContactText(contact);
        ASSERT_EQ(1U, reading.contacts.size());
        ASSERT_TRUE(SameProperties(contact, reading.contacts[0])) << ContactText(contact);
    }
}

}  // namespace
}  // namespace tarnwick

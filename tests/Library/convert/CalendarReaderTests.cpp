#include "Library/convert/CalendarReader.h"

#include <gtest/gtest.h>

#include "Library/convert/OldRule.h"
#include "Library/convert/PropertyNames.h"
#include "tests/Library/convert/ItemDescription.h"

namespace tarnwick {
namespace {

using testing::Describe;

std::string Calendar(const std::string& content) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + content + "END:VCALENDAR\r\n";
}
std::string Event(const std::string& lines) {
    return Calendar("BEGIN:VEVENT\r\n" + lines + "END:VEVENT\r\n");
}
std::string Task(const std::string& lines) {
    return Calendar("BEGIN:VTODO\r\n" + lines + "END:VTODO\r\n");
}

std::string Repeated(std::string_view text, int times) {
    std::string repeated;
    for (; times > 0; --times) repeated += text;
    return repeated;
}

// All items of a text; the failure when there is one.
std::string Read(const std::string& text) {
    const CalendarReading reading = ReadCalendarText(text);
    if (reading.failure) {
        return std::to_string(reading.failure->line) + ": " + reading.failure->reason;
    }
    std::string items;
    for (const CalendarItem& item : reading.items) {
        if (!items.empty()) items += "--\n";
        items += Describe(item.properties);
    }
    return items;
}

// What was said, a line each: those that the properties do not hold behind a "*".
std::string Said(const CalendarReading& reading) {
    std::string said;
    const auto add = [&said](const ReadProblem& problem, const char* mark) {
        said += mark + std::to_string(problem.line) + ": " + problem.reason + "\n";
    };
    for (const ReadProblem& note : reading.notes) add(note, "");
    for (const ReadProblem& problem : reading.unheld) add(problem, "*");
    return said;
}

// What the items' lines hold between BEGIN and END.
std::string Kept(const CalendarReading& reading) {
    std::string kept;
    for (const CalendarItem& item : reading.items) {
        const std::size_t begin = item.lines.find('\n') + 1;
        const std::size_t end = item.lines.rfind("END:");
        kept += item.lines.substr(begin, end - begin);
    }
    return kept;
}

struct Row {
    const char* label;
    std::string text;
    const char* expected;
};

void Check(const std::vector<Row>& rows) {
    for (const Row& row : rows) EXPECT_EQ(row.expected, Read(row.text)) << row.label;
}

TEST(CalendarReader, LinesAndTexts) {
    Check({
        {"plain", Event("SUMMARY:Tea\r\nX-OTHER:1\r\n"), "SUBJECT='Tea'\n"},
        {"a byte order mark, line feeds alone, names in any case",
         "\xEF\xBB\xBF"
         "BEGIN:VCALENDAR\nBEGIN:VEVENT\nsummary:Tea\nEND:VEVENT\nEND:VCALENDAR",
         "SUBJECT='Tea'\n"},
        {"folded by blank and tab, and behind blank lines",
         Event("SUMM\r\n ARY\r\n\r\n :T\r\n\tea \r\n  too\r\n"), "SUBJECT='Tea  too'\n"},
        {"escapes", Event("DESCRIPTION:a\\nb\\Nc\\, d\\; e\\\\n f\\g\\\r\n"),
         "BODY='a\r\nb\r\nc, d; e\\n fg\\'\n"},
        {"parameters with quotes, one never closed",
         Event("LOCATION;X=\"a:b;c\";LANGUAGE=en:Room: 5\r\nSUMMARY;X=\"a;Y=b:Tea\r\n"),
         "LOCATION='Room: 5'\nSUBJECT='Tea'\n"},
        {"quoted-printable with soft breaks",
         Event(
             "SUMMARY;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:caf=C3=\r\n=A9=0D=\r\n=0Atea=x\r\n"),
         "SUBJECT='caf\xC3\xA9\r\ntea=x'\n"},
        {"no text holds a NUL", Event("SUMMARY;ENCODING=QUOTED-PRINTABLE:T=00ea=00\r\n"),
         "SUBJECT='Tea'\n"},
        {"soft breaks before blanks",
         Event("SUMMARY;ENCODING=QUOTED-PRINTABLE:one=\r\n two=\r\n\tthree\r\n"),
         "SUBJECT='one two\tthree'\n"},
        {"a fold behind a sign that ends no value",
         Event("SUMMARY;QUOTED-PRINTABLE;X=\r\n y:Tea\r\n"), "SUBJECT='Tea'\n"},
        {"the older format",
         "BEGIN:VCALENDAR\nVERSION:1.0\nBEGIN:VEVENT\n"
         "SUMMARY;QUOTED-PRINTABLE:a\\;b=2C\\n=\nc\nLOCATION:folded\n here\n"
         "END:VEVENT\nEND:VCALENDAR\n",
         "SUBJECT='a;b,\\nc'\nLOCATION='folded here'\n"},
        {"bytes of any character set", Event("SUMMARY:\xE9\xC3\xA9\r\n"),
         "SUBJECT='\xE9\xC3\xA9'\n"},
        {"empty values are missing", Event("SUMMARY:\r\nDTSTART:\r\nUID:x\r\n"),
         "AppointmentUID='x'\n"},
        {"the first of two lines holds", Event("SUMMARY:a\r\nSUMMARY:b\r\n"), "SUBJECT='a'\n"},
        {"alarms and unknown components are passed over",
         Event(
             "BEGIN:VALARM\r\nSUMMARY:no\r\nBEGIN:X\r\nwhatever this is\r\nEND:X\r\nEND:VALARM\r\n"
             "SUMMARY:Tea\r\nX-NO-VALUE;A=B\r\n"),
         "SUBJECT='Tea'\n"},
        {"several items and calendars",
         Event("UID:1\r\n") + Calendar("BEGIN:VJOURNAL\r\nUID:0\r\nEND:VJOURNAL\r\n") +
             Task("UID:2\r\n") + Event("UID:3\r\n"),
         "AppointmentUID='1'\n--\nID='2'\n--\nAppointmentUID='3'\n"},
    });
}

TEST(CalendarReader, DatesOfEvents) {
    Check({
        {"floating times are UTC", Event("DTSTART:20240305T060708\r\nDTEND:20240305T070000\r\n"),
         "START_DATE=20240305T060708\nEND_DATE=20240305T070000\n"},
        {"a day, to its end", Event("DTSTART;VALUE=DATE:20240229\r\n"),
         "START_DATE=20240229T000000\nEND_DATE=20240301T000000\n"},
        {"no end", Event("DTSTART:20240305T060708Z\r\n"),
         "START_DATE=20240305T060708\nEND_DATE=20240305T060708\n"},
        {"an end alone", Event("DTEND:20240305T060708Z\r\n"), "END_DATE=20240305T060708\n"},
        {"durations", Event("DURATION:P1DT2H3M4S\r\nDTSTART:20240305T060708Z\r\n"),
         "START_DATE=20240305T060708\nEND_DATE=20240306T081012\n"},
        {"weeks", Event("DTSTART:20240305\r\nDURATION:+P2W\r\n"),
         "START_DATE=20240305T000000\nEND_DATE=20240319T000000\n"},
        {"a leap second", Event("DTSTART:20161231T235960Z\r\nDTEND:20170101T000000Z\r\n"),
         "START_DATE=20161231T235959\nEND_DATE=20170101T000000\n"},
        {"the last file time", Event("DTEND:308280914T024805Z\r\n"), "END_DATE=308280914T024805\n"},
        {"a date beyond the file times is left out", Event("DTEND:308280914T024806Z\r\nUID:1\r\n"),
         "AppointmentUID='1'\n"},
        {"modification", Event("LAST-MODIFIED:20231114T221320Z\r\n"), "MODIFIEDDATE=1700000000\n"},
        {"a modification beyond 32 bits is left out",
         Event("LAST-MODIFIED:20380119T031408Z\r\nUID:1\r\n"), "AppointmentUID='1'\n"},
    });
}

TEST(CalendarReader, Tasks) {
    Check({
        {"everything",
         Task("UID:T\r\nDUE:20240305T070000Z\r\nDTSTART:20240305\r\nCLASS:CONFIDENTIAL\r\n"
              "STATUS:completed\r\nPERCENT-COMPLETE:12.5\r\nPRIORITY:5\r\nDESCRIPTION:d\r\n"
              "SUMMARY:s\r\nLAST-MODIFIED:19700101T000001\r\n"),
         "ID='T'\nSENSITIVITY=3\nStatus=2\nPercentComplete=12.500000\nIMPORTANCE=1\nBODY='d'\n"
         "SUBJECT='s'\nMODIFIEDDATE=1\nStartDate=20240305T000000\nDueDate=20240305T070000\n"},
        {"low, due after a duration",
         Task("DTSTART:20240305T060708Z\r\nDURATION:-PT1H\r\nPRIORITY:6\r\n"),
         "IMPORTANCE=0\nStartDate=20240305T060708\nDueDate=20240305T050708\n"},
        {"no end of its own", Task("DTSTART:20240305\r\n"), "StartDate=20240305T000000\n"},
        {"unknown words", Task("CLASS:X-SECRET\r\nSTATUS:X-LATER\r\nPRIORITY:0\r\n"),
         "SENSITIVITY=2\n"},
        {"high", Task("PRIORITY:4\r\n"), "IMPORTANCE=2\n"},
    });
}

constexpr const char* kBerlin =
    "BEGIN:VTIMEZONE\r\nTZID:Berlin\r\n"
    "BEGIN:DAYLIGHT\r\nDTSTART:19800406T020000\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\n"
    "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nRDATE:19790401T020000,19780402T020000/PT1H\r\n"
    "END:DAYLIGHT\r\n"
    "BEGIN:STANDARD\r\nDTSTART:19800928T030000\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\n"
    "RRULE:FREQ=YEARLY;BYMONTH=9;BYDAY=-1SU;UNTIL=19950924T010000Z\r\nEND:STANDARD\r\n"
    "BEGIN:STANDARD\r\nDTSTART:19961027T030000\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\n"
    "RRULE:FREQ=YEARLY;BYDAY=-1SU;BYMONTH=10\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";

// The local time of an event in the zone, and its UTC.
struct ZoneRow {
    std::string local;
    std::string utc;
};

void CheckZone(const std::string& zone, const std::vector<ZoneRow>& rows) {
    for (const ZoneRow& row : rows) {
        const std::string event =
            "BEGIN:VEVENT\r\nDTEND;TZID=Berlin:" + row.local + "\r\nEND:VEVENT\r\n";
        const std::string expected = "END_DATE=" + row.utc + "\n";
        EXPECT_EQ(expected, Read(Calendar(zone + event))) << row.local;
        EXPECT_EQ(expected, Read(Calendar(event + zone))) << row.local << ", zone last";
    }
}

TEST(CalendarReader, TimesInAZone) {
    CheckZone(kBerlin, {
                           {"20240101T120000", "20240101T110000"},
                           {"20240701T120000", "20240701T100000"},
                           {"20240331T015959", "20240331T005959"},
                           // The hour that does not occur counts with the offset before it.
                           {"20240331T020000", "20240331T010000"},
                           {"20240331T030000", "20240331T010000"},
                           // The hour that occurs twice is the first one.
                           {"20241027T020000", "20241027T000000"},
                           {"20241027T030000", "20241027T020000"},
                           // The rule ended with 1995; the next one began in 1996.
                           {"19950924T120000", "19950924T110000"},
                           {"19960930T120000", "19960930T100000"},
                           {"19961027T120000", "19961027T110000"},
                           // Dates of their own, and the time before everything.
                           {"19790501T120000", "19790501T100000"},
                           {"19780101T120000", "19780101T110000"},
                           {"99990701T120000", "99990701T100000"},
                       });
}

std::string ZoneWith(const std::string& rule) {
    return "BEGIN:VTIMEZONE\r\nTZID:Berlin\r\nBEGIN:STANDARD\r\nDTSTART:20000402T000000\r\n"
           "TZOFFSETFROM:+0000\r\nTZOFFSETTO:-0100\r\nRRULE:" +
           rule +
           "\r\nEND:STANDARD\r\nBEGIN:DAYLIGHT\r\nDTSTART:20000101T000000\r\n"
           "TZOFFSETFROM:-0100\r\nTZOFFSETTO:+0000\r\nRRULE:FREQ=YEARLY\r\nEND:DAYLIGHT\r\n"
           "END:VTIMEZONE\r\n";
}

TEST(CalendarReader, RulesOfZones) {
    const struct {
        const char* rule;
        const char* lastBefore;  // a local noon before the change in some year
        const char* firstAfter;  // and one after it
    } rows[] = {
        {"FREQ=YEARLY", "20050401", "20050402"},
        {"FREQ=YEARLY;BYMONTH=4;BYDAY=1SU", "20050402", "20050403"},
        {"FREQ=YEARLY;BYMONTH=4;BYDAY=2SU", "20050409", "20050410"},
        {"FREQ=YEARLY;BYMONTH=4;BYDAY=-2SU", "20050416", "20050417"},
        {"FREQ=YEARLY;BYMONTH=4;BYMONTHDAY=8,9,10,11,12,13,14;BYDAY=SU", "20050409", "20050410"},
        {"FREQ=YEARLY;BYMONTH=10;BYDAY=-1MO", "20051030", "20051031"},
        {"FREQ=YEARLY;BYMONTH=10;BYDAY=5SA", "20051028", "20051029"},
        {"FREQ=YEARLY;BYMONTH=5;BYMONTHDAY=3", "20050502", "20050503"},
        {"FREQ=YEARLY;INTERVAL=5;BYMONTH=4;BYDAY=SU", "20050402", "20050403"},
        {"FREQ=YEARLY;COUNT=6;BYMONTH=4;BYDAY=1SU", "20050402", "20050403"},
        {"FREQ=YEARLY;BYMONTH=4;BYDAY=1SU;UNTIL=20050403T000000", "20050402", "20050403"},
    };
    for (const auto& row : rows) {
        const std::string zone = ZoneWith(row.rule);
        const std::string before = std::string(row.lastBefore) + "T120000";
        const std::string after = row.firstAfter;
        CheckZone(zone, {{before, before}, {after + "T120000", after + "T130000"}});
    }
    const char* const over[] = {"FREQ=YEARLY;COUNT=5;BYMONTH=4;BYDAY=1SU",
                                "FREQ=YEARLY;BYMONTH=4;BYDAY=1SU;UNTIL=20050402T235959",
                                "FREQ=YEARLY;INTERVAL=6",
                                "FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30",
                                "FREQ=YEARLY;BYMONTH=4;BYDAY=999999999SU",
                                "FREQ=YEARLY;BYMONTH=4;BYDAY=-6SU"};
    for (const char* rule : over)
        CheckZone(ZoneWith(rule), {{"20050501T120000", "20050501T120000"}});
}

TEST(CalendarReader, RecurrenceRules) {
    const struct {
        const char* rule;
        // Type, interval, days, instance, day of month, month, no end, count, end; empty when the
        // properties cannot hold it.
        const char* properties;
    } rows[] = {
        {"FREQ=DAILY", "0 0 0 -1 0 0 1  "},
        {"FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,WE", "1 2 10 -1 0 0 1  "},
        {"FREQ=WEEKLY;BYDAY=SU,MO,TU,WE,TH,FR,SA;WKST=MO", "1 0 127 -1 0 0 1  "},
        {"FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR", "1 1 62 -1 0 0 1  "},
        {"FREQ=DAILY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR", "0 2 62 -1 0 0 1  "},
        {"FREQ=MONTHLY;BYMONTHDAY=17", "2 0 0 -1 17 0 1  "},
        {"FREQ=MONTHLY;BYDAY=2TU", "3 0 4 2 0 0 1  "},
        {"FREQ=MONTHLY;BYDAY=FR;BYSETPOS=-1", "3 0 32 5 0 0 1  "},
        {"FREQ=MONTHLY;BYDAY=FR;BYMONTHDAY=13", "3 0 32 -1 13 0 1  "},
        {"FREQ=YEARLY;BYMONTH=3;BYMONTHDAY=17", "5 0 0 -1 17 3 1  "},
        {"FREQ=YEARLY;BYMONTH=11;BYDAY=4TH", "6 0 16 4 0 11 1  "},
        {"freq=yearly;bymonth=11;byday=4th", "6 0 16 4 0 11 1  "},
        {"FREQ=DAILY;UNTIL=20240305T060708Z", "0 0 0 -1 0 0 0  20240305T060708"},
        {"FREQ=MONTHLY;BYDAY=-1FR", "3 0 32 5 0 0 1  "},
        {"FREQ=MONTHLY;BYDAY=5FR", ""},
        {"FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=5", ""},
        {"FREQ=WEEKLY;INTERVAL=2;BYDAY=TU,SU;WKST=SU", "1 2 5 -1 0 0 1  "},
        {"FREQ=WEEKLY;INTERVAL=2;BYDAY=TU,SU;WKST=MO", ""},
        {"FREQ=WEEKLY;INTERVAL=2;BYDAY=TU,SU", ""},
        {"FREQ=YEARLY;BYMONTHDAY=17", ""},
        {"FREQ=HOURLY", ""},
        {"FREQ=DAILY;BYHOUR=9,10", ""},
        {"FREQ=DAILY;BYMONTH=1", ""},
        {"FREQ=WEEKLY;BYMONTHDAY=1", ""},
        {"FREQ=MONTHLY;BYMONTH=1;BYMONTHDAY=1", ""},
        {"FREQ=MONTHLY;BYMONTHDAY=1,15", ""},
        {"FREQ=MONTHLY;BYDAY=1MO,1TU", ""},
        {"FREQ=MONTHLY;BYDAY=-2MO", ""},
        {"FREQ=MONTHLY;BYDAY=MO;BYSETPOS=1,2", ""},
    };
    for (const auto& row : rows) {
        CalendarReading reading =
            ReadCalendarText(Event("RRULE:" + std::string(row.rule) + "\r\n"));
        ASSERT_EQ(1U, reading.items.size()) << row.rule;
        ItemPropertyContainer& item = reading.items[0].properties;
        std::string found;
        const auto add = [&](const char* name) {
            const auto value = item.Number(name);
            found += (value ? std::to_string(*value) : "") + " ";
        };
        if (item.Number(property::kIsRecurring) == 1) {
            for (const char* name : {property::kRecurrenceType, property::kRecurrenceInterval,
                                     property::kRecurrenceDays, property::kRecurrenceInstance,
                                     property::kRecurrenceDayOfMonth, property::kRecurrenceMonth,
                                     property::kNoEndDate, property::kOccurrences})
                add(name);
            found += DateText(item.FileTime(property::kPatternEndDate).value_or(~std::uint64_t{0}));
        }
        EXPECT_EQ(row.properties, found) << row.rule;
        EXPECT_EQ(found.empty(), !reading.unheld.empty()) << row.rule;
        EXPECT_EQ("", Said({{}, reading.notes, {}, 0, {}})) << row.rule;
    }
}

TEST(OldRules, AsTheStandardWritesThemToday) {
    const struct {
        const char* old;
        const char* modern;
    } rows[] = {
        {"D2 #0", "FREQ=DAILY;INTERVAL=2"},
        {"D1", "FREQ=DAILY;INTERVAL=1;COUNT=2"},
        {"D1 19971224T000000Z", "FREQ=DAILY;INTERVAL=1;UNTIL=19971224T000000Z"},
        {"W2  MO WE  #0", "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,WE"},
        {"MP1 1+ FR #0", "FREQ=MONTHLY;INTERVAL=1;BYDAY=1FR"},
        {"MP6 1- SU MO #5", "FREQ=MONTHLY;INTERVAL=6;COUNT=5;BYDAY=-1SU,-1MO"},
        {"MD1 7 LD #0", "FREQ=MONTHLY;INTERVAL=1;BYMONTHDAY=7,-1"},
        {"md1\t2+ 3- #0", "FREQ=MONTHLY;INTERVAL=1;BYMONTHDAY=2,-3"},
        {"YM1 6 7 #8", "FREQ=YEARLY;INTERVAL=1;COUNT=8;BYMONTH=6,7"},
        {"YD5 1 100 #4", "FREQ=YEARLY;INTERVAL=5;COUNT=4;BYYEARDAY=1,100"},
        {"", ""},
        {"X1 #1", ""},
        {"W1 MO #", ""},
        {"MD1 7+-", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(row.modern, ModernRule(row.old)) << row.old;
}

constexpr const char* kLosAngeles =
    "BEGIN:VTIMEZONE\r\nTZID:LA\r\n"
    "BEGIN:DAYLIGHT\r\nDTSTART:20070311T020000\r\nTZOFFSETFROM:-0800\r\nTZOFFSETTO:-0700\r\n"
    "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU\r\nEND:DAYLIGHT\r\n"
    "BEGIN:STANDARD\r\nDTSTART:20071104T020000\r\nTZOFFSETFROM:-0700\r\nTZOFFSETTO:-0800\r\n"
    "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";

TEST(CalendarReader, RulesWhoseDaysAreOthersInUtc) {
    const struct {
        const char* start;  // Los Angeles
        const char* rule;
        const char* properties;  // days, day of month, end; empty when they cannot hold the rule
    } rows[] = {
        {"20240318T120000", "FREQ=WEEKLY;BYDAY=MO", "2 0 "},
        {"20240318T170000", "FREQ=WEEKLY;BYDAY=MO;UNTIL=20240408T170000", "4 0 20240409T000000"},
        {"20240318T170000", "FREQ=WEEKLY;BYDAY=SA,MO;UNTIL=20240408T000000Z",
         "5 0 20240408T000000"},
        {"20240318T170000", "FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR", "124 0 "},
        {"20240318T170000", "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,WE", "20 0 "},
        {"20240318T170000", "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,SA;WKST=SU", ""},
        {"20240305T170000", "FREQ=MONTHLY;BYMONTHDAY=5", "0 6 "},
        {"20240305T170000", "FREQ=MONTHLY", "0 0 "},
        {"20240305T170000", "FREQ=YEARLY", "0 0 "},
        {"20240328T170000", "FREQ=MONTHLY;BYMONTHDAY=28", ""},
        {"20240331T170000", "FREQ=MONTHLY", ""},
        {"20240301T170000", "FREQ=MONTHLY;BYDAY=1FR", ""},
    };
    for (const auto& row : rows) {
        CalendarReading reading = ReadCalendarText(
            Calendar(std::string(kLosAngeles) + "BEGIN:VEVENT\r\nDTSTART;TZID=LA:" + row.start +
                     "\r\nRRULE:" + row.rule + "\r\nEND:VEVENT\r\n"));
        ItemPropertyContainer& item = reading.items.at(0).properties;
        std::string found;
        if (item.Number(property::kIsRecurring)) {
            found = std::to_string(item.NumberOr(property::kRecurrenceDays, -1)) + " " +
                    std::to_string(item.NumberOr(property::kRecurrenceDayOfMonth, -1)) + " " +
                    DateText(item.FileTime(property::kPatternEndDate).value_or(~std::uint64_t{0}));
        }
        EXPECT_EQ(row.properties, found) << row.rule;
        EXPECT_EQ(found.empty()
                      ? "*20: the properties do not hold a recurrence of this kind\n"
                      : "*20: the properties repeat at the same time in UTC, not in the zone\n",
                  Said(reading))
            << row.rule;
    }
}

// What damaged lines leave in an item's lines, and what is said of them.
struct DamagedRow {
    std::string text;
    const char* kept;
    const char* said;
};

void Check(const std::vector<DamagedRow>& rows) {
    for (const DamagedRow& row : rows) {
        const CalendarReading reading = ReadCalendarText(row.text);
        ASSERT_EQ(std::nullopt, reading.failure) << row.text << reading.failure->reason;
        EXPECT_EQ(row.kept, Kept(reading)) << row.text;
        EXPECT_EQ(row.said, Said(reading)) << row.text;
    }
}

std::string OldEvent(const std::string& lines) {
    return "BEGIN:VCALENDAR\nVERSION:1.0\nBEGIN:VEVENT\n" + lines + "END:VEVENT\nEND:VCALENDAR\n";
}

TEST(CalendarReader, DamagedValues) {
    Check({
        {Event("DTEND:20230229\nSUMMARY:a\n"), "SUMMARY:a\n",
         "4: DTEND is left out; not a date: 20230229\n"},
        {Event("DTEND:20230228T240000Z\n"), "",
         "4: DTEND is left out; not a date: 20230228T240000Z\n"},
        {Event("DTEND:\x01\xFF\n"), "",
         "4: control characters are left out\n4: DTEND is left out; not a date: ?\n"},
        {Event("DTEND:11111111111111111111111111111111111111111111111111\n"), "",
         "4: DTEND is left out; not a date: 1111111111111111111111111111111111111111...\n"},
        {Event("DTSTART: 20230228t0900z \nDTEND;X=1:\t20230228T235960Z\n"),
         "DTSTART:20230228T090000Z\nDTEND;X=1:20230228T235960Z\n", ""},
        {Event("DTSTART:20230228\n"), "DTSTART;VALUE=DATE:20230228\n", ""},
        {Event("DTSTART;TZID=X:20230228T09\nSUMMARY:a\n"), "",
         "3: the event is left out; its start cannot be read\n4: DTSTART is left out; not a date: "
         "20230228T09\n4: the time zone X is not in the text; its times are taken as UTC\n"},
        {Event("DURATION:P1H\n"), "", "4: DURATION is left out; not a duration: P1H\n"},
        {Event("DURATION:PT\n"), "", "4: DURATION is left out; not a duration: PT\n"},
        {Event("DURATION:P9999999999D\n"), "",
         "4: DURATION is left out; not a duration: P9999999999D\n"},
        {Event("DURATION:P1D1W\n"), "", "4: DURATION is left out; not a duration: P1D1W\n"},
        {Event("DTSTART:20230228T090000Z\nDURATION:PT1H\nDTEND:20230228T093000Z\n"),
         "DTSTART:20230228T090000Z\nDTEND:20230228T093000Z\n",
         "3: the duration is left out beside an end\n"},
        {Event("DTSTART:20230228T090000\nDTEND:20230228T083000\nSUMMARY:a\n"),
         "DTSTART:20230228T090000\nSUMMARY:a\n",
         "3: times without a zone are taken as UTC\n3: an end that is not behind the start is left "
         "out\n"},
        {Event("DTSTART:20230228\nDTEND:20230228\n"), "DTSTART;VALUE=DATE:20230228\n",
         "3: an end that is not behind the start is left out\n"},
        {Event("DTSTART:20230228\nDURATION:-P1D\n"), "DTSTART;VALUE=DATE:20230228\n",
         "3: a duration below 0 is left out\n"},
        {Event("DTSTART:20230228T090000Z\nSUMMARY:a\nDTSTART:20240228T090000Z\n"),
         "DTSTART:20230228T090000Z\nSUMMARY:a\n",
         "6: DTSTART stands twice; this one is left out: 20240228T090000Z\n"},
        {Event("DTSTAMP:now\nLAST-MODIFIED:20230101T\nCREATED:1\n"), "",
         "4: DTSTAMP is left out; not a date: now\n5: LAST-MODIFIED is left out; not a date: "
         "20230101T\n6: CREATED is left out; not a date: 1\n"},
        {Event("LAST-MODIFIED:20400101T000000Z\n"), "LAST-MODIFIED:20400101T000000Z\n",
         "*4: the properties do not hold a modification before 1901 or after 2038\n"},
        {Event("DTSTART:00010101T000000Z\nDTEND:20000101T000000Z\n"),
         "DTSTART:00010101T000000Z\nDTEND:20000101T000000Z\n",
         "*3: the properties do not hold a date before 1601 or so late\n"},
        {Event("PRIORITY:HIGH\nSEQUENCE:one\nPRIORITY: 1 \n"), "PRIORITY:1\n",
         "4: PRIORITY is left out; not a priority: HIGH\n5: SEQUENCE is left out; not a number: "
         "one\n"},
        {Task("PERCENT-COMPLETE:50%\nPRIORITY:1.5\nSTATUS:X-LATER\n"), "STATUS:X-LATER\n",
         "4: PERCENT-COMPLETE is left out; not a percentage: 50%\n5: PRIORITY is left out; not a "
         "priority: 1.5\n*6: the properties do not hold the status X-LATER\n"},
        {Task("DTSTART:soon\nDUE:later\nSUMMARY:a\n"), "SUMMARY:a\n",
         "4: DTSTART is left out; not a date: soon\n5: DUE is left out; not a date: later\n"},
        {Event("SUMMARY\nX-NO-VALUE;A=B\nUID:\nDTSTART:\n"), "",
         "4: the line is not a property: SUMMARY\n5: the line is not a property: X-NO-VALUE;A=B\n"
         "7: DTSTART is left out; it has no value\n"},
        {Event("X-FOO/BAR:1\nSUMMARY:one\n\ntwo three\n=\n"), "SUMMARY:one\n",
         "4: the line is not a property: X-FOO/BAR:1\n7: the line is not a property: two three\n8: "
         "the line is not a property: =\n"},
        {Event("SUMMARY:a\x07"
               "b\x7F\r\x0C\n\x1A\n"),
         "SUMMARY:ab\n",
         "4: control characters are left out\n5: control characters are left out\n"
         "5: the line is not a property: (blank)\n"},
        {Event("BEGIN:VALARM\nTRIGGER:-PT5M\nno property\nEND:VALARM\n"),
         "BEGIN:VALARM\nTRIGGER:-PT5M\nEND:VALARM\n",
         "6: the line is not a property: no property\n"},
        {Event("SUMMARY:Caf\xE9 \x80\nLOCATION:\xE9\n"),
         "SUMMARY:Caf\xC3\xA9 \xE2\x82\xAC\nLOCATION:\xC3\xA9\n",
         "4: the text is not UTF-8; it is taken as Windows-1252\n"},
        {Event("SUMMARY:Caf\xC3\r\n \xA9\n"), "SUMMARY:Caf\xC3\xA9\n", ""},
        {Event("SUMMARY;ENCODING=QUOTED-PRINTABLE;LANGUAGE=en:one=0D=0Atwo, =C3=A9\n"),
         "SUMMARY;LANGUAGE=en:one\\ntwo\\, \xC3\xA9\n", ""},
        {Event("SUMMARY;ENCODING=QUOTED-PRINTABLE:a=07b\n"), "SUMMARY:ab\n",
         "4: control characters are left out\n"},
    });
}

TEST(CalendarReader, DamagedRules) {
    Check({
        {Event("RRULE:COUNT=1\n"), "",
         "4: RRULE is left out; only the first occurrence stands; not understood: COUNT=1\n"},
        {Event("RRULE:FREQ=DAILY;COUNT=5 \n"), "RRULE:FREQ=DAILY;COUNT=5\n", ""},
        {Event("RRULE:FREQ=WEEKLY;BYDAY=MO, TU ,WE;\n"), "RRULE:FREQ=WEEKLY;BYDAY=MO,TU,WE\n", ""},
        {Event("RRULE:FREQ=SOMETIMES\nRRULE:FREQ=DAILY\n"), "RRULE:FREQ=DAILY\n",
         "4: RRULE is left out; only the first occurrence stands; not understood: "
         "FREQ=SOMETIMES\n"},
        {Event("RRULE:FREQ=WEEKLY;BYDAY=XX\n"), "",
         "4: RRULE is left out; only the first occurrence stands; not understood: "
         "FREQ=WEEKLY;BYDAY=XX\n"},
        {Event("RRULE:FREQ=DAILY\nRRULE:FREQ=WEEKLY\n"), "RRULE:FREQ=DAILY\nRRULE:FREQ=WEEKLY\n",
         "*5: the properties do not hold a second RRULE\n"},
        {Event("EXRULE:FREQ=NEVER\nEXRULE:FREQ=YEARLY\n"), "EXRULE:FREQ=YEARLY\n",
         "4: EXRULE is left out; what it excludes takes place; not understood: FREQ=NEVER\n*5: the "
         "properties do not hold EXRULE\n"},
        {Event("RRULE:FREQ=HOURLY\n"), "RRULE:FREQ=HOURLY\n",
         "*4: the properties do not hold a recurrence of this kind\n"},
        {Event("EXDATE:20240101T000000Z, 20240102t000000z,never,\nEXDATE:x\n"),
         "EXDATE:20240101T000000Z,20240102T000000Z\n",
         "4: EXDATE is left out; not a date: never\n5: EXDATE is left out; not a date: x\n*4: the "
         "properties do not hold EXDATE\n"},
        {Event("RDATE:20240101,20240102/P1D\nRDATE;VALUE=PERIOD:20240101T000000Z/"
               "20240102T000000Z,20240101T000000Z/x\n"),
         "RDATE:20240101,20240102/P1D\nRDATE;VALUE=PERIOD:20240101T000000Z/20240102T000000Z\n",
         "5: RDATE is left out; not a date: "
         "20240101T000000Z/x\n*4: the properties do not hold RDATE\n*5: the properties do not hold "
         "RDATE\n"},
        {Event("RECURRENCE-ID;RANGE=THISANDPRIOR:20240101T000000Z\n"),
         "RECURRENCE-ID;RANGE=THISANDPRIOR:20240101T000000Z\n",
         "4: the range THISANDPRIOR is not known; this occurrence alone is replaced\n*4: the "
         "properties do not hold RECURRENCE-ID\n"},
        {Task("RRULE:FREQ=DAILY\n"), "RRULE:FREQ=DAILY\n",
         "*4: the properties do not hold RRULE\n"},
        {OldEvent("RRULE:W1 MO #\nRRULE:YD1 100 #0\n"),
         "RRULE:FREQ=YEARLY;INTERVAL=1;BYYEARDAY=100\n",
         "4: RRULE is left out; only the first occurrence stands; not understood: W1 MO #\n*5: the "
         "properties do not hold a recurrence of this kind\n"},
        {OldEvent("RRULE:FREQ=DAILY\n"), "RRULE:FREQ=DAILY\n", ""},
        {OldEvent("EXDATE:20240101T000000Z;20240102T000000Z\n"),
         "EXDATE:20240101T000000Z,20240102T000000Z\n", "*4: the properties do not hold EXDATE\n"},
    });
}

TEST(CalendarReader, DamagedZones) {
    Check({
        {Calendar("BEGIN:VTIMEZONE\nBEGIN:STANDARD\nEND:STANDARD\nEND:VTIMEZONE\n"), "",
         "3: a VTIMEZONE without TZID is left out\n4: this part of the time zone is left out\n"},
        {Calendar("BEGIN:VTIMEZONE\nTZID:Z\nBEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:+"
                  "0100\nTZOFFSETTO:+01\nEND:STANDARD\nEND:VTIMEZONE\n"),
         "",
         "3: the time zone Z is not in the text; its times are taken as UTC\n5: this part of the "
         "time zone is left out\n8: TZOFFSETTO is left out; it cannot be read: +01\n"},
        {Calendar("BEGIN:VTIMEZONE\nTZID:Z\nBEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:+"
                  "0100\nTZOFFSETTO:+0200\nRDATE:2024,x\nRRULE:FREQ=DAILY\nEND:STANDARD\nEND:"
                  "VTIMEZONE\n"),
         "",
         "9: RDATE is left out; it cannot be read: 2024,x\n10: a rule of this kind is not known in "
         "a time zone; its first change alone counts: FREQ=DAILY\n"},
        {Event("DTSTART;TZID=Nowhere:20240305T060708\n"), "DTSTART;TZID=Nowhere:20240305T060708\n",
         "4: the time zone Nowhere is not in the text; its times are taken as UTC\n"},
        {Event("DTSTART:20240305T060708\nDTEND:20240305T070708\n"),
         "DTSTART:20240305T060708\nDTEND:20240305T070708\n",
         "3: times without a zone are taken as UTC\n"},
        {OldEvent("DTSTART:20240305T0600\nSUMMARY;CHARSET=KOI8-R:a\n"),
         "DTSTART:20240305T060000\nSUMMARY:a\n",
         "3: times without a zone are taken as UTC\n5: the character set KOI8-R is not known; the "
         "text is taken as UTF-8 or Windows-1252\n"},
        {"BEGIN:VCALENDAR\nVERSION:1.0\nTZ:+5:30\nDAYLIGHT:TRUE;+06;;;;\nBEGIN:VEVENT\nDTSTART:"
         "20240305T060000\nEND:VEVENT\nEND:VCALENDAR\n",
         "DTSTART:20240305T060000\n",
         "3: TZ is left out; not an offset: +5:30\n4: daylight saving is left out: "
         "TRUE;+06;;;;\n5: times without a zone are taken as UTC\n"},
        {"BEGIN:VCALENDAR\nVERSION:1.0\nTZ:-05\nBEGIN:VEVENT\nitem.DTSTART;X:20240305T060000\nEND:"
         "VEVENT\nEND:VCALENDAR\n",
         "DTSTART;TZID=UTC-0500:20240305T060000\n", ""},
        {Calendar("X-WR-TIMEZONE:A, B\nBEGIN:VTIMEZONE\nTZID:A\\, "
                  "B\nBEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:+0100\nTZOFFSETTO:+"
                  "0100\nEND:STANDARD\nEND:VTIMEZONE\nBEGIN:VEVENT\nDTSTART:20240305T060000\nDTEND;"
                  "TZID=\"A, B\":20240305T070000\nEND:VEVENT\n"),
         "DTSTART;TZID=\"A, B\":20240305T060000\nDTEND;TZID=\"A, B\":20240305T070000\n", ""},
    });
}

TEST(CalendarReader, DamagedTexts) {
    Check({
        {"From: a@b\nSubject: x\n\nBEGIN:VCALENDAR\nEND:VCALENDAR\n "
         "\nbye\n\x1A\nBEGIN:VCALENDAR\nEND:VCALENDAR\nX-A:1\n",
         "",
         "1: text outside of calendars is passed over: From: a@b\n7: text outside of calendars is "
         "passed over: bye\n8: control characters are left out\n11: text outside of calendars is "
         "passed over: X-A:1\n"},
        {"BEGIN:VCALENDAR\r\r\nBEGIN:VEVENT\r\r\nSUMMARY:a\r\r\n "
         "b\r\r\nEND:VEVENT\r\r\nEND:VCALENDAR\r\r\n",
         "SUMMARY:ab\n", ""},
        {"BEGIN:VCALENDAR\rBEGIN:VEVENT\rSUMMARY:a\r b\r\r c\rEND:VEVENT\rEND:VCALENDAR\r",
         "SUMMARY:abc\n", ""},
        {Calendar("CALSCALE:HEBREW\nno property\nBEGIN:VJOURNAL\nwhatever\nEND:VJOURNAL\n"), "",
         "3: the dates are taken as Gregorian, not as HEBREW\n4: the line is not a property: no "
         "property\n5: a VJOURNAL is passed over\n"},
        {Calendar("METHOD:CANCEL\nBEGIN:VEVENT\nUID:1\nEND:VEVENT\nBEGIN:VEVENT\nUID:2\nRECURRENCE-"
                  "ID:20240101T000000Z\nSTATUS:CONFIRMED\nSUMMARY:a\nEND:VEVENT\nBEGIN:"
                  "VEVENT\nRECURRENCE-ID:20240101T000000Z\nEND:VEVENT\n"),
         "STATUS:CANCELLED\nUID:1\nUID:2\nRECURRENCE-ID:20240101T000000Z\nSTATUS:"
         "CANCELLED\nSUMMARY:a\nSTATUS:"
         "CANCELLED\nRECURRENCE-ID:20240101T000000Z\n",
         "*9: the properties do not hold RECURRENCE-ID\n*14: the "
         "properties do not hold RECURRENCE-ID\n"},
        {Calendar("METHOD:CANCEL\nBEGIN:VEVENT\nDTEND:20240305\nDTSTART:20240306\nEND:VEVENT\n"),
         "STATUS:CANCELLED\nDTSTART;VALUE=DATE:20240306\n",
         "4: an end that is not behind the start is left out\n"},
        {Event("STATUS:cancelled\n"), "STATUS:cancelled\n", ""},
        {Task("STATUS:CANCELLED\n"), "STATUS:CANCELLED\n", ""},
        {OldEvent("CATEGORIES:a;b\\;c,d\nLOCATION;QUOTED-PRINTABLE:a=\n "
                  "b;c\nDCREATED:20240101T000000Z\nTRANSP:0\nATTACH;BASE64:AA\n "
                  "BB\n\nX-A;VALUE=URL;TYPE=\"x,y\";WORD:1;2\n"),
         "CATEGORIES:a,b\\;c,d\nLOCATION:a "
         "b\\;c\nDCREATED:20240101T000000Z\nTRANSP:OPAQUE\nATTACH;ENCODING=BASE64;VALUE=BINARY:"
         "AABB\nX-A;VALUE=URL;TYPE=\"x,y\":1\\;2\n",
         ""},
    });
}
TEST(CalendarReader, EventsThatCannotBeReadAreCounted) {
    const CalendarReading reading = ReadCalendarText(
        Calendar("BEGIN:VEVENT\nDTSTART:x\nUID:\xE9\nEND:VEVENT\nBEGIN:VEVENT\nEND:VEVENT\n"
                 "BEGIN:VTODO\nDTSTART:x\nEND:VTODO\n"));
    EXPECT_EQ(1U, reading.leftOut);
    EXPECT_EQ(2U, reading.items.size());
    ASSERT_EQ(4U, reading.notes.size());
    EXPECT_EQ("\xC3\xA9", reading.notes[0].uid);
}

TEST(CalendarReader, OccurrencesAreOfTheSchedule) {
    const CalendarReading reading = ReadCalendarText(Calendar(
        std::string(kLosAngeles) +
        "BEGIN:VEVENT\r\nDTSTART;TZID=LA:20240318T170000\r\nDURATION:P1DT1H\r\n"
        "RRULE:FREQ=DAILY;COUNT=3\r\nRRULE:FREQ=DAILY;BYHOUR=9;COUNT=2\r\n"
        "EXRULE:FREQ=WEEKLY\r\nRDATE;VALUE=DATE:20240401\r\n"
        "RDATE;TZID=LA;VALUE=PERIOD:20240402T090000/PT1H,20240403T090000/20240403T100000\r\n"
        "EXDATE:20240319T000000Z\r\nEND:VEVENT\r\n"
        "BEGIN:VEVENT\r\nRECURRENCE-ID;RANGE=THISANDFUTURE;TZID=LA:20240319T170000\r\n"
        "DTSTART:20240319\r\nDTEND:20240320\r\nSTATUS:CANCELLED\r\nEND:VEVENT\r\n"));
    ASSERT_EQ(2U, reading.items.size());
    const Schedule& schedule = reading.items[0].schedule;
    EXPECT_EQ(1710806400, schedule.start->ToUtc());
    EXPECT_EQ(1, schedule.length->days);
    EXPECT_EQ(3600, schedule.length->seconds);
    EXPECT_EQ((std::vector<std::string>{"FREQ=DAILY;COUNT=3", "FREQ=DAILY;BYHOUR=9;COUNT=2"}),
              schedule.rules);
    EXPECT_EQ(std::vector<std::string>{"FREQ=WEEKLY"}, schedule.exceptionRules);
    ASSERT_EQ(3U, schedule.additions.size());
    EXPECT_TRUE(schedule.additions[0].start.date.isDate);
    EXPECT_EQ(3600, schedule.additions[1].length->seconds);
    EXPECT_EQ(schedule.additions[2].start.ToUtc() + 3600, schedule.additions[2].end->ToUtc());
    ASSERT_EQ(1U, schedule.exceptions.size());
    EXPECT_EQ(schedule.start->ToUtc(), schedule.exceptions[0].ToUtc());
    const Schedule& change = reading.items[1].schedule;
    EXPECT_TRUE(change.replacesFollowing && change.isCancelled && change.end->date.isDate);
    EXPECT_EQ(schedule.start->ToUtc() + 86400, change.replaces->ToUtc());
    ASSERT_EQ(1U, reading.items[0].zones.size());
    EXPECT_EQ(reading.items[0].zones[0], schedule.start->zone);
}

TEST(CalendarReader, RefusesWhatHasNoStructure) {
    const std::string begin = "BEGIN:VCALENDAR\r\n";
    std::string deep = begin;
    for (int depth = 0; depth < 200000; ++depth) deep += "BEGIN:X\r\n";
    Check({
        {"nothing", "", "1: BEGIN:VCALENDAR expected"},
        {"other text", "Dear all,\n", "1: BEGIN:VCALENDAR expected"},
        {"bytes", std::string("BEGIN:VCALENDAR\n\0\n", 18), "2: not a text"},
        {"unended alarm", begin + "BEGIN:VEVENT\r\nBEGIN:VALARM\r\n",
         "3: BEGIN:VALARM is never ended"},
        {"ended in the wrong order",
         begin + "BEGIN:VEVENT\r\nBEGIN:VALARM\r\nEND:VEVENT\r\nEND:VALARM\r\n",
         "4: END:VEVENT where the VALARM of line 3 is open"},
        {"an event inside another", Event("BEGIN:VEVENT\r\nEND:VEVENT\r\n"),
         "4: a VEVENT inside the VEVENT of line 3"},
        {"an event inside an alarm", Event("BEGIN:VALARM\r\nBEGIN:VEVENT\r\n"),
         "5: a VEVENT inside the VEVENT of line 3"},
        {"a calendar inside a calendar", Calendar(Calendar("")),
         "3: a VCALENDAR inside a VCALENDAR"},
        {"nested without end", deep, "34: components are nested too deep"},
    });
}

TEST(CalendarReader, LongTextsTakeTimeInProportion) {
    const std::string million(1'000'000, 'x');
    const CalendarReading reading = ReadCalendarText(Event("SUMMARY:" + million + "\r\n"));
    ASSERT_EQ(1U, reading.items.size());
    EXPECT_EQ(PropertyValue(million), reading.items[0].properties.begin()->value);
    // Beginnings of own items whose ends are far away, or that are none.
    const std::string own =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n";
    const std::string event = own +
                              "BEGIN:VEVENT\r\nDTSTART:\r\nDTEND:\r\nUID:\r\nLOCATION:\r\n"
                              "DESCRIPTION:\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n\n";
    const std::string task = own + "BEGIN:VTODO\r\nUID:\r\nEND:VTODO\r\nEND:VCALENDAR\r\n\n";
    const auto count = ReadCalendarText(Repeated(event + task, 5'000)).items.size();
    EXPECT_EQ(10'000U, count);
    EXPECT_EQ(20'000U, ReadCalendarText(Event(Repeated("EXDATE;TZID=A:20240101\r\n", 20'000)))
                           .items.at(0)
                           .schedule.exceptions.size());
}

TEST(CalendarReader, OwnTextsStandAsTheyAre) {
    const std::string own =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n";
    const std::string whole =
        own +
        "BEGIN:VEVENT\r\nDTSTART:20240305T060708Z\r\nDTEND:\r\nUID:1\r\nLOCATION:a\\nb;c,\r\n"
        "DESCRIPTION:one\r\n two\r\n\r\nSUMMARY:three\r\nEND:VEVENT\r\nSUMMARY:s\r\n"
        "LAST-MODIFIED:\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
    const char* const expected =
        "AppointmentUID='1'\nLOCATION='a\\nb;c,'\n"
        "BODY='one\r\n two\r\n\r\nSUMMARY:three\r\nEND:VEVENT'\nSUBJECT='s'\n"
        "START_DATE=20240305T060708\n";
    const CalendarReading reading = ReadCalendarText(whole);
    EXPECT_EQ(
        "BEGIN:VEVENT\nUID:1\nDTSTART:20240305T060708Z\nSUMMARY:s\n"
        "DESCRIPTION:one\\n two\\n\\nSUMMARY:three\\nEND:VEVENT\n"
        "LOCATION:a\\\\nb\\;c\\,\nEND:VEVENT\n",
        reading.items.at(0).lines + Said(reading));
    Check({
        {"line breaks, blanks, backslashes and names in texts", whole, expected},
        {"blank lines behind", whole + "\r\n\r\n", expected},
        {"an item that does not begin like an own one",
         own + "BEGIN:VEVENT\r\nX-A:1\r\nSUMMARY:a\\,b\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n",
         "SUBJECT='a,b'\n"},
        {"lines in another order",
         own + "BEGIN:VEVENT\r\nUID:1\r\nDTSTART:20240305T060708Z\r\nDTEND:\r\nLOCATION:\r\n"
               "DESCRIPTION:a\\,b\r\nSUMMARY:s\r\nLAST-MODIFIED:\r\nEND:VEVENT\r\n"
               "END:VCALENDAR\r\n",
         "AppointmentUID='1'\nBODY='a,b'\nSUBJECT='s'\nSTART_DATE=20240305T060708\n"
         "END_DATE=20240305T060708\n"},
        {"unended", own + "BEGIN:VTODO\r\nUID:1\r\nSUMMARY:s\r\n", "4: BEGIN:VTODO is never ended"},
    });
}

}  // namespace
}  // namespace tarnwick

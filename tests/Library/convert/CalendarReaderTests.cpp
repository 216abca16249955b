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

std::string NotesOf(const std::string& text) {
    std::string notes;
    for (const ReadProblem& note : ReadCalendarText(text).notes) {
        notes += std::to_string(note.line) + ": " + note.reason + "\n";
    }
    return notes;
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
         "BODY='a\r\nb\r\nc, d; e\\n f\\g\\'\n"},
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
        {"the last of two lines holds", Event("SUMMARY:a\r\nSUMMARY:b\r\n"), "SUBJECT='b'\n"},
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

TEST(CalendarReader, NotesWhatIsLeftOutOrAssumed) {
    const std::pair<std::string, const char*> rows[] = {
        {Event("DTSTART;TZID=Nowhere:20240305T060708\r\n"),
         "4: the time zone Nowhere is not in the text; its times are taken as UTC\n"},
        {Event("RRULE:FREQ=HOURLY\r\n"), "4: a recurrence that items cannot hold is left out\n"},
        {Event("LAST-MODIFIED:20400101\r\n"),
         "4: a modification before 1901 or after 2038 is left out\n"},
        {Event("DTSTART:00010101\r\nDTEND:20000101\r\n"),
         "3: a date before 1601 or too late is left out\n"},
        {Calendar(ZoneWith("FREQ=DAILY")),
         "9: a rule of this kind is not known in a time zone; its first change alone counts\n"},
        {Calendar("BEGIN:VTIMEZONE\r\nTZID:Z\r\nBEGIN:STANDARD\r\nEND:STANDARD\r\n"
                  "END:VTIMEZONE\r\n"),
         "5: this part of the time zone is left out\n"
         "3: the time zone Z is not in the text; its times are taken as UTC\n"},
        {Calendar(kBerlin), ""},
    };
    for (const auto& [text, notes] : rows) EXPECT_EQ(notes, NotesOf(text)) << text;
    EXPECT_EQ("START_DATE=20240305T060708\nEND_DATE=20240305T060708\n", Read(rows[0].first));
}

TEST(CalendarReader, RecurrenceRules) {
    const struct {
        const char* rule;
        // Type, interval, days, instance, day of month, month, no end, count, end.
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
        {"FREQ=DAILY;COUNT=0;UNTIL=", "0 0 0 -1 0 0 0 0 "},
        {"FREQ=", "4 0 0 -1 0 0 1  "},
        {"FREQ=HOURLY", ""},
        {"FREQ=DAILY;BYHOUR=9,10", ""},
        {"FREQ=DAILY;BYMONTH=1", ""},
        {"FREQ=WEEKLY;BYMONTHDAY=1", ""},
        {"FREQ=MONTHLY;BYMONTH=1;BYMONTHDAY=1", ""},
        {"FREQ=MONTHLY;BYMONTHDAY=1,15", ""},
        {"FREQ=MONTHLY;BYDAY=1MO,1TU", ""},
        {"FREQ=MONTHLY;BYDAY=-2MO", ""},
        {"FREQ=MONTHLY;BYDAY=MO;BYSETPOS=1,2", ""},
        {"FREQ=WEEKLY;BYDAY=XX", ""},
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
        EXPECT_EQ(found.empty(), !reading.notes.empty()) << row.rule;
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
        {"MD1 2+ 3- #0", "FREQ=MONTHLY;INTERVAL=1;BYMONTHDAY=2,-3"},
        {"YM1 6 7 #8", "FREQ=YEARLY;INTERVAL=1;COUNT=8;BYMONTH=6,7"},
        {"YD5 1 100 #4", "FREQ=YEARLY;INTERVAL=5;COUNT=4;BYYEARDAY=1,100"},
        {"", ""},
        {"X1 #1", ""},
        {"W1 MO #", ""},
        {"MD1 7+-", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(row.modern, ModernRule(row.old)) << row.old;
}

TEST(CalendarReader, RulesOfTheOlderFormat) {
    const auto old = [](const std::string& rule) {
        return "BEGIN:VCALENDAR\nVERSION:1.0\nBEGIN:VEVENT\nRRULE:" + rule +
               "\nEND:VEVENT\nEND:VCALENDAR\n";
    };
    EXPECT_EQ(Read(Event("RRULE:FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,WE;COUNT=10\r\n")),
              Read(old("W2 MO WE #10")));
    EXPECT_EQ("4: not a recurrence rule: FREQ=DAILY", Read(old("FREQ=DAILY")));
    EXPECT_EQ("4: a recurrence that items cannot hold is left out\n", NotesOf(old("YD1 100 #0")));
}

TEST(CalendarReader, SaysWhereAndWhyATextCannotBeRead) {
    const std::string begin = "BEGIN:VCALENDAR\r\n";
    std::string deep = begin;
    for (int depth = 0; depth < 200000; ++depth) deep += "BEGIN:X\r\n";
    Check({
        {"nothing", "", "1: BEGIN:VCALENDAR expected"},
        {"other text", "Dear all,\n", "1: BEGIN:VCALENDAR expected"},
        {"text behind the end", Calendar("") + "\r\nand more\r\n", "5: BEGIN:VCALENDAR expected"},
        {"bytes", std::string("BEGIN:VCALENDAR\n\0\n", 18), "2: not a text"},
        {"unended alarm", begin + "BEGIN:VEVENT\r\nBEGIN:VALARM\r\n",
         "3: BEGIN:VALARM is never ended"},
        {"ended in the wrong order",
         begin + "BEGIN:VEVENT\r\nBEGIN:VALARM\r\nEND:VEVENT\r\nEND:VALARM\r\n",
         "4: END:VEVENT where the VALARM of line 3 is open"},
        {"an event inside another", Event("BEGIN:VEVENT\r\nEND:VEVENT\r\n"),
         "4: a VEVENT inside the VEVENT of line 3"},
        {"a calendar inside a calendar", Calendar(Calendar("")),
         "3: a VCALENDAR inside a VCALENDAR"},
        {"nested without end", deep, "34: components are nested too deep"},
        {"a line that is no property", Event("SUMMARY:a\r\n b\r\n\r\n c\r\n=\r\n"),
         "8: the line is not a property"},
        {"a property without value", Event("SUMMARY\r\n"), "4: SUMMARY without a value"},
        {"a day its month does not have", Event("DTSTART:20230229\r\n"), "4: not a date: 20230229"},
        {"hour 24", Event("DTSTART:20230228T240000Z\r\n"), "4: not a date: 20230228T240000Z"},
        {"a date out of bytes", Event("DTEND:\x01\xFF\r\n"), "4: not a date: ??"},
        {"a long date", Event("DTEND:" + std::string(50, '1') + "\r\n"),
         "4: not a date: 1111111111111111111111111111111111111111..."},
        {"a duration", Event("DURATION:P1H\r\n"), "4: not a duration: P1H"},
        {"a huge duration", Event("DURATION:P9999999999D\r\n"), "4: not a duration: P9999999999D"},
        {"units of a duration that repeat",
         Event("DTSTART:20240305\r\nDURATION:P" + Repeated("999999999W", 20000) + "\r\n"),
         "5: not a duration: P999999999W999999999W999999999W999999999..."},
        {"units of a duration in the wrong order", Event("DURATION:P1D1W\r\n"),
         "4: not a duration: P1D1W"},
        {"a rule without frequency", Event("RRULE:COUNT=1\r\n"),
         "4: not a recurrence rule: COUNT=1"},
        {"a percentage", Task("PERCENT-COMPLETE:half\r\n"), "4: not a percentage: half"},
        {"a zone without name", Calendar("BEGIN:VTIMEZONE\r\nEND:VTIMEZONE\r\n"),
         "3: a VTIMEZONE without TZID"},
        {"an offset", Calendar("BEGIN:VTIMEZONE\r\nBEGIN:STANDARD\r\nTZOFFSETTO:0100\r\n"),
         "5: not an offset: 0100"},
        {"a date of a zone", Calendar("BEGIN:VTIMEZONE\r\nBEGIN:STANDARD\r\nRDATE:2024,x\r\n"),
         "5: not a date: 2024"},
    });
}

TEST(CalendarReader, LinesOfAMegabyte) {
    const std::string million(1'000'000, 'x');
    std::string folded;
    for (int line = 0; line < 20000; ++line) folded += std::string(50, 'x') + "\r\n ";
    for (const std::string& value : {million, folded}) {
        const CalendarReading reading = ReadCalendarText(Event("SUMMARY:" + value + "\r\n"));
        ASSERT_EQ(1U, reading.items.size());
        EXPECT_EQ(PropertyValue(million), reading.items[0].properties.begin()->value);
    }
    EXPECT_EQ("4: the line is not a property", Read(Event(million + " \r\n")));
}

TEST(CalendarReader, OwnTextsStandAsTheyAre) {
    const std::string own =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n";
    Check({
        {"line breaks, blanks and backslashes in texts",
         own +
             "BEGIN:VEVENT\r\nDTSTART:20240305T060708Z\r\nDTEND:\r\nUID:1\r\nLOCATION:a\\nb;c,\r\n"
             "DESCRIPTION:one\r\n two\r\n\r\nUID:three\r\nEND:X\r\nSUMMARY:s\r\n"
             "LAST-MODIFIED:\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n",
         "AppointmentUID='1'\nLOCATION='a\\nb;c,'\n"
         "BODY='one\r\n two\r\n\r\nUID:three\r\nEND:X'\nSUBJECT='s'\n"
         "START_DATE=20240305T060708\n"},
        {"an item that does not begin like an own one",
         own + "BEGIN:VEVENT\r\nX-A:1\r\nSUMMARY:a\\,b\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n",
         "SUBJECT='a,b'\n"},
        {"unended", own + "BEGIN:VTODO\r\nUID:1\r\nSUMMARY:s\r\n", "4: BEGIN:VTODO is never ended"},
    });
}

}  // namespace
}  // namespace tarnwick

#include <gtest/gtest.h>

#include <array>

#include "Library/convert/CalendarDate.h"
#include "provider/CalendarBucketName.h"
#include "tools/admin/EventEntries.h"
#include "tools/admin/EventIds.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Names.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

std::string Calendar(const std::string& content) {
    return "BEGIN:VCALENDAR\n" + content + "END:VCALENDAR\n";
}
std::string Event(const std::string& lines) {
    return "BEGIN:VEVENT\n" + lines + "END:VEVENT\n";
}

std::int64_t At(const char* time) {
    return ParseTime(time).value();
}

// The calendars of dates, and a code page that is ASCII.
EntryPlaces Places() {
    return {[](std::int32_t start, std::int32_t end) {
                std::array<char, 64> name{};
                MakeCalendarBucketName(start, end, name);
                return std::string(name.data());
            },
            [](std::string_view text) -> std::optional<std::string> {
                for (const char byte : text) {
                    if (static_cast<unsigned char>(byte) > 127) return std::nullopt;
                }
                return std::string(text);
            }};
}

EventFile Parse(const std::string& text, std::optional<std::int64_t> from = {},
                std::optional<std::int64_t> until = {}) {
    return ParseEventFile(text, {from, until, At("2027-01-01")}, Places());
}

// "calendar id start/end" of each entry.
std::string EntriesText(const std::vector<PlacedEntry>& entries) {
    std::string text;
    for (const auto& [calendar, entry] : entries) {
        text += calendar + " " + entry.id + " " + FormatTime(entry.start) + "/" +
                FormatTime(entry.end) + "\n";
    }
    return text;
}

std::string AllEntries(const EventFile& file) {
    std::string text;
    for (const PlannedEvent& event : file.events) text += EntriesText(event.entries);
    return text;
}

std::string NotesText(const EventFile& file) {
    std::string text;
    for (const ReadProblem& note : file.notes) {
        text += std::to_string(note.line) + " " + note.uid + ": " + note.reason + "\n";
    }
    return text;
}

TEST(EventFiles, OccurrencesBecomeEntriesOfTheirDates) {
    const std::string weekly =
        "UID:w\nDTSTART:20261226T230000Z\nDTEND:20261227T000000Z\nRRULE:FREQ=WEEKLY";
    const std::string twice =
        "UID:t\nDTSTART:20261201T080000Z\nRRULE:FREQ=DAILY;COUNT=3;BYHOUR=8,20\n";
    const struct {
        std::string event;
        const char* from;
        const char* until;
        std::string entries;
        std::size_t beyond;
        std::size_t endless;
    } rows[] = {
        {"UID:a\nDTSTART:20260301T093000Z\nDTEND:20260301T100000Z\n", "", "",
         "Y26M03D01 a 2026-03-01T09:30:00Z/2026-03-01T10:00:00Z\n", 0, 0},
        // What ends at midnight ends within its day.
        {"UID:day\nDTSTART;VALUE=DATE:20260404\n", "", "",
         "Y26M04D04 day 2026-04-04T00:00:00Z/2026-04-04T23:59:59Z\n", 0, 0},
        {"UID:days\nDTSTART;VALUE=DATE:20260430\nDTEND;VALUE=DATE:20260502\n", "", "",
         "Y26 days 2026-04-30T00:00:00Z/2026-05-01T23:59:59Z\n", 0, 0},
        {weekly + "\n", "", "", "Y26M12D26 w 2026-12-26T23:00:00Z/2026-12-26T23:59:59Z\n", 0, 1},
        {weekly + ";COUNT=9\n", "2027-01-01", "2027-01-10T12:00Z",
         "Y27M01D02 w 2027-01-02T23:00:00Z/2027-01-02T23:59:59Z\n"
         "Y27M01D09 w 2027-01-09T23:00:00Z/2027-01-09T23:59:59Z\n",
         6, 0},
        {twice, "", "",
         "Y26M12D01 t 2026-12-01T08:00:00Z/2026-12-01T08:00:00Z\n"
         "Y26M12D01 t#2 2026-12-01T20:00:00Z/2026-12-01T20:00:00Z\n"
         "Y26M12D02 t 2026-12-02T08:00:00Z/2026-12-02T08:00:00Z\n",
         0, 0},
        // Far ahead, the first stands for the others; a wish of the caller's holds.
        {"UID:f\nDTSTART:20300101T080000Z\nRRULE:FREQ=YEARLY\n", "", "",
         "Y30M01D01 f 2030-01-01T08:00:00Z/2030-01-01T08:00:00Z\n", 0, 1},
        {"UID:f\nDTSTART:20300101T080000Z\n", "", "2027-01-01", "", 1, 0},
    };
    for (const auto& row : rows) {
        const auto time = [](const std::string& text) {
            return text.empty() ? std::optional<std::int64_t>() : At(text.c_str());
        };
        const EventFile file = Parse(Calendar(Event(row.event)), time(row.from), time(row.until));
        EXPECT_EQ(row.entries, AllEntries(file)) << row.event;
        EXPECT_EQ(row.beyond, file.beyond) << row.event;
        EXPECT_EQ(row.endless, file.endless) << row.event;
        EXPECT_EQ("", NotesText(file));
        EXPECT_EQ(0U, file.leftOut + file.withNotes);
        // The item gives the entries again.
        for (const PlannedEvent& event : file.events) {
            std::vector<PlacedEntry> again;
            for (const KeptEntry& kept : EntriesOf(ReadKeptEvent(event.itemText), Places())) {
                again.push_back(kept.placed);
            }
            std::vector<PlacedEntry> planned = event.entries;
            for (PlacedEntry& placed : planned) placed.entry.id.clear();
            EXPECT_EQ(EntriesText(planned), EntriesText(again)) << event.itemText;
        }
    }
}

TEST(EventFiles, AnItemKeepsAllOfItsUid) {
    const std::string zone =
        "BEGIN:VTIMEZONE\nTZID:Z\nBEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:-0500\n"
        "TZOFFSETTO:-0500\nEND:STANDARD\nEND:VTIMEZONE\n";
    const std::string series =
        "UID:s\nDTSTART;TZID=Z:20261201T200000\nX-KEPT:a\\,b\nRRULE:FREQ=DAILY;COUNT=2\n"
        "BEGIN:VALARM\nTRIGGER:-PT5M\nEND:VALARM\n";
    const std::string moved =
        "UID:s\nRECURRENCE-ID;TZID=Z:20261202T200000\nDTSTART:20261205T080000Z\n";
    const EventFile file =
        Parse(Calendar(zone + Event(series) + Event("UID:o\nDTSTART:20261201\n") + Event(moved)));
    EXPECT_EQ(
        "Y26M12D02 s 2026-12-02T01:00:00Z/2026-12-02T01:00:00Z\n"
        "Y26M12D05 s 2026-12-05T08:00:00Z/2026-12-05T08:00:00Z\n"
        "Y26M12D01 o 2026-12-01T00:00:00Z/2026-12-01T23:59:59Z\n",
        AllEntries(file));
    ASSERT_EQ(2U, file.events.size());
    EXPECT_EQ("s~", EventItemNames("s").front().substr(0, 2));
    std::string wanted =
        "BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:-//Tarnwick//Calendar Item//EN\n"
        "X-TARNWICK-ENTERED:/20270101T000000Z\n" +
        zone + Event(series) + Event(moved) + "END:VCALENDAR\n";
    for (std::size_t at = 0; (at = wanted.find('\n', at)) != wanted.npos; at += 2) {
        wanted.insert(at, 1, '\r');
    }
    EXPECT_EQ(wanted, file.events[0].itemText);
}

TEST(EventFiles, IdsAreUniqueAndFit) {
    const std::string at = "DTSTART:20260301\n";
    const std::string longUid(100, 'u');
    const EventFile file = Parse(
        Calendar(Event("UID:x\n" + at) + Event("UID:X\n" + at) + Event("UID:x\n" + at) +
                 Event("UID:x\nDTSTART:20260301T080000Z\n") + Event("UID:" + longUid + "\n" + at) +
                 Event("UID:" + longUid + "v\n" + at) + Event("UID:caf\xC3\xA9\n" + at) +
                 Event(at) + Event("SUMMARY:other\n" + at)));
    std::set<std::string> ids;
    std::set<std::string> items;
    for (const PlannedEvent& event : file.events) {
        EXPECT_TRUE(items.insert(event.itemName).second) << event.itemName;
        for (const PlacedEntry& placed : event.entries) {
            const std::string& id = placed.entry.id;
            EXPECT_TRUE(ids.insert(id).second) << id;
            EXPECT_EQ("", ProblemWithId(id)) << id;
            const auto names = EventItemNames(id);
            EXPECT_NE(names.end(), std::find(names.begin(), names.end(), event.itemName)) << id;
        }
    }
    EXPECT_EQ(8U, ids.size());
    // A UID that ends like the ID of another's second entry makes way for it, if there can be one.
    const std::string ends = Event("UID:x#2\n" + at);
    EXPECT_EQ("x#2", Parse(Calendar(Event("UID:x\n" + at) + ends)).events.at(1).id);
    const EventFile both = Parse(Calendar(ends + Event("UID:x\nRRULE:FREQ=DAILY\n" + at)));
    const auto names = EventItemNames("x#2");
    EXPECT_EQ(0, std::count(names.begin(), names.end(), both.events.at(0).itemName));
    EXPECT_TRUE(ids.contains("x") && ids.contains("x#2")) << AllEntries(file);
}

TEST(EventFiles, CountsWhatIsNotedAndLeftOut) {
    const EventFile file =
        Parse(Calendar("BEGIN:VTODO\nUID:task\nEND:VTODO\n" + Event("UID:1\n") +
                       Event("UID:2\nDTSTART:20380119T031408Z\n") +
                       Event("UID:3\nDTSTART:20260301T120000Z\nPRIORITY:HIGH\n") +
                       Event("UID:4\nDTSTART:20380118T000000Z\nRRULE:FREQ=DAILY;COUNT=3\n")),
              {}, std::int64_t{INT32_MAX} * 2);
    EXPECT_EQ(2U, file.leftOut) << NotesText(file);
    EXPECT_EQ(2U, file.withNotes) << NotesText(file);
    EXPECT_EQ(
        "2 task: a task is passed over; calendars hold events\n"
        "5 1: an event without a start is left out\n"
        "8 2: what lies before 1901 or after 2038 is left out: 1 occurrence\n",
        NotesText(file).substr(0, NotesText(file).find("15 ")));
    EXPECT_TRUE(NotesText(file).ends_with(
        "17 4: what lies before 1901 or after 2038 is left out: 1 occurrence\n"))
        << NotesText(file);
    const EventFile never = Parse(Calendar(Event("UID:1\nDTSTART:20260301\nEXDATE:20260301\n")));
    EXPECT_EQ(1U, never.leftOut) << NotesText(never);
    EXPECT_THROW(Parse("some agenda"), Failure);
}

TEST(EventItems, HaveNamesThatFilesCanHave) {
    const struct {
        std::string id;
        std::string begin;
        bool isReplaced;
    } rows[] = {
        {"79fs7pkq@google.com", "79fs7pkq@google.com", false},
        {std::string(57, 'i'), std::string(57, 'i'), false},
        {std::string(58, 'i'), std::string(40, 'i'), true},
        {"con", "con", true},
        {"con.fusion", "con_fusion", true},
        {"a..bcdef", "a__bcdef", true},
        {"a/b:c*d?", "a_b_c_d_", true},
        {"caf\xC3\xA9 one", "caf___one", true},
    };
    for (const auto& row : rows) {
        const std::string name = EventItemNames(row.id).front();
        const std::size_t fingerprint = row.isReplaced ? 17 : 0;
        EXPECT_EQ(row.begin.size() + fingerprint + 4, name.size()) << name;
        EXPECT_TRUE(name.starts_with(row.begin + (row.isReplaced ? "~" : ".ICS"))) << name;
        EXPECT_NO_THROW(CheckItemName(name)) << name;
        // Further entries of it find the same item.
        for (const std::size_t number : {2U, 10'000U}) {
            const std::string id = NumberedId(row.id, number);
            EXPECT_EQ(name, EventItemNames(id).back()) << id;
            EXPECT_EQ("", ProblemWithId(id)) << id;
        }
    }
    // IDs that differ in case alone are one ID.
    EXPECT_EQ(EventItemNames("a/b")[0].substr(3), EventItemNames("A/B")[0].substr(3));
    EXPECT_NE(EventItemNames("a/b")[0], EventItemNames("a:b")[0]);
    // The names of earlier versions.
    EXPECT_EQ(std::string(59, 'i') + ".ICS", EventItemNames(std::string(59, 'i'))[1]);
    EXPECT_TRUE(EventItemNames("uid#2")[0].starts_with("uid_2~"));
}

TEST(EventsOfEntries, ComeFromTheirItemsWithTheEntrysTimes) {
    const EventFile file =
        Parse(Calendar(Event("UID:a\nDTSTART;VALUE=DATE:20260404\nSUMMARY:Tea\n"
                             "BEGIN:VALARM\nTRIGGER:-PT5M\nDURATION:PT1M\nEND:VALARM\n")));
    const KeptEvent kept = ReadKeptEvent(file.events.at(0).itemText);
    const std::string& lines = kept.components.at(0).lines;
    Entry entry = file.events[0].entries.at(0).entry;
    const std::string rest =
        "SUMMARY:Tea\nBEGIN:VALARM\nTRIGGER:-PT5M\nDURATION:PT1M\nEND:VALARM\nEND:VEVENT\n";
    const std::string day = "DTSTART;VALUE=DATE:20260404\nDTEND;VALUE=DATE:20260405\n";
    EXPECT_EQ("BEGIN:VEVENT\n" + day + "UID:a\n" + rest, LinesOfMovedEvent(entry, lines));
    entry.start += 3600;
    const std::string hours = "DTSTART:20260404T010000Z\nDTEND:20260404T235959Z\n";
    EXPECT_EQ("BEGIN:VEVENT\n" + hours + "UID:a\n" + rest, LinesOfMovedEvent(entry, lines));
    EXPECT_EQ("BEGIN:VEVENT\nUID:b\\,\n" + hours + rest, LinesOfEntry(entry, "b,", lines));
    EXPECT_EQ("BEGIN:VEVENT\nUID:b\n" + hours + "SUMMARY:a\nEND:VEVENT\n",
              LinesOfEntry(entry, "b", {}));
    for (const char* text : {"some agenda", "BEGIN:VCALENDAR\nEND:VCALENDAR\n"}) {
        EXPECT_THROW(ReadKeptEvent(text), Failure) << text;
    }
}

// What earlier versions wrote: the first occurrence alone was entered.
TEST(EventsOfEntries, OfItemsInTheStoresOwnForm) {
    const KeptEvent kept = ReadKeptEvent(
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\nBEGIN:VEVENT\r\n"
        "DTSTART:20260301T093000Z\r\nDTEND:20260301T100000Z\r\nUID:a\r\nLOCATION:\r\n"
        "DESCRIPTION:said:\r\nSUMMARY:no\r\nEND:VEVENT\r\nSUMMARY:Tea\r\n"
        "RRULE:FREQ=YEARLY;COUNT=0;UNTIL=20300101T000000\r\nLAST-MODIFIED:\r\n"
        "END:VEVENT\r\nEND:VCALENDAR\r\n");
    ASSERT_EQ(1U, kept.components.size());
    EXPECT_EQ(
        "BEGIN:VEVENT\nUID:a\nDTSTART:20260301T093000Z\nDTEND:20260301T100000Z\nSUMMARY:Tea\n"
        "DESCRIPTION:said:\\nSUMMARY:no\\nEND:VEVENT\n"
        "RRULE:FREQ=YEARLY;UNTIL=20300101T000000Z\nEND:VEVENT\n",
        kept.components[0].lines);
    const auto entries = EntriesOf(kept, Places());
    ASSERT_EQ(1U, entries.size());
    EXPECT_EQ("Y26M03D01  2026-03-01T09:30:00Z/2026-03-01T10:00:00Z\n",
              EntriesText({entries[0].placed}));
}

}  // namespace
}  // namespace tarnwick::admin

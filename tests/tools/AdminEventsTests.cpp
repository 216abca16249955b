#include <gtest/gtest.h>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/PropertyNames.h"
#include "tools/admin/EventEntries.h"
#include "tools/admin/Names.h"

namespace tarnwick::admin {
namespace {

std::string Calendar(const std::string& content) {
    return "BEGIN:VCALENDAR\n" + content + "END:VCALENDAR\n";
}
std::string Event(const std::string& lines) {
    return "BEGIN:VEVENT\n" + lines + "END:VEVENT\n";
}

TEST(EventFiles, EventsBecomeEntriesWithItems) {
    const EventFile file = ParseEventFile(
        Calendar(Event("UID:a\nDTSTART:20260301T093000Z\nDTEND:20260301T100000Z\nSUMMARY:Tea\n"
                       "RRULE:FREQ=WEEKLY;INTERVAL=2\n") +
                 Event("UID:day\nDTSTART;VALUE=DATE:20260404\n") +
                 Event("UID:late\nDTSTART:20260404T220000Z\nDTEND:20260405T000000Z\n")));
    ASSERT_EQ(3U, file.entries.size());
    EXPECT_TRUE(file.notes.empty());
    EXPECT_EQ((Entry{1772357400, 1772359200, "a"}), file.entries[0].numbered.entry);
    EXPECT_EQ(2U, file.entries[0].numbered.line);
    EXPECT_EQ(
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n"
        "BEGIN:VEVENT\r\nDTSTART:20260301T093000Z\r\nDTEND:20260301T100000Z\r\nUID:a\r\n"
        "LOCATION:\r\nDESCRIPTION:\r\nSUMMARY:Tea\r\nRRULE:FREQ=WEEKLY;INTERVAL=2\r\n"
        "LAST-MODIFIED:\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n",
        file.entries[0].itemText);
    // What ends at midnight ends within its day.
    EXPECT_EQ((Entry{1775260800, 1775347199, "day"}), file.entries[1].numbered.entry);
    EXPECT_EQ((Entry{1775340000, 1775347199, "late"}), file.entries[2].numbered.entry);
}

TEST(EventFiles, IdsAreUniqueAndFit) {
    const std::string at = "DTSTART:20260301\n";
    const std::string longUid(100, 'u');
    const EventFile file = ParseEventFile(
        Calendar(Event("UID:x\n" + at) + Event("UID:X\n" + at) + Event("UID:x\n" + at) +
                 Event("UID:" + longUid + "\n" + at) + Event("UID:" + longUid + "v\n" + at) +
                 Event("UID:a\tb\n" + at) + Event(at) + Event("SUMMARY:other\n" + at)));
    std::vector<std::string> ids;
    for (const ImportedEntry& entry : file.entries) ids.push_back(entry.numbered.entry.id);
    ASSERT_EQ(8U, ids.size());
    EXPECT_EQ("x", ids[0]);
    EXPECT_EQ("X#2", ids[1]);
    EXPECT_EQ("x#3", ids[2]);
    EXPECT_NE(ids[3], ids[4]);
    EXPECT_NE(ids[6], ids[7]);
    for (const std::string& id : ids) EXPECT_EQ("", ProblemWithId(id)) << id;
}

// Trying every number for every event would take minutes.
TEST(EventFiles, OneUidThroughoutALongFile) {
    constexpr std::size_t kCount = 20'000;
    const std::string longest(63, 'u');
    for (const std::string& uid : {std::string("x"), longest}) {
        std::string events;
        for (std::size_t event = 0; event < kCount; ++event) {
            events += "BEGIN:VEVENT\nUID:" + uid + "\nDTSTART:20260301\nEND:VEVENT\n";
        }
        const EventFile file = ParseEventFile(Calendar(events));
        ASSERT_EQ(kCount, file.entries.size());
        EXPECT_EQ(uid.substr(0, 61) + "#2", file.entries[1].numbered.entry.id);
        EXPECT_EQ(uid.substr(0, 57) + "#20000", file.entries.back().numbered.entry.id);
    }
}

TEST(EventFiles, NotesWhatIsPassedOver) {
    const EventFile file = ParseEventFile(Calendar("BEGIN:VTODO\nEND:VTODO\n" + Event("UID:1\n") +
                                                   Event("DTSTART:20380119T031408Z\n") +
                                                   Event("DTSTART;TZID=Z:20260301T120000\n")));
    EXPECT_EQ(1U, file.entries.size());
    EXPECT_EQ(
        (std::vector<std::string>{
            "line 11: the time zone Z is not in the text; its times are taken as UTC",
            "line 2: a task is passed over; calendars hold events",
            "line 4: an event without a start, or before 1901 or after 2038, is passed over",
            "line 7: an event without a start, or before 1901 or after 2038, is passed over"}),
        file.notes);
}

TEST(EventItems, HaveNamesThatFilesCanHave) {
    const struct {
        std::string id;
        std::string begin;
        bool isReplaced;
    } rows[] = {
        {"79fs7pkq@google.com", "79fs7pkq@google.com", false},
        {std::string(59, 'i'), std::string(59, 'i'), false},
        {std::string(60, 'i'), std::string(40, 'i'), true},
        {"con", "con", true},
        {"con.fusion", "con_fusion", true},
        {"a..bcdef", "a__bcdef", true},
        {"a/b:c*d?", "a_b_c_d_", true},
        {"caf\xC3\xA9 one", "caf___one", true},
    };
    for (const auto& row : rows) {
        const std::string name = EventItemName(row.id);
        const std::size_t fingerprint = row.isReplaced ? 17 : 0;
        EXPECT_EQ(row.begin.size() + fingerprint + 4, name.size()) << name;
        EXPECT_TRUE(name.starts_with(row.begin + (row.isReplaced ? "~" : ".ICS"))) << name;
        EXPECT_NO_THROW(CheckItemName(name)) << name;
    }
    // IDs that differ in case alone are one ID.
    EXPECT_EQ(EventItemName("a/b").substr(3), EventItemName("A/B").substr(3));
    EXPECT_NE(EventItemName("a/b"), EventItemName("a:b"));
}

TEST(EventsOfEntries, ComeFromTheirItemsWithTheEntrysTimes) {
    EventFile file = ParseEventFile(
        Calendar(Event("UID:a\nDTSTART;VALUE=DATE:20260404\nSUMMARY:Tea\nRRULE:FREQ=DAILY\n")));
    const ImportedEntry& imported = file.entries.at(0);
    Entry entry = imported.numbered.entry;
    const auto timesOf = [](CalendarItem item) {
        return DateText(item.properties.FileTime(property::kEventStart).value_or(0)) + "-" +
               DateText(item.properties.FileTime(property::kEventEnd).value_or(0));
    };
    EXPECT_EQ("20260404T000000-20260405T000000", timesOf(EventOfEntry(entry, imported.itemText)));
    entry.start += 3600;
    CalendarItem moved = EventOfEntry(entry, imported.itemText);
    EXPECT_EQ("20260404T010000-20260404T235959", timesOf(moved));
    EXPECT_EQ("Tea", moved.properties.TextOr(property::kSubject));
    EXPECT_EQ(1, moved.properties.Number(property::kIsRecurring));
    const std::string notAnEvent = "some agenda";
    for (const std::optional<std::string>& item :
         {std::optional<std::string>(), std::optional(notAnEvent)}) {
        CalendarItem bare = EventOfEntry(entry, item);
        EXPECT_EQ("20260404T010000-20260404T235959", timesOf(bare));
        EXPECT_EQ("a", bare.properties.TextOr(property::kSubject));
        EXPECT_EQ("a", bare.properties.TextOr(property::kAppointmentUid));
    }
}

}  // namespace
}  // namespace tarnwick::admin

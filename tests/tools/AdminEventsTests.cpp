#include <gtest/gtest.h>

#include <array>
#include <set>

#include "provider/CalendarBucketName.h"
#include "tools/admin/EventEntries.h"
#include "tools/admin/EventIds.h"
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

// The calendars of dates, and a code page that is ASCII.
EntryPlaces Places() {
    return {[](std::int32_t start, std::int32_t end) {
                std::array<char, 64> name{};
                MakeCalendarBucketName(start, end, name);
                return std::string(name.data());
            },
            [](std::string_view text) -> std::optional<std::string> {
                const auto isAscii = [](char byte) { return (byte & 0x80) == 0; };
                if (!std::all_of(text.begin(), text.end(), isAscii)) return std::nullopt;
                return std::string(text);
            }};
}

std::optional<std::int64_t> At(const std::string& time) {
    if (time.empty()) return std::nullopt;
    return ParseTime(time).value();
}

EventFile Parse(const std::string& text, const char* from = "", const char* until = "") {
    return ParseEventFile(text, {At(from), At(until), *At("2027-01-01")}, Places());
}

// "calendar id start/end", the times without the century and the seconds.
std::string EntryText(const PlacedEntry& placed, const std::string& id) {
    const auto time = [](std::int32_t seconds) { return FormatTime(seconds).substr(2, 14); };
    return placed.calendar + " " + id + " " + time(placed.entry.start) + "/" +
           time(placed.entry.end) + "\n";
}

// All of a plan, one thing a line. Expects what holds for every plan: IDs are unique and can be
// stored, they find their items, and an item gives its entries again.
std::string PlanText(const EventFile& file) {
    std::string text;
    std::set<std::string> ids;
    for (const PlannedEvent& event : file.events) {
        std::string planned;
        std::string again;
        for (const auto& placed : event.entries) {
            const std::string& id = placed.entry.id;
            EXPECT_TRUE(ids.insert(placed.calendar + " " + id).second) << id;
            EXPECT_EQ("", ProblemWithId(id)) << id;
            const auto names = EventItemNames(id);
            EXPECT_NE(names.end(), std::find(names.begin(), names.end(), event.itemName)) << id;
            planned += EntryText(placed, "");
            text += EntryText(placed, id);
        }
        EXPECT_NO_THROW(CheckItemName(event.itemName)) << event.itemName;
        for (const KeptEntry& kept : EntriesOf(ReadKeptEvent(event.itemText), Places())) {
            again += EntryText(kept.placed, "");
        }
        EXPECT_EQ(planned, again) << event.itemText;
    }
    for (const ReadProblem& note : file.notes) {
        text += std::to_string(note.line) + " " + note.uid + ": " + note.reason + "\n";
    }
    const auto add = [&text](const char* what, std::size_t count) {
        if (count != 0) text += what + std::to_string(count) + "\n";
    };
    add("with notes ", file.withNotes);
    add("left out ", file.leftOut);
    add("beyond ", file.beyond);
    add("endless ", file.endless);
    return text;
}

TEST(EventFiles, BecomeEntriesOfTheirDates) {
    const std::string weekly =
        "UID:w\nDTSTART:20261226T230000Z\nDTEND:20261227T000000Z\nRRULE:FREQ=WEEKLY";
    const std::string note = ": what lies before 1901 or after 2038 is left out: 1 occurrence\n";
    const struct {
        std::string event;
        std::string plan;
        const char* from = "";
        const char* until = "";
    } rows[] = {
        {"UID:a\nDTSTART:20260301T093000Z\nDTEND:20260301T100000Z\n",
         "Y26M03D01 a 26-03-01T09:30/26-03-01T10:00\n"},
        // What ends at midnight ends within its day, unless it begins there.
        {"UID:day\nDTSTART;VALUE=DATE:20260404\n", "Y26M04D04 day 26-04-04T00:00/26-04-04T23:59\n"},
        {"UID:d\nDTSTART:20260404T000000Z\n", "Y26M04D04 d 26-04-04T00:00/26-04-04T00:00\n"},
        {"UID:days\nDTSTART;VALUE=DATE:20260430\nDTEND;VALUE=DATE:20260502\n",
         "Y26 days 26-04-30T00:00/26-05-01T23:59\n"},
        {weekly + "\n", "Y26M12D26 w 26-12-26T23:00/26-12-26T23:59\nendless 1\n"},
        {weekly + ";COUNT=9\n",
         "Y27M01D02 w 27-01-02T23:00/27-01-02T23:59\nY27M01D09 w 27-01-09T23:00/27-01-09T23:59\n"
         "beyond 6\n",
         "2027-01-01", "2027-01-10T12:00Z"},
        {"UID:t\nDTSTART:20261201T080000Z\nRRULE:FREQ=DAILY;COUNT=3;BYHOUR=8,20\n",
         "Y26M12D01 t 26-12-01T08:00/26-12-01T08:00\nY26M12D01 t#2 26-12-01T20:00/26-12-01T20:00\n"
         "Y26M12D02 t 26-12-02T08:00/26-12-02T08:00\n"},
        // Far ahead, the first stands for the others; a wish of the caller's holds.
        {"UID:f\nDTSTART:20300101T080000Z\nRRULE:FREQ=YEARLY\n",
         "Y30M01D01 f 30-01-01T08:00/30-01-01T08:00\nendless 1\n"},
        {"UID:f\nDTSTART:20300101T080000Z\n", "beyond 1\n", "", "2027-01-01"},
        {"UID:1\n", "2 1: an event without a start is left out\nleft out 1\n"},
        {"UID:2\nDTSTART:20380119T031408Z\n", "2 2" + note + "left out 1\n"},
        {"UID:4\nDTSTART:20260301T080000Z\nRRULE:FREQ=DAILY;COUNT=2\nEND:VEVENT\nBEGIN:VEVENT\n"
         "UID:4\nRECURRENCE-ID:20260302T080000Z\nDTSTART:20260302T080000Z\nDTEND:20400101\n",
         "Y26M03D01 4 26-03-01T08:00/26-03-01T08:00\n2 4" + note + "with notes 1\n"},
        {"UID:1\nDTSTART:20260301\nEXDATE:20260301\n",
         "2 1: an event is left out; each of its occurrences is excluded\nleft out 1\n"},
    };
    for (const auto& row : rows) {
        const std::string text = Calendar(Event(row.event));
        EXPECT_EQ(row.plan, PlanText(Parse(text, row.from, row.until))) << row.event;
    }
    // The reader's notes and the plan's are in the order of lines.
    EXPECT_EQ(
        "Y26M03D01 3 26-03-01T12:00/26-03-01T12:00\n2 x: a task is passed over; calendars hold "
        "events\n"
        "5 1: an event without a start is left out\n"
        "11 3: PRIORITY is left out; not a priority: HIGH\nwith notes 1\nleft out 1\n",
        PlanText(Parse(Calendar("BEGIN:VTODO\nUID:x\nEND:VTODO\n" + Event("UID:1\n") +
                                Event("UID:3\nDTSTART:20260301T120000Z\nPRIORITY:HIGH\n")))));
    EXPECT_NE(std::string::npos, Parse(Calendar(Event(rows[7].event)))
                                     .events.at(0)
                                     .itemText.find("ENTERED:/20300101T080001Z\r\n"));
}

TEST(EventFiles, AnItemKeepsAllOfItsUid) {
    const std::string zone =
        "BEGIN:VTIMEZONE\nTZID:Z\nBEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:-0500\n"
        "TZOFFSETTO:-0500\nEND:STANDARD\nEND:VTIMEZONE\n";
    const std::string series = Event(
        "UID:s\nDTSTART;TZID=Z:20261201T200000\nX-KEPT:a\\,b\nRRULE:FREQ=DAILY;COUNT=2\n"
        "BEGIN:VALARM\nTRIGGER:-PT5M\nEND:VALARM\n");
    const std::string moved =
        Event("UID:s\nRECURRENCE-ID;TZID=Z:20261202T200000\nDTSTART:20261205T080000Z\n");
    const EventFile file =
        Parse(Calendar(zone + series + Event("UID:o\nDTSTART:20261201\n") + moved));
    EXPECT_EQ(
        "Y26M12D02 s 26-12-02T01:00/26-12-02T01:00\nY26M12D05 s 26-12-05T08:00/26-12-05T08:00\n"
        "Y26M12D01 o 26-12-01T00:00/26-12-01T23:59\n",
        PlanText(file));
    std::string kept = file.events.at(0).itemText;
    std::erase(kept, '\r');
    EXPECT_EQ(Calendar("VERSION:2.0\nPRODID:-//Tarnwick//Calendar Item//EN\n"
                       "X-TARNWICK-ENTERED:/20270101T000000Z\n" +
                       zone + series + moved),
              kept);
}

TEST(EventFiles, IdsAreUniqueAndFit) {
    const std::string at = "DTSTART:20260301\n";
    std::string events = Event(at) + Event("SUMMARY:other\n" + at);
    for (const std::string& uid :
         {std::string("x"), std::string("X"), std::string("x"), std::string(100, 'u'),
          std::string(101, 'u'), std::string("caf\xC3\xA9")}) {
        events += Event("UID:" + uid + "\n" + at);
    }
    const EventFile file = Parse(Calendar(events));
    EXPECT_NE("", PlanText(file));
    std::set<std::string> items;
    for (const PlannedEvent& event : file.events) items.insert(event.itemName);
    EXPECT_EQ(7U, items.size());
    // A UID that ends like the ID of another's second entry makes way for it, if there can be one.
    const std::string ends = Event("UID:x#2\n" + at);
    EXPECT_EQ("x#2", Parse(Calendar(Event("UID:x\n" + at) + ends)).events.at(1).id);
    const EventFile both = Parse(Calendar(ends + Event("UID:x\nRRULE:FREQ=DAILY\n" + at)));
    const auto names = EventItemNames("x#2");
    EXPECT_EQ(0, std::count(names.begin(), names.end(), both.events.at(0).itemName));
}

TEST(EventItems, HaveNamesThatFilesCanHave) {
    const std::pair<std::string, std::string> rows[] = {
        {"79fs7pkq@google.com", "79fs7pkq@google.com.ICS"},
        {std::string(57, 'i'), std::string(57, 'i') + ".ICS"},
        {std::string(58, 'i'), std::string(40, 'i') + "~"},
        {"con", "con~"},
        {"con.fusion", "con_fusion~"},
        {"a..bcdef", "a__bcdef~"},
        {"a/b:c*d?", "a_b_c_d_~"},
        {"caf\xC3\xA9 one", "caf___one~"},
    };
    for (const auto& [id, begin] : rows) {
        const std::string name = EventItemNames(id).front();
        EXPECT_EQ(begin.size() + (begin.back() == '~' ? 20 : 0), name.size()) << name;
        EXPECT_TRUE(name.starts_with(begin)) << name;
        EXPECT_NO_THROW(CheckItemName(name)) << name;
        // Further entries of it find the same item.
        for (const std::size_t number : {2U, 10'000U}) {
            const std::string numbered = NumberedId(id, number);
            EXPECT_EQ(name, EventItemNames(numbered).back()) << numbered;
            EXPECT_EQ("", ProblemWithId(numbered)) << numbered;
        }
    }
    // IDs that differ in case alone are one ID.
    EXPECT_EQ(EventItemNames("a/b")[0].substr(3), EventItemNames("A/B")[0].substr(3));
    EXPECT_NE(EventItemNames("a/b")[0], EventItemNames("a:b")[0]);
    // The names of earlier versions.
    EXPECT_EQ(std::string(59, 'i') + ".ICS", EventItemNames(std::string(59, 'i'))[1]);
    EXPECT_TRUE(EventItemNames("uid#2")[0].starts_with("uid_2~"));
}

}  // namespace
}  // namespace tarnwick::admin

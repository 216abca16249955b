// What is read of whole files, and when events take place.
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "Library/convert/CalendarFileText.h"
#include "tests/Library/convert/ItemDescription.h"
#include "tests/support/AllTexts.h"
#include "tests/support/SharedData.h"

namespace tarnwick {
namespace {

using testing::Describe;

std::string Data(const std::string& name) {
    return testing::ReadBytes(std::filesystem::path(TARNWICK_SOURCE_DIR) / "tests/data" / name);
}

std::string Repeated(std::string_view text, int times) {
    std::string repeated;
    for (; times > 0; --times) repeated += text;
    return repeated;
}

// Names the line of the first difference: there are too many to show.
void ExpectSame(const std::string& expected, const std::string& found, const std::string& label) {
    const auto [left, right] = std::ranges::mismatch(expected, found);
    const std::size_t at = expected.rfind('\n', static_cast<std::size_t>(left - expected.begin()));
    const std::size_t from = at == expected.npos ? 0 : at + 1;
    EXPECT_TRUE(left == expected.end() && right == found.end())
        << label << "\nexpected: " << expected.substr(from, 400)
        << "\n   found: " << found.substr(std::min(from, found.size()), 400);
}

// Calls `check` with the name of each file that is expected, and its reading as ItemDescription.h
// has it: expected.txt has the first behind "== ".
template <typename Check>
void ForEachFile(Check check) {
    const std::string all = Data("conversion/expected.txt");
    std::size_t files = 0;
    for (std::size_t at = 0; at < all.size(); ++files) {
        const std::size_t begin = all.find('\n', at) + 1;
        const std::string name = all.substr(at + 3, begin - at - 4);
        at = std::min(all.find("== ", begin), all.size());
        check(name, all.substr(begin, at - begin));
    }
    EXPECT_EQ(files, 29U);
}

// Files as calendar and address programs write them and as they arrive, and what is odd or damaged
// in them.
TEST(Reading, OfFilesIsAsExpected) {
    ForEachFile([](const std::string& name, const std::string& expected) {
        ExpectSame(expected,
                   name.ends_with(".vcf") ? Describe(ReadContactText(Data(name)))
                                          : Describe(ReadCalendarText(Data(name))),
                   name);
    });
}

// Zones keep their names where nothing else has them.
TEST(CalendarFileText, OfFilesReadsBackToTheSameOccurrences) {
    ForEachFile([](const std::string& name, const std::string&) {
        if (name.ends_with(".vcf")) return;
        const CalendarReading reading = ReadCalendarText(Data(name));
        const std::string text = CalendarFileText(reading.items, 0);
        const CalendarReading again = ReadCalendarText(text);
        ASSERT_EQ(reading.items.size(), again.items.size()) << name;
        for (std::size_t at = 0; at < again.items.size(); ++at) {
            EXPECT_EQ(testing::DescribeOccurrences(reading.items, at),
                      testing::DescribeOccurrences(again.items, at))
                << name << " " << reading.items[at].lines;
        }
        EXPECT_EQ(text.find(" #2\r") != text.npos, name == "conversion/zones.ics") << name;
        EXPECT_EQ(text.find(" #1\r"), text.npos) << name;
    });
}

// The answers were recorded by occurrences_against_dateutil.py; "?" stands for what is beyond the
// window.
TEST(Occurrences, AreThoseThatAnotherProgramRecorded) {
    const CalendarReading reading = ReadCalendarText(Data("conversion/occurrences.ics"));
    std::istringstream answers(Data("conversion/occurrences.txt"));
    std::string expected;
    for (std::size_t at = 0; at < reading.items.size(); ++at) {
        const std::string& uid = reading.items[at].uid;
        if (at + 1 < reading.items.size() && reading.items[at + 1].uid == uid) continue;
        std::string found = testing::DescribeOccurrences(reading.items, at);
        ASSERT_TRUE(std::getline(answers, expected));
        if (expected.ends_with('?')) {
            expected.pop_back();
            found.resize(found.find(' ', found.rfind('/')) + 1);
        } else {
            expected += "\n";
        }
        EXPECT_EQ("  > " + expected, found) << uid;
    }
    EXPECT_FALSE(std::getline(answers, expected));
}

TEST(Occurrences, HaveTheirLimits) {
    Schedule schedule;
    schedule.start = ZonedTime{};
    schedule.rules = {"FREQ=DAILY"};
    const Schedule* const one = &schedule;
    EXPECT_TRUE(OccurrencesOf({&one, 1}, {INT64_MIN, INT64_MAX}).isCut);
    EXPECT_TRUE(OccurrencesOf({&one, 1}, {INT64_MAX, INT64_MIN}).isEndless);
    // As one event alone does, many give what a result can hold.
    const std::vector<const Schedule*> many(100, one);
    const Occurrences found = OccurrencesOf(many, {std::nullopt, 9000 * kSecondsPerDay});
    EXPECT_EQ(9000U, found.within.size());
    EXPECT_FALSE(found.isCut);
    for (const std::size_t rules : {64U, 65U}) {
        schedule.rules.assign(rules, "FREQ=DAILY;COUNT=3");
        const Occurrences ofMany = OccurrencesOf({&one, 1}, {std::nullopt, kSecondsPerDay});
        EXPECT_EQ(2U, ofMany.beyond);
        EXPECT_EQ(ofMany.isCut, rules == 65);
    }
}

TEST(TimeZones, KeepAnOffsetAsLongAsTheySay) {
    const CalendarReading reading = ReadCalendarText(Data("conversion/occurrence_edges.ics"));
    std::set<std::string> seen;
    for (const CalendarItem& item : reading.items) {
        if (item.zones.empty() || !seen.insert(item.zones[0]->name).second) continue;
        const TimeZone& zone = item.zones[0]->offsets;
        constexpr std::int64_t kFirst = 915'148'800;  // 1999
        std::int64_t until = kFirst;
        std::int64_t offset = 0;
        for (std::int64_t local = kFirst; local < kFirst + 8 * 366 * kSecondsPerDay;
             local += 1800) {
            if (local >= until) {
                until = zone.SameUntil(local);
                offset = local - zone.ToUtc(local);
                ASSERT_GT(until, local);
            }
            ASSERT_EQ(offset, local - zone.ToUtc(local)) << item.zones[0]->name << " " << local;
        }
    }
    EXPECT_EQ(seen.size(), 5U);
}

// The characters of a text in UTF-8, read as the standard describes it; nothing for other bytes.
std::optional<std::u32string> Characters(std::string_view text) {
    std::u32string characters;
    for (std::size_t at = 0; at < text.size();) {
        const auto byteAt = [&](std::size_t place) {
            return place < text.size() ? static_cast<unsigned char>(text[place]) : 0U;
        };
        const unsigned first = byteAt(at);
        const std::size_t size = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        char32_t character = size == 1 ? first : first & (0x7FU >> size);
        for (std::size_t more = 1; more < size; ++more) {
            if ((byteAt(at + more) & 0xC0U) != 0x80) return std::nullopt;
            character = character << 6 | (byteAt(at + more) & 0x3FU);
        }
        constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
        const bool isSurrogate = character >= 0xD800 && character < 0xE000;
        if (first >= 0xF8 || (first >= 0x80 && first < 0xC0) || character < kLeast[size - 1] ||
            character > 0x10FFFF || isSurrogate) {
            return std::nullopt;
        }
        characters += character;
        at += size;
    }
    return characters;
}

TEST(TextEncodings, AreThoseOfTheStandard) {
    for (const std::string& text : testing::AllTexts(
             "a\x7F\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xDF\xE0\xED\xEF\xF0\xF3\xF4\xF5", 4)) {
        const auto characters = Characters(text);
        ASSERT_EQ(IsUtf8(text), characters.has_value()) << ::testing::PrintToString(text);
        ASSERT_EQ(IsUtf8("12345678" + text), characters.has_value());
        if (!characters) continue;
        std::string little = "\xFF\xFE";
        std::string big = "\xFE\xFF";
        const auto add = [&](char32_t unit) {
            const char bytes[] = {static_cast<char>(unit), static_cast<char>(unit >> 8)};
            little.append({bytes[0], bytes[1]});
            big.append({bytes[1], bytes[0]});
        };
        for (const char32_t character : *characters) {
            if (character >= 0x10000) add(0xD800 + ((character - 0x10000) >> 10));
            add(character < 0x10000 ? character : 0xDC00 + (character & 0x3FF));
        }
        ASSERT_EQ(Utf8OfUtf16(little), text);
        ASSERT_EQ(Utf8OfUtf16(big + "x"), text) << "and half a unit";
    }
    EXPECT_EQ(Utf8OfUtf16({"\xFF\xFE\0\xD8z\0\0\xDC", 8}), "\xEF\xBF\xBDz\xEF\xBF\xBD");
    EXPECT_EQ(Utf8OfWindows1252("\x7F\x80\x81\x9F\xA0\xFF"),
              "\x7F\xE2\x82\xAC\xC2\x81\xC5\xB8\xC2\xA0\xC3\xBF");
}

TEST(Reading, RefusesWhatHasNoStructure) {
    const std::string calendar = "BEGIN:VCALENDAR\nBEGIN:VEVENT\n";
    const std::string own =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n";
    const std::string ended = "END:VEVENT\nEND:VCALENDAR\n";
    const struct {
        std::string text;
        const char* expected;
    } rows[] = {
        {"", "1: BEGIN:VCALENDAR expected"},
        {"\n\nDear all,\n", "1: BEGIN:VCALENDAR expected"},
        {std::string("BEGIN:VCALENDAR\n\0\n", 18), "2: not a text"},
        {calendar + "BEGIN:VALARM\n", "3: BEGIN:VALARM is never ended"},
        {calendar + "BEGIN:VALARM\nEND:VEVENT\nEND:VALARM\n",
         "4: END:VEVENT where the VALARM of line 3 is open"},
        {calendar + "BEGIN:VEVENT\n", "3: a VEVENT inside the VEVENT of line 2"},
        {calendar + "BEGIN:VALARM\nBEGIN:VTODO\n", "4: a VTODO inside the VEVENT of line 2"},
        {calendar + "BEGIN:VCALENDAR\n", "3: a VCALENDAR inside the VEVENT of line 2"},
        {"BEGIN:VCALENDAR\nBEGIN:VCALENDAR\n", "2: a VCALENDAR inside a VCALENDAR"},
        {calendar + Repeated("BEGIN:X\n", 33), "35: components are nested too deep"},
        {own + "BEGIN:VTODO\r\nUID:1\r\nSUMMARY:s\r\n", "4: BEGIN:VTODO is never ended"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ("failure " + std::string(row.expected) + "\n",
                  Describe(ReadCalendarText(row.text)));
    }
    const std::string deepest = Repeated("BEGIN:X\n", 32) + Repeated("END:X\n", 32);
    EXPECT_FALSE(ReadCalendarText(calendar + deepest + ended).failure);
    EXPECT_EQ("failure 1: BEGIN:VCARD expected\n", Describe(ReadContactText("")));
    EXPECT_EQ("failure 1: BEGIN:VCARD is never ended\n", Describe(ReadContactText("BEGIN:VCARD")));
    EXPECT_EQ("failure 2: END:VCALENDAR where the VCARD of line 1 is open\n",
              Describe(ReadContactText("BEGIN:VCARD\nEND:VCALENDAR")));
    EXPECT_EQ("failure 3: not a text\n",
              Describe(ReadContactText({"BEGIN:VCARD\nEND:VCARD\n\0", 23})));
}

// Times in proportion to the length, or the test does not end.
TEST(Reading, LongTextsTakeTimeInProportion) {
    const std::string begin = "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\n";
    const std::string million(1'000'000, 'x');
    const CalendarReading reading =
        ReadCalendarText(begin + "SUMMARY:" + million + "\r\nEND:VEVENT\r\nEND:VCALENDAR");
    ASSERT_EQ(1U, reading.items.size());
    EXPECT_EQ(PropertyValue(million), reading.items[0].properties.begin()->value);
    // Beginnings of own items whose ends are far away, or that are none.
    const std::string own =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n";
    const std::string event = own +
                              "BEGIN:VEVENT\r\nDTSTART:\r\nDTEND:\r\nUID:\r\nLOCATION:\r\n"
                              "DESCRIPTION:\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n\n";
    const std::string task = own + "BEGIN:VTODO\r\nUID:\r\nEND:VTODO\r\nEND:VCALENDAR\r\n\n";
    EXPECT_EQ(10'000U, ReadCalendarText(Repeated(event + task, 5'000)).items.size());
    const std::string exceptions = Repeated("EXDATE;TZID=A:20240101\r\n", 20'000);
    const auto items = ReadCalendarText(begin + exceptions + "END:VEVENT\r\nEND:VCALENDAR").items;
    EXPECT_EQ(20'000U, items.at(0).schedule.exceptions.size());
}

}  // namespace
}  // namespace tarnwick

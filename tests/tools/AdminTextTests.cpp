#include <gtest/gtest.h>

#include "tools/admin/EntryLines.h"
#include "tools/admin/EntryListing.h"
#include "tools/admin/Failure.h"
#include "tools/admin/ItemLayout.h"
#include "tools/admin/Names.h"

namespace tarnwick::admin {
namespace {

// The failure that `action` ends in: its status and text, or "done".
template <typename Action>
std::string OutcomeOf(Action action) {
    try {
        action();
        return "done";
    } catch (const Failure& failure) {
        return std::to_string(static_cast<int>(failure.Status())) + " " + failure.what();
    }
}

TEST(Names, MailboxesStayBelowTheMailRoot) {
    const Mailbox mailbox = ParseMailbox("sales/anna.b");
    EXPECT_EQ(mailbox.postoffice, "sales");
    EXPECT_EQ(mailbox.name, "anna.b");
    EXPECT_EQ(ParseMailbox(std::string(255, 'p') + "/" + std::string(255, 'm')).name.size(), 255U);
    for (const std::string& text :
         {std::string("anna"), std::string("/anna"), std::string("sales/"), std::string("a/b/c"),
          std::string("../anna"), std::string("sales/.."), std::string("sales/a..b"),
          std::string("sales\\x/anna"), std::string("C:/anna"), std::string("sales/an*na"),
          std::string("sales/anna "), std::string("sales/anna."), std::string("sales/a\tb"),
          std::string("nul/anna"), "sales/" + std::string(256, 'm')}) {
        EXPECT_EQ(OutcomeOf([&] { ParseMailbox(text); }).substr(0, 2), "2 ") << text;
    }
}

TEST(Names, IdsAreThoseThatCalendarsGiveBack) {
    for (const std::string& id :
         {std::string("x"), std::string("New Year's Day (DE)"), std::string("a/b\\c:*?"),
          std::string("\xE4\xFF"), std::string(63, 'i')}) {
        EXPECT_EQ(OutcomeOf([&] { CheckId(id); }), "done") << id;
    }
    // Ctrl-Z would end the calendar file for every reader.
    for (const std::string& id :
         {std::string(), std::string(64, 'i'), std::string("a\tb"), std::string("a\nb"),
          std::string("a\rb"), std::string("a\x1A"), std::string("a\0b", 3)}) {
        EXPECT_EQ(OutcomeOf([&] { CheckId(id); }).substr(0, 2), "2 ") << id;
    }
}

TEST(Names, ItemsCannotReplaceCalendars) {
    for (const char* name : {"agenda.txt", "CAL", "x.cal.txt", "com10.txt", "console"}) {
        EXPECT_EQ(OutcomeOf([&] { CheckItemName(name); }), "done") << name;
    }
    for (const char* name :
         {"Y25M01.CAL", "x.cal", "x.Tmp", "x.bak", "x.OLD", "x.blk", "_change.dty", "..", "a\\b",
          "a/b", "x:stream", "con", "NUL.txt", "lpt1.doc", "x?.txt", ""}) {
        EXPECT_EQ(OutcomeOf([&] { CheckItemName(name); }).substr(0, 2), "2 ") << name;
    }
    EXPECT_EQ(OutcomeOf([] { CheckCalendarName("Y25M01D01"); }), "done");
    EXPECT_EQ(OutcomeOf([] { CheckCalendarName(std::string(64, 'c')); }).substr(0, 2), "2 ");
}

TEST(EntryLines, AreReadWithEitherLineBreakAndTimeStyle) {
    const auto entries = ParseEntryLines(
        "# a heading\r\n"
        "1740787200\t1740873599\tone\r\n"
        "\n"
        "2025-03-01\t2025-03-01T23:59:59Z\ttwo words\n"
        "-1\t0\tlast");
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].line, 2U);
    EXPECT_EQ(entries[0].entry, (Entry{1740787200, 1740873599, "one"}));
    EXPECT_EQ(entries[1].line, 4U);
    EXPECT_EQ(entries[1].entry, (Entry{1740787200, 1740873599, "two words"}));
    EXPECT_EQ(entries[2].line, 5U);
    EXPECT_EQ(entries[2].entry, (Entry{-1, 0, "last"}));
    EXPECT_TRUE(ParseEntryLines("").empty());
}

TEST(EntryLines, NameTheLineThatIsNone) {
    const std::pair<std::string, const char*> rows[] = {
        {"1\t2\tok\n1\t2", "line 2: there are fewer than two tabs"},
        {"1\n", "line 1: there are fewer than two tabs"},
        {"\n\nx\t2\tid\n", "line 3: \"x\" is no time"},
        {"1\t2147483648\tid\n", "line 1: \"2147483648\" is no time"},
        {"1\t\tid\n", "line 1: \"\" is no time"},
        {"1\t2\t\n", "line 1: the ID is empty"},
        {"1\t2\ta\tb\n", "line 1: the ID holds a tab"},
        {"1\t2\t" + std::string(64, 'i'), "line 1: the ID is longer than 63 characters"},
    };
    for (const auto& [text, problem] : rows) {
        const std::string outcome = OutcomeOf([&, &lines = text] { ParseEntryLines(lines); });
        EXPECT_EQ(outcome.substr(0, 2), "1 ") << text;
        EXPECT_NE(outcome.find(problem), std::string::npos) << text << ": " << outcome;
    }
}

TEST(EntryLines, AreWrittenAsTheyAreRead) {
    const Entry entry{1740787200, -1, "two words"};
    EXPECT_EQ(FormatEntryLine(entry, TimeStyle::Seconds), "1740787200\t-1\ttwo words\n");
    EXPECT_EQ(FormatEntryLine(entry, TimeStyle::Iso),
              "2025-03-01T00:00:00Z\t1969-12-31T23:59:59Z\ttwo words\n");
    for (const TimeStyle style : {TimeStyle::Seconds, TimeStyle::Iso}) {
        EXPECT_EQ(ParseEntryLines(FormatEntryLine(entry, style)).at(0).entry, entry);
    }
}

TEST(EntryListing, HasColumnsForPeopleAndObjectsForPrograms) {
    const std::vector<PlacedEntry> entries{{"Y25M03D01", {1740787200, 1740873599, "one"}},
                                           {"Y", {-1, 0, "say \"two\" \xFF"}}};
    EXPECT_EQ(EntryTable(entries),
              "CALENDAR   START                 END                   ID\n"
              "Y25M03D01  2025-03-01T00:00:00Z  2025-03-01T23:59:59Z  one\n"
              "Y          1969-12-31T23:59:59Z  1970-01-01T00:00:00Z  say \"two\" \xFF\n");
    EXPECT_EQ(EntryTable({}), "");
    EXPECT_EQ(EntryListJson({}), "[]\n");
    EXPECT_EQ(EntryJson(entries[1]),
              "{\n"
              "  \"calendar\": \"Y\",\n"
              "  \"id\": \"say \\\"two\\\" \xEF\xBF\xBD\",\n"
              "  \"start\": -1,\n"
              "  \"end\": 0,\n"
              "  \"startTime\": \"1969-12-31T23:59:59Z\",\n"
              "  \"endTime\": \"1970-01-01T00:00:00Z\"\n"
              "}\n");
}

TEST(ItemLayout, SurvivesTheSkippedBytesAtEverySize) {
    std::string content;
    for (std::size_t at = 0; at < 3 * kItemChunkSize + 2; ++at) {
        content += static_cast<char>('a' + at % 23);
    }
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, kItemChunkSize - 1, kItemChunkSize, kItemChunkSize + 1,
          kItemChunkSize + 2, 2 * kItemChunkSize, 2 * kItemChunkSize + 1, std::size_t{20000},
          3 * kItemChunkSize, 3 * kItemChunkSize + 1}) {
        const std::string wanted = content.substr(0, size);
        const std::string file = LaidOutForChunks(wanted);
        EXPECT_EQ(ReadInChunks(file), wanted) << size;
        EXPECT_FALSE(FirstLostByte(file)) << size;
    }
    EXPECT_EQ(LaidOutForChunks(content.substr(0, 20000)).size(), 20002U);
}

TEST(ItemLayout, TellsWhichByteOfAPlainFileIsLost) {
    const std::string plain(20000, 'x');
    EXPECT_EQ(FirstLostByte(plain), 8192U);
    EXPECT_EQ(FirstLostByte(plain.substr(0, 8193)), 8192U);
    EXPECT_FALSE(FirstLostByte(plain.substr(0, 8192)));
    EXPECT_EQ(ReadInChunks("ab" + plain).size(), 20000U);
    std::string half = LaidOutForChunks(plain);
    half[16385] = 'x';
    EXPECT_EQ(FirstLostByte(half), 16385U);
}

}  // namespace
}  // namespace tarnwick::admin

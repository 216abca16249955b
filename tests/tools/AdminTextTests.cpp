#include <gtest/gtest.h>

#include "tools/admin/EntryText.h"
#include "tools/admin/Failure.h"
#include "tools/admin/ItemLayout.h"
#include "tools/admin/Names.h"

namespace tarnwick::admin {
namespace {

using std::string_literals::operator""s;

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
         {"anna"s, "/anna"s, "sales/"s, "a/b/c"s, "../anna"s, "sales/.."s, "sales/a..b"s,
          "sales\\x/anna"s, "C:/anna"s, "sales/an*na"s, "sales/anna "s, "sales/anna."s,
          "sales/a\tb"s, "nul/anna"s, "sales/" + std::string(256, 'm')}) {
        EXPECT_EQ(OutcomeOf([&] { ParseMailbox(text); }).substr(0, 2), "2 ") << text;
    }
}

TEST(Names, IdsAreThoseThatCalendarsGiveBack) {
    for (const std::string& id :
         {"x"s, "New Year's Day (DE)"s, "a/b\\c:*?"s, "\xE4\xFF"s, std::string(63, 'i')}) {
        EXPECT_EQ(OutcomeOf([&] { CheckId(id); }), "done") << id;
    }
    // Ctrl-Z would end the calendar file for every reader.
    for (const std::string& id :
         {""s, std::string(64, 'i'), "a\tb"s, "a\nb"s, "a\rb"s, "a\x1A"s, "a\0b"s}) {
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

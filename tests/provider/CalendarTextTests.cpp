#include "provider/CalendarText.h"

#include <gtest/gtest.h>

#include <random>

#include "provider/CalendarBucketName.h"
#include "tests/provider/NaiveCalendar.h"

namespace tarnwick {
namespace {

constexpr CalendarEntry kNew{7, 8, "N"};
constexpr MatchAction kKeep = MatchAction::Keep;
constexpr MatchAction kDrop = MatchAction::Drop;
constexpr MatchAction kReplace = MatchAction::Replace;
constexpr CalendarChange kAdd{"N", kKeep, kNew};
constexpr CalendarChange kCopy{"C", kDrop, {}};
const std::string kThree = "1\t2\tA\r\n3\t4\tB\r\n5\t6\ta";

const struct {
    const char* name;
    std::string before;
    CalendarChange change;
    std::string after;
    bool matched;
} kRows[] = {
    {"empty calendar gets a first line", "", kAdd, "7\t8\tN", false},
    {"line break at the end is not doubled", "1\t2\tA\r\n", kAdd, "1\t2\tA\r\n7\t8\tN", false},
    {"ids match in any case", "1\t2\tn", kAdd, "1\t2\tn", true},
    {"ids of one ending differ", "1\t2\txn", {"yn", kKeep, kNew}, "1\t2\txn\r\n7\t8\tN", false},
    {"empty id matches any", "1\t2\tA", {"", kKeep, kNew}, "1\t2\tA", true},
    {"drop takes every match", kThree, {"a", kDrop, {}}, "3\t4\tB", true},
    {"drop of all leaves nothing", kThree, {"", kDrop, {}}, "", true},
    {"replace changes each", kThree, {"A", kReplace, kNew}, "7\t8\tN\r\n3\t4\tB\r\n7\t8\tN", true},
    {"absent id changes nothing", kThree, {"C", kReplace, kNew}, kThree, false},
    {"blank lines are left out", "\r\n1\t2\tA\r\n\r\n", kCopy, "1\t2\tA", false},
    {"numbers are normalised", " +01\t-00\tA", kCopy, "1\t0\tA", false},
    {"lowest", "-2147483648\t2147483647\tA", kCopy, "-2147483648\t2147483647\tA", false},
    {"a third tab stays with the id", "1\t2\tA\tmore\t", kCopy, "1\t2\tA\tmore\t", false},
    {"no tab ends when it starts and keeps the id", "1\t2\tA\n9", kCopy, "1\t2\tA\r\n9\t9\tA",
     false},
    {"line break in a new id is text", "", {"N", kKeep, {1, 2, "a\nb"}}, "1\t2\ta\r\nb", false},
};

TEST(ChangeCalendar, GivesTheBytes) {
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        const ChangedCalendar changed = ChangeCalendar(row.before, row.change);
        EXPECT_EQ(changed.bytes, row.after);
        EXPECT_EQ(changed.matched, row.matched);
        EXPECT_EQ(changed.lines == 0, row.after.empty());
    }
}

TEST(ChangeCalendar, LinesThatAreCopiedTogetherReadAsIfEachWereWritten) {
    std::mt19937 random(20110817);
    for (int round = 0; round < 300; ++round) {
        const std::string bytes = testing::LongText(random);
        const auto lines = testing::NaiveLines(bytes);
        ASSERT_EQ(ChangeCalendar(bytes, {"none", kDrop, {}}).bytes, testing::WrittenAnew(lines))
            << "round " << round << ", " << ::testing::PrintToString(bytes);
    }
}

TEST(ChangeCalendar, ALineLongerThanAPieceBecomesTwo) {
    const std::string id(1100, 'x');
    const std::string before = "1\t2\t" + id;
    // What stands behind the 1023rd character is a line without a tab.
    EXPECT_EQ(ChangeCalendar(before, kCopy).bytes,
              "1\t2\t" + id.substr(0, 1019) + "\r\n0\t0\t" + id.substr(0, 1019));
}

TEST(CalendarBucketName, IsTheSmallestThatHoldsBothTimes) {
    struct Row {
        std::int32_t start;
        std::int32_t end;
        const char* name;
    };
    const Row rows[] = {
        {1312329600, 1312415999, "Y11M08D03"},  // the first and last second of a day
        {1312329599, 1312329600, "Y11M08"},     // one second to either side of midnight
        {1312156799, 1312156800, "Y11"},        // of a month's end
        {1293839999, 1293840000, "Y"},          // of a year's end
        {1104537600, 1110000000, "Y5"},         // the one form that is not padded
        {1104537600, 1104537600, "Y05M01D01"},
        {1078012800, 1078012800, "Y04M02D29"},
        {0, 0, "Y-30M01D01"},
        {-1, -1, "Y-31M12D31"},
        {-1, 0, "Y"},
        {2147483647, 2147483647, "Y38M01D19"},
        {-2147483647 - 1, -2147483647 - 1, "Y-99M12D13"},
        {1312415999, 1312329600, "Y11M08D03"},  // the order does not matter
    };
    for (const Row& row : rows) {
        char name[64];
        EXPECT_EQ(MakeCalendarBucketName(row.start, row.end, name), 1);
        EXPECT_STREQ(name, row.name) << row.start << " to " << row.end;
    }
    char small[4] = "xyz";
    MakeCalendarBucketName(1312329600, 1312329600, small);
    EXPECT_STREQ(small, "Y11");
}

}  // namespace
}  // namespace tarnwick

#include <gtest/gtest.h>

#include "provider/CalendarBucketName.h"
#include "tests/provider/NaiveLines.h"
#include "tests/support/Model.h"

namespace tarnwick {
namespace {

// All short texts, and lines as they are found and worse: some of other lengths than most, some
// around that at which they fall into pieces.
TEST(CalendarReader, ReadsShortAndLongTextsAsTheRuntimeDoes) {
    std::string damaged = "12-aA \t\t\t\n\r\n\r\x1b";
    for (int times = 0; times < 6; ++times) damaged += damaged;
    damaged += std::string("\0\x1a\x02\r", 4);
    const std::string alphabets[] = {std::string("7\t\n\r\x1a\0", 6), "17aA\t\t\n", damaged,
                                     std::string(1000, '7') + "\t\t\t\n\r\n"};
    for (const std::string& alphabet : alphabets) {
        const bool isShort = alphabet.size() == 6;
        testing::CompareWithModel(
            alphabet, isShort ? 5 : 1, 100, isShort ? 40 : 9000, [](const std::string& bytes) {
                const auto lines = testing::NaiveLines(bytes);
                const std::size_t some = bytes.size() * 7919 % (lines.size() + 2);
                return testing::ReaderDifference(bytes, some < lines.size() ? lines[some].id : "",
                                                 some);
            });
    }
}

TEST(CalendarBucketName, IsTheSmallestThatHoldsBothTimes) {
    const std::tuple<std::int32_t, std::int32_t, const char*> rows[] = {
        {1312329600, 1312415999, "Y11M08D03"},  // the first and last second of a day
        {1312329599, 1312329600, "Y11M08"},     // one second to either side of midnight
        {1312156799, 1312156800, "Y11"},        // of a month's end
        {1293839999, 1293840000, "Y"},          // of a year's end
        {1104537600, 1110000000, "Y5"},         // the one form that is not padded
        {1104537600, 1104537600, "Y05M01D01"}, {-2147483647 - 1, -2147483647 - 1, "Y-99M12D13"},
        {1312415999, 1312329600, "Y11M08D03"},  // the order does not matter
    };
    for (const auto& [start, end, expected] : rows) {
        char name[10];
        MakeCalendarBucketName(start, end, name);
        EXPECT_EQ(name, std::string(expected).substr(0, 9)) << start << " to " << end;
    }
}

}  // namespace
}  // namespace tarnwick

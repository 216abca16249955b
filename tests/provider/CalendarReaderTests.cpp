#include <gtest/gtest.h>

#include "provider/CalendarBucketName.h"
#include "tests/provider/NaiveLines.h"
#include "tests/support/AllTexts.h"
#include "tests/support/Model.h"

namespace tarnwick {
namespace {

// Every text of up to five bytes over the ones that mean something.
TEST(CalendarReader, ReadsAllShortTextsAsTheRuntimeDoes) {
    for (const std::string& bytes : testing::AllTexts(std::string_view("7\t\n\r\x1a\0", 6), 5)) {
        ASSERT_TRUE(testing::Agrees(bytes, [](const std::string& text) {
            return testing::ReaderDifference(text, "7", text.size() / 2);
        }));
    }
}

TEST(CalendarReader, ReadsLongTextsAsTheRuntimeDoes) {
    for (unsigned variant = 0; variant < 3; ++variant) {
        testing::ExpectAgreement(100, testing::LongText, [&](const std::string& bytes) {
            const auto lines = testing::NaiveLines(bytes);
            const std::size_t some = bytes.size() * (variant + 1) * 7919 % (lines.size() + 2);
            const bool any = variant == 0 || some >= lines.size();
            return testing::ReaderDifference(bytes, any ? "" : lines[some].id, some);
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
        {1104537600, 1104537600, "Y05M01D01"},
        {1078012800, 1078012800, "Y04M02D29"},
        {-1, -1, "Y-31M12D31"},
        {2147483647, 2147483647, "Y38M01D19"},
        {-2147483647 - 1, -2147483647 - 1, "Y-99M12D13"},
        {1312415999, 1312329600, "Y11M08D03"},  // the order does not matter
    };
    for (const auto& [start, end, expected] : rows) {
        char name[64];
        EXPECT_EQ(MakeCalendarBucketName(start, end, name), 1);
        EXPECT_STREQ(name, expected) << start << " to " << end;
    }
    char small[4] = "xyz";
    MakeCalendarBucketName(1312329600, 1312329600, small);
    EXPECT_STREQ(small, "Y11");
}

}  // namespace
}  // namespace tarnwick

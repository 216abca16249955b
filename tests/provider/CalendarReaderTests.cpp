#include <gtest/gtest.h>

#include <random>

#include "tests/provider/NaiveCalendar.h"
#include "tests/support/AllTexts.h"

namespace tarnwick {
namespace {

using testing::NaiveLine;
using testing::NaiveLines;
using testing::ReadLines;

std::string Shown(const std::string& bytes) {
    return ::testing::PrintToString(bytes);
}

void ExpectMatches(const std::string& bytes, const std::vector<NaiveLine>& lines,
                   const std::string& id) {
    ASSERT_EQ(testing::ReadMatches(bytes, id), testing::MatchesAmong(lines, id))
        << Shown(id) << " in " << Shown(bytes);
}

// Every text of up to six bytes over the ones that mean something.
TEST(CalendarReader, ReadsAllShortTextsAsTheRuntimeDoes) {
    for (const std::string& bytes : testing::AllTexts(std::string_view("7\t\n\r\x1a\0", 6), 6)) {
        const auto lines = NaiveLines(bytes);
        ASSERT_EQ(ReadLines(bytes), lines) << Shown(bytes);
        ExpectMatches(bytes, lines, "7");
    }
}

TEST(CalendarReader, ReadsLongTextsAsTheRuntimeDoes) {
    std::mt19937 random(20110803);
    for (int round = 0; round < 300; ++round) {
        const std::string bytes = testing::LongText(random);
        const std::vector<NaiveLine> lines = NaiveLines(bytes);
        ASSERT_EQ(ReadLines(bytes), lines) << "round " << round;
        ExpectMatches(bytes, lines, "");
        for (int id = 0; id < 5; ++id) {
            ExpectMatches(bytes, lines, std::get<2>(lines[random() % lines.size()]));
        }
    }
}

TEST(CalendarReader, SkippingIsReadingWithoutALook) {
    std::mt19937 random(20110815);
    for (int round = 0; round < 20; ++round) {
        const std::string bytes = testing::LongText(random) + "\r\nno tab";
        const std::vector<NaiveLine> lines = NaiveLines(bytes);
        const auto count = static_cast<std::int32_t>(lines.size());
        for (std::int32_t skipped = 0; skipped <= count; ++skipped) {
            const std::vector<NaiveLine> rest = ReadLines(bytes, skipped);
            ASSERT_EQ(rest.size(), static_cast<std::size_t>(count - skipped)) << skipped;
            // A start is each line's own, unlike an ID.
            for (std::size_t line = 0; line < rest.size(); ++line) {
                ASSERT_EQ(std::get<0>(rest[line]),
                          std::get<0>(lines[static_cast<std::size_t>(skipped) + line]))
                    << skipped << ", " << line;
            }
        }
        EXPECT_TRUE(ReadLines(bytes, count + 1).empty());
    }
    // A line that was passed over lends its ID to nobody.
    EXPECT_EQ(ReadLines("1\t2\tA\r\n3", 1), (std::vector<NaiveLine>{{"3", "3", "", false}}));
}

}  // namespace
}  // namespace tarnwick

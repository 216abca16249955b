#include <gtest/gtest.h>

#include <random>

#include "tests/provider/NaiveCalendar.h"
#include "tests/support/AllTexts.h"

namespace tarnwick {
namespace {

using testing::MemorySource;
using testing::NaiveLine;
using testing::NaiveLines;
using testing::ReadLines;

std::string Shown(const std::string& bytes) {
    return ::testing::PrintToString(bytes);
}

// Every text of up to six bytes over the ones that mean something.
TEST(CalendarReader, ReadsAllShortTextsAsTheRuntimeDoes) {
    for (const std::string& bytes : testing::AllTexts(std::string_view("7\t\n\r\x1a\0", 6), 6)) {
        ASSERT_EQ(ReadLines(bytes), NaiveLines(bytes)) << Shown(bytes);
    }
}

// Lines around the length at which they fall into pieces, and their line breaks, on both sides of
// block boundaries.
std::string LongText(std::mt19937& random) {
    std::string bytes;
    while (bytes.size() < 5 * CalendarReader::kLeastBlockSize) {
        const std::size_t wanted = random() % 3 == 0 ? 1019 + random() % 9 : random() % 60;
        std::string line = std::to_string(random() % 1000);
        for (unsigned tabs = random() % 4; tabs > 0; --tabs) line += "\tx" + std::to_string(tabs);
        if (line.size() < wanted) line.resize(wanted, 'y');
        if (random() % 40 == 0) line[random() % line.size()] = '\0';
        bytes += line;
        if (random() % 50 == 0) bytes += '\r';
        bytes += random() % 4 == 0 ? "\n" : "\r\n";
    }
    if (random() % 8 == 0) bytes[random() % bytes.size()] = '\x1a';
    bytes.resize(bytes.size() - random() % 3);
    return bytes;
}

TEST(CalendarReader, ReadsAcrossBlocksAsInOnePiece) {
    std::mt19937 random(20110803);
    for (int round = 0; round < 300; ++round) {
        const std::string bytes = LongText(random);
        const std::vector<NaiveLine> lines = NaiveLines(bytes);
        for (std::uint32_t block = CalendarReader::kLeastBlockSize; block < 4200; block += 97) {
            ASSERT_EQ(ReadLines(bytes, 0, block), lines) << "round " << round << ", " << block;
        }
    }
}

TEST(CalendarReader, SkippingIsReadingWithoutALook) {
    std::mt19937 random(20110815);
    for (int round = 0; round < 20; ++round) {
        const std::string bytes = LongText(random) + "\r\nno tab";
        const std::vector<NaiveLine> lines = NaiveLines(bytes);
        const auto count = static_cast<std::int32_t>(lines.size());
        for (std::int32_t skipped = 0; skipped <= count; ++skipped) {
            const std::vector<NaiveLine> rest =
                ReadLines(bytes, skipped, CalendarReader::kLeastBlockSize);
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

TEST(CalendarReader, LinesEndWhereAReadFails) {
    const std::string bytes = "1\t2\tA\r\n" + std::string(CalendarReader::kLeastBlockSize, 'x');
    MemorySource source(bytes, 2);
    CalendarReader reader(source, CalendarReader::kLeastBlockSize);
    EXPECT_FALSE(reader.Failed());
    int lines = 0;
    while (reader.Next()) ++lines;
    EXPECT_EQ(lines, 3);
    EXPECT_TRUE(reader.Failed());
}

}  // namespace
}  // namespace tarnwick

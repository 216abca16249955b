#include <gtest/gtest.h>

#include "common/Scan.h"
#include "common/Text.h"
#include "common/TextFile.h"
#include "tests/support/AllTexts.h"

namespace tarnwick {
namespace {

using testing::AllTexts;

TEST(Scan, AgreesWithTheLibraryAtEveryLengthAndOffset) {
    for (std::size_t size = 0; size < 150; ++size) {
        for (std::size_t at = 0; at <= size; ++at) {
            std::string text(size, '.');
            if (at < size) text[at] = 'x';
            if (at + 20 < size) text[at + 20] = 'x';
            for (const std::size_t from : {std::size_t{0}, at, at + 1, size, size + 1}) {
                EXPECT_EQ(FindByte(text, 'x', from), text.find('x', from)) << size << " " << from;
                EXPECT_EQ(FindEither(text, 'x', 'y', from), text.find('x', from));
                EXPECT_EQ(FindText(text, "x.", from), text.find("x.", from));
            }
        }
    }
    EXPECT_EQ(FindEither("...................y", 'x', 'y'), 19U);
}

TEST(Scan, CountsWhereEveryWindowHasOne) {
    EXPECT_EQ(CountInWindows("", 'x', 'y'), 0U);
    std::string text(8 * kCountWindow, 'x');
    EXPECT_EQ(CountInWindows(text, 'x', 'y'), text.size());
    for (std::size_t step = 1; step < 2 * kCountWindow; ++step) {
        text.assign(text.size(), '.');
        std::size_t count = 0;
        for (std::size_t at = step - 1; at < text.size(); at += step, ++count) text[at] = 'x';
        bool everywhere = true;
        for (std::size_t at = 0; at < text.size(); at += kCountWindow) {
            everywhere = everywhere && text.substr(at, kCountWindow).find('x') != std::string::npos;
        }
        ASSERT_EQ(CountInWindows(text, 'x', 'y'), everywhere ? count : 0) << step;
        text[step * 3 % text.size()] = 'y';
        ASSERT_EQ(CountInWindows(text, 'x', 'y'), 0U) << step;
    }
}

TEST(Scan, FindsEachAtEveryLengthAndStep) {
    for (std::size_t size = 0; size < 9000; size += 1 + size / 7) {
        for (const std::size_t step : {1U, 2U, 3U, 7U, 16U, 19U}) {
            std::string text(size, '.');
            std::vector<std::size_t> expected;
            for (std::size_t at = step - 1; at < size; at += step) {
                text[at] = 'x';
                expected.push_back(at);
            }
            for (const std::size_t room : {0U, 1U, 2U, 5U, 11U, 40U}) {
                std::vector<std::size_t> found(room);
                found.resize(FindEach(text, 'x', found));
                const std::size_t count = std::min(room, expected.size());
                ASSERT_TRUE(found.size() == count &&
                            std::equal(found.begin(), found.end(), expected.begin()))
                    << size << " " << step << " " << room;
            }
        }
    }
}

TEST(Scan, FindTextAgreesOnAllShortTexts) {
    for (const std::string& text : AllTexts("ab", 7)) {
        for (const std::string& wanted : AllTexts("ab", 3)) {
            ASSERT_EQ(FindText(text, wanted), text.find(wanted)) << text << " / " << wanted;
            ASSERT_EQ(FindTextIgnoreCase(text, wanted), text.find(wanted));
        }
    }
    EXPECT_EQ(FindTextIgnoreCase("xxMULTIPART/Mixed", "multipart/mixed"), 2U);
}

TEST(Scan, BoundedLengthStaysInTheField) {
    const std::vector<char> field(256, 'a');
    EXPECT_EQ(BoundedLength(field.data(), field.size()), 256U);
    EXPECT_EQ(FieldText(std::span(field.data(), 7)).size(), 7U);
    EXPECT_EQ(BoundedLength("ab\0cd", 5), 2U);
}

TEST(DelimitedField, GivesTheLastFieldBeyondTheLastAndLeavesTheBufferWhenThereIsNone) {
    const struct {
        const char* text;
        const char* delimiter;
        int number;
        bool result;
        const char* output;
    } cases[] = {
        {"10\t20\tABC", "\t", 1, true, "10"},
        {"10\t20\tABC", "\t", 3, true, "ABC"},
        {"10\t20\tABC", "\t", 4, true, "ABC"},
        {"10", "\t", 2, false, "kept"},
        {"10", "\t", -5, true, "10"},
        {"a\t\tb", "\t", 2, true, ""},
        {"a::b::c", "::", 2, true, "b"},
        {"\t", "\t", 2, true, ""},
        {"", "\t", 1, true, ""},
        {"", "\t", 2, false, "kept"},
        {"12345678", "\t", 1, false, ""},
        {"1234567", "\t", 1, true, "1234567"},
        {"10\t20", "\t", 0, true, "10"},
    };
    for (const auto& row : cases) {
        char output[8] = "kept";
        EXPECT_EQ(GetDelimitedField(row.text, row.delimiter, row.number, output), row.result)
            << row.text << " field " << row.number;
        EXPECT_STREQ(output, row.output) << row.text << " field " << row.number;
    }
}

TEST(TextBetween, NeedsBothMarkersAndCutsToTheOutput) {
    const struct {
        const char* text;
        const char* first;
        const char* second;
        std::size_t result;
        const char* output;
    } cases[] = {
        {"Y11M08D03.CAL", "D", ".", 10, "03"},
        {"Y11M08.CAL", "D", ".", 0, "kept"},
        {"D.", "D", ".", 2, ""},
        {".D", "D", ".", 0, "kept"},
        {"abc.x", "", ".", 4, "abc"},
        {"D123456789.", "D", ".", 11, "1234567"},
    };
    for (const auto& row : cases) {
        char output[8] = "kept";
        EXPECT_EQ(GetTextBetween(row.text, row.first, row.second, output), row.result) << row.text;
        EXPECT_STREQ(output, row.output) << row.text;
    }
}

TEST(ParseInteger, NeverFails) {
    const struct {
        const char* text;
        std::int32_t number;
    } cases[] = {
        {"x1", 0},
        {"12x", 12},
        {"  -7", -7},
        {"+5", 5},
        {"+-5", 0},
        {"-", 0},
        {"\t\n7", 7},
        {"007", 7},
        {"2147483647", INT32_MAX},
        {"2147483648", INT32_MAX},
        {"-2147483648", INT32_MIN},
        {"-99999999999999999999", INT32_MIN},
    };
    for (const auto& row : cases) EXPECT_EQ(ParseInt32(row.text), row.number) << row.text;
    EXPECT_EQ(ParseInt64("99999999999"), 99999999999);
}

// Every text of up to four bytes around the digits, alone and as the end of longer numbers.
TEST(IsPrintedInt32, IsTrueOfWhatIsPrintedAgainAlone) {
    for (const std::string& text : AllTexts("019-/:", 4)) {
        for (const char* front : {"", "1", "12345", "199999", "2000000", "12345678"}) {
            const std::string number = front + text;
            std::string printed;
            AppendDecimal(printed, ParseInt32(number));
            const bool isRare = printed[0] == '-' || ParseInt32(number) >= 2'000'000'000;
            ASSERT_EQ(IsPrintedInt32(number), number == printed && !isRare) << number;
        }
    }
}

TEST(FormatPath, IsLiteralAndBounded) {
    EXPECT_EQ(FormatPath("%s\\%s.CAL", {"", "a%sb"}), "\\a%sb.CAL");
    EXPECT_EQ(FormatPath("%s\\x", {std::string(2000, 'a')}), std::string(1023, 'a'));
}

TEST(TextMode, PairsBecomeLineBreaksAndControlZEnds) {
    const struct {
        std::string disk;
        std::string text;
    } cases[] = {
        {"a\r\nb", "a\nb"},
        {"a\r", "a\r"},
        {"\r\r\n", "\r\n"},
        {"a\x1a"
         "b",
         "a"},
        {"a\nb\r\n\r\n", "a\nb\n\n"},
    };
    for (const auto& row : cases) {
        std::string bytes = row.disk;
        DecodeTextMode(bytes);
        EXPECT_EQ(bytes, row.text) << row.disk;
    }
    std::string written;
    AppendTextMode(written, "a\n\nb\r");
    EXPECT_EQ(written, "a\r\n\r\nb\r");
}

// Every text of up to seven bytes over the ones that mean something.
TEST(TextModeLines, GiveWhatTheDecodedTextsPiecesHold) {
    constexpr std::size_t kBufferSize = 4;
    for (const std::string& bytes : AllTexts(std::string("a\r\n\x1a\0", 5), 7)) {
        std::string decoded = bytes;
        DecodeTextMode(decoded);
        LineReader pieces(decoded, kBufferSize);
        TextModeLines lines(bytes, kBufferSize);
        while (const auto piece = pieces.NextPiece()) {
            ASSERT_EQ(lines.Next(), LineText(*piece)) << ::testing::PrintToString(bytes);
        }
        ASSERT_EQ(lines.Next(), std::nullopt) << ::testing::PrintToString(bytes);
    }
}

TEST(LineReader, CutsLongLinesIntoPieces) {
    const std::string text = "ab\n\nabcdef\nabcde";
    LineReader reader(text, 5);
    std::vector<std::string> pieces;
    while (const auto piece = reader.NextPiece()) pieces.emplace_back(*piece);
    EXPECT_EQ(pieces, (std::vector<std::string>{"ab\n", "\n", "abcd", "ef\n", "abcd", "e"}));
    using namespace std::string_view_literals;
    EXPECT_EQ(LineText("ab\n"), "ab");
    EXPECT_EQ(LineText("a\0b\n"sv), "a");
    EXPECT_EQ(LineText("\n"), "");
}

TEST(TextComparison, FoldsLettersOnly) {
    EXPECT_TRUE(EqualsIgnoreCase("aZ@[", "Az@["));
    EXPECT_FALSE(EqualsIgnoreCase("@", "`"));
    EXPECT_FALSE(EqualsIgnoreCase("a", "ab"));
    EXPECT_FALSE(EqualsIgnoreCase("\xC4", "\xE4"));
}

}  // namespace
}  // namespace tarnwick

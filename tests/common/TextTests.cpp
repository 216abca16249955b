// Each helper beside what the standard library makes of all short texts, and of long ones at every
// offset.
#include "common/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "common/Scan.h"
#include "common/TextFile.h"
#include "tests/support/AllTexts.h"

namespace tarnwick {
namespace {

using testing::AllTexts;

TEST(Scan, AgreesWithTheLibraryAtEveryLengthAndOffset) {
    constexpr std::string_view kEither("x\0", 2);
    for (std::size_t size = 0; size < 150; ++size) {
        for (std::size_t at = 0; at <= size; ++at) {
            std::string text(size, '.');
            if (at < size) text[at] = 'x';
            if (at + 20 < size) text[at + 20] = '\0';
            for (const std::size_t from : {std::size_t{0}, at, at + 1, size, size + 1}) {
                ASSERT_EQ(FindByte(text, 'x', from), text.find('x', from)) << size << " " << from;
                ASSERT_EQ(FindEither(text, 'x', '\0', from), text.find_first_of(kEither, from));
                ASSERT_EQ(FindText(text, "x.", from), text.find("x.", from));
            }
            ASSERT_EQ(BoundedLength(text.c_str(), at), at);
        }
    }
    EXPECT_EQ(BoundedLength("ab\0cd", 5), 2U);
    for (const std::string& text : AllTexts("ab", 7)) {
        for (const std::string& wanted : AllTexts("ab", 3)) {
            for (const std::size_t from : {0U, 1U, 7U, 8U}) {
                ASSERT_EQ(FindText(text, wanted, from), text.find(wanted, from)) << text;
                ASSERT_EQ(FindTextIgnoreCase(text, wanted, from), text.find(wanted, from));
            }
        }
    }
    EXPECT_EQ(FindTextIgnoreCase("xxMULTIPART/Mixed", "multipart/mixed"), 2U);
    EXPECT_EQ(FindTextIgnoreCase("xx{ultipart", "[ultipart"), kNotFound);
}

// Bytes a step apart, and one of another kind among them.
TEST(Scan, FindsAndCountsEachAtEveryStep) {
    EXPECT_EQ(CountInWindows("", 'x', 'y'), 0U);
    for (std::size_t step = 1; step < 2 * kCountWindow; ++step) {
        std::string text(8 * kCountWindow, '.');
        std::vector<std::size_t> expected;
        for (std::size_t at = step - 1; at < text.size(); at += step) {
            text[at] = 'x';
            expected.push_back(at);
        }
        bool everywhere = true;
        for (std::size_t at = 0; at < text.size(); at += kCountWindow) {
            everywhere = everywhere && text.substr(at, kCountWindow).find('x') != std::string::npos;
        }
        ASSERT_EQ(CountInWindows(text, 'x', 'y'), everywhere ? expected.size() : 0) << step;
        for (const std::size_t room : {0U, 1U, 2U, 5U, 11U, 40U, 5000U}) {
            std::vector<std::size_t> found(room);
            found.resize(FindEach(text, 'x', found));
            const auto count = static_cast<std::ptrdiff_t>(std::min(room, expected.size()));
            ASSERT_EQ(found, std::vector(expected.begin(), expected.begin() + count)) << step;
        }
        text[step * 3 % text.size()] = 'y';
        ASSERT_EQ(CountInWindows(text, 'x', 'y'), 0U) << step;
        std::vector<std::size_t> found(9000);
        const std::string_view cut(text.data(), std::min(step * 7, text.size()));
        ASSERT_EQ(FindEach(cut, 'x', found), std::ranges::count(cut, 'x')) << step;
    }
}

// Beyond the last field the last.
std::string NthField(std::string text, const std::string& delimiter, int number) {
    for (; number > 1 && text.find(delimiter) != kNotFound; --number) {
        text.erase(0, text.find(delimiter) + delimiter.size());
    }
    return text.substr(0, text.find(delimiter));
}

// Fields and what stands between markers go into an area of four bytes that held "old".
TEST(Fields, AreFoundInAllShortTextsAndPutIntoPaths) {
    for (const std::string& text : AllTexts("abD.", 6)) {
        for (const std::string delimiter : {"D", "D."}) {
            const std::size_t first = text.find(delimiter);
            for (int number = -1; number < 5; ++number) {
                // Without a delimiter there is one field alone.
                const bool isMissing = first == kNotFound && number > 1;
                const std::string field = NthField(text, delimiter, number);
                char output[4] = "old";
                ASSERT_EQ(GetDelimitedField(text, delimiter, number, output),
                          !isMissing && field.size() < 4)
                    << text << " " << number;
                ASSERT_STREQ(output, isMissing ? "old" : field.size() < 4 ? field.c_str() : "");
            }
            char output[4] = "old";
            const std::size_t begin = first + delimiter.size();
            const std::size_t second = first == kNotFound ? first : text.find('.', begin);
            const bool found = second != kNotFound;
            ASSERT_EQ(GetTextBetween(text, delimiter, ".", output), found ? second + 1 : 0) << text;
            ASSERT_EQ(std::string(output),
                      found ? text.substr(begin, std::min<std::size_t>(second - begin, 3)) : "old");
        }
    }
    EXPECT_EQ(FieldText(std::span("abc", 2)), "ab");
    EXPECT_FALSE(GetDelimitedField("a", "D", 1, {}));
    EXPECT_EQ(FormatPath("%s\\%s.CAL", {"", "a%sb"}), "\\a%sb.CAL");
    EXPECT_EQ(FormatPath("%s\\x", {std::string(2000, 'a')}), std::string(1023, 'a'));
    EXPECT_EQ(FormatPath("%s\\x", {"a", "b"}), "a\\x");
}

void ExpectNumber(const std::string& text) {
    const long long value =
        std::clamp<long long>(std::strtoll(text.c_str(), nullptr, 10), INT32_MIN, INT32_MAX);
    ASSERT_EQ(ParseInt32(text), value) << ::testing::PrintToString(text);
    std::string printed;
    AppendDecimal(printed, value);
    ASSERT_EQ(printed, std::to_string(value));
    const bool isRare = value < 0 || value >= 2'000'000'000;
    ASSERT_EQ(IsPrintedInt32(text), text == printed && !isRare) << ::testing::PrintToString(text);
}

// Every text of up to four bytes around the digits, alone and as the end of longer numbers; each
// byte at each place of numbers of every length.
TEST(Numbers, AreReadAsTheRuntimeDoesAndHeldAtTheirLimits) {
    for (const std::string& text : AllTexts("019+- \t\v/:x", 4)) {
        for (const char* front : {"", "1", "-214748364", "199999", "214748364", "12345678"}) {
            ExpectNumber(front + text);
        }
    }
    for (std::size_t size = 1; size < 12; ++size) {
        for (std::size_t at = 0; at < size; ++at) {
            for (int byte = 0; byte < 256; ++byte) {
                std::string number = std::string("12345678901").substr(0, size);
                number[at] = static_cast<char>(byte);
                ExpectNumber(number);
            }
        }
    }
    EXPECT_EQ(ParseInt64("99999999999"), 99999999999);
    EXPECT_EQ(ParseInt32("-99999999999999999999"), INT32_MIN);
}

// Every text of up to seven bytes over the ones that mean something, in pieces of three.
TEST(TextFiles, AreDecodedAndCutAsInTheRuntimesTextMode) {
    constexpr std::size_t kBufferSize = 4;
    for (const std::string& bytes : AllTexts(std::string("a\r\n\x1a\0", 5), 7)) {
        std::string text;
        for (std::size_t at = 0; at < bytes.size() && bytes[at] != '\x1a'; ++at) {
            if (bytes.compare(at, 2, "\r\n") != 0) text += bytes[at];
        }
        std::string decoded = bytes;
        DecodeTextMode(decoded);
        ASSERT_EQ(decoded, text) << ::testing::PrintToString(bytes);
        LineReader pieces(decoded, kBufferSize);
        TextModeLines lines(bytes, kBufferSize);
        for (std::size_t at = 0; at < text.size();) {
            const std::string piece =
                text.substr(at, std::min(text.find('\n', at) - at, kBufferSize - 2) + 1);
            const std::string line = piece.c_str();
            ASSERT_EQ(pieces.NextPiece(), piece) << ::testing::PrintToString(bytes);
            ASSERT_EQ(LineText(piece), line.substr(0, line.find('\n')))
                << ::testing::PrintToString(bytes);
            ASSERT_EQ(lines.Next(), LineText(piece)) << ::testing::PrintToString(bytes);
            at += piece.size();
        }
        ASSERT_EQ(pieces.NextPiece(), std::nullopt) << ::testing::PrintToString(bytes);
        ASSERT_EQ(lines.Next(), std::nullopt) << ::testing::PrintToString(bytes);
    }
    std::string written;
    AppendTextMode(written, "a\n\nb\r");
    EXPECT_EQ(written, "a\r\n\r\nb\r");
}

TEST(TextComparison, FoldsLettersOnly) {
    const auto lower = [](int byte) { return byte < 128 ? std::tolower(byte) : byte; };
    for (int pair = 0; pair < 256 * 256; ++pair) {
        for (const std::string& around : {std::string(), std::string(9, 'x')}) {
            ASSERT_EQ(EqualsIgnoreCase(around + static_cast<char>(pair >> 8),
                                       around + static_cast<char>(pair & 255)),
                      lower(pair >> 8) == lower(pair & 255))
                << pair;
        }
    }
    EXPECT_FALSE(EqualsIgnoreCase("a", "ab") || StartsWithIgnoreCase("a", "ab"));
}

}  // namespace
}  // namespace tarnwick

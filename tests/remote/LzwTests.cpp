#include "remote/Lzw.h"

#include <gtest/gtest.h>

#include "tests/remote/CodecBytes.h"
#include "tests/remote/PlainCodec.h"
#include "tests/support/AllTexts.h"
#include "tests/support/Model.h"

namespace tarnwick {
namespace {

using testing::Agrees;
using testing::AllTexts;
using testing::Bytes;
using testing::BytesOf;
using testing::Noise;
using testing::TextOf;

std::string Compressed(std::string_view text) {
    Bytes stream(LzwWorstSize(text.size()));
    stream.resize(LzwCompress(std::as_bytes(std::span(text)), stream));
    return TextOf(stream);
}

// The expansion of a stream, from its first byte on, into an area that ends where the sanitizers
// look, beside the plain one.
std::string ExpansionDifference(const std::string& stream, std::size_t size) {
    Bytes area(size);
    const LzwExpansion expansion = LzwExpand(std::as_bytes(std::span(stream)), area);
    area.resize(expansion.length);
    const auto [plain, fault] = testing::PlainExpand(stream, size);
    if (expansion.fault != fault) return "the fault";
    return TextOf(area) == plain ? "" : "the bytes";
}

// The quick coder writes the plain coder's codes, and the text comes back from them.
std::string CodingDifference(const std::string& text) {
    const std::string stream = Compressed(text);
    if (stream != testing::PlainCompress(text)) return "the codes";
    Bytes area(text.size());
    const LzwExpansion whole = LzwExpand(std::as_bytes(std::span(stream)), area);
    if (whole.fault != LzwFault::None || TextOf(area) != text) return "the text";
    return "";
}

TEST(Lzw, KnownStreams) {
    using std::string_literals::operator""s;
    EXPECT_EQ(Compressed(""), "");
    EXPECT_EQ(Compressed("ABABABA"), "A\0B\0\0\1\2\1"s);
    EXPECT_EQ(Compressed("\xFF\xFF\xFF\xFF"), "\xFF\0\0\1\xFF\0"s);
    Bytes area(7, std::byte{'#'});
    EXPECT_EQ(LzwCompress(BytesOf("aaaa"), area), 0U) << "below the worst case nothing is written";
    EXPECT_EQ(TextOf(area), "#######");
    // Runs of 1, 2 ... 62 bytes add the entries 256 to 317, the last of 63 bytes. Four more runs of
    // 62 add those 63 bytes again, a fifth its 62 bytes and the "x": so "xy" is 323.
    const std::string runs = Compressed(std::string(62 * 63 / 2 + 5 * 62, 'a') + "xyxy");
    EXPECT_EQ(runs.substr(runs.size() - 8), "\x3C\1x\0y\0\x43\1"s);
}

TEST(Lzw, CodesAllShortTextsLikeThePlainCoder) {
    for (const std::string& text : AllTexts("ab", 12)) ASSERT_TRUE(Agrees(text, CodingDifference));
    for (const std::string& text : AllTexts("abc", 7)) ASSERT_TRUE(Agrees(text, CodingDifference));
    // Behind runs up to the longest string, and dictionaries nearly and wholly full.
    for (const std::string& head :
         {std::string(62 * 63 / 2, 'a'), std::string(62 * 70, 'a'), Noise(760, 1), Noise(1500, 2),
          Noise(600, 3) + std::string(62 * 40, 'a')}) {
        for (const std::string& tail : AllTexts("ab", 4)) {
            ASSERT_TRUE(Agrees(head + tail, CodingDifference));
        }
    }
}

TEST(Lzw, CodesLongTextsLikeThePlainCoder) {
    testing::ExpectAgreement(60, testing::MixedText, CodingDifference);
}

// Codes low byte first: single bytes, those that are being added, far ones, the lost string.
TEST(LzwExpand, StopsAtAllShortStreamsLikeThePlainExpander) {
    const std::string codes[] = {{'a', 0},    {'b', 0},        {0, 1},      {1, 1},
                                 {2, 1},      {'\xFE', 3},     {'\xFF', 3}, {'\xFF', '\x7F'},
                                 {0, '\x80'}, {'\xFF', '\xFF'}};
    for (const std::string& letters : AllTexts("0123456789", 4)) {
        std::string stream;
        for (const char letter : letters) stream += codes[letter - '0'];
        for (std::size_t size = 0; size < 7; ++size) {
            ASSERT_EQ(ExpansionDifference(stream, size), "") << letters << " into " << size;
            ASSERT_EQ(ExpansionDifference(stream + 'a', size), "") << letters << " into " << size;
        }
    }
}

// Long streams whole, cut, with a code changed, and into areas that are too small. The last two
// bytes say what is done.
TEST(LzwExpand, StopsInLongStreamsLikeThePlainExpander) {
    testing::ExpectAgreement(
        400,
        [](std::mt19937& random) {
            std::string stream = Compressed(testing::MixedText(random));
            stream.resize(stream.size() - (random() % 2 == 0 ? random() % stream.size() : 0));
            if (stream.size() > 1 && random() % 2 == 0) {
                const std::size_t at = random() % (stream.size() / 2) * 2;
                stream[at] = static_cast<char>(random());
                stream[at + 1] = static_cast<char>(random() % 5);
            }
            return stream;
        },
        [](const std::string& stream) {
            Bytes whole(20000);
            const std::size_t size = LzwExpand(std::as_bytes(std::span(stream)), whole).length;
            for (const std::size_t less : {0U, 1U, 2U, 15U, 40U, 70U, 1000U}) {
                const std::string difference =
                    ExpansionDifference(stream, size > less ? size - less : 0);
                if (!difference.empty()) return difference + " of " + std::to_string(size);
            }
            return ExpansionDifference(stream, whole.size());
        });
    // Entries behind the last one that fits: 767 codes add 766, the next may name 1022. And entries
    // as long as the longest string and one byte more, just added or old.
    std::vector<std::pair<std::string, int>> ends;
    for (std::size_t singles = 764; singles < 770; ++singles) {
        std::string head;
        for (const char byte : Noise(singles, 4)) head += {byte, '\0'};
        for (const int code : {1021, 1022, 1023}) ends.emplace_back(head, code);
    }
    const std::string runs = Compressed(std::string(62 * 63 / 2, 'a'));
    for (const int code : {315, 316, 317, 318}) {
        ends.emplace_back(runs, code);
        ends.emplace_back(runs + std::string("b\0", 2), code);
    }
    for (const auto& [head, code] : ends) {
        const std::string end = {static_cast<char>(code), static_cast<char>(code >> 8)};
        ASSERT_EQ(ExpansionDifference(head + end + end, 4000), "") << head.size() << " " << code;
    }
}

}  // namespace
}  // namespace tarnwick

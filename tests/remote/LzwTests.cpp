#include <gtest/gtest.h>

#include "remote/Lzw.h"
#include "tests/remote/CodecBytes.h"
#include "tests/remote/PlainLzw.h"
#include "tests/support/AllTexts.h"

namespace tarnwick {
namespace {

using testing::AllTexts;
using testing::Bytes;
using testing::BytesOf;
using testing::Codes;
using testing::Noise;
using testing::Stream;

std::string TextOf(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Codes CodesOf(std::span<const std::byte> stream) {
    Codes codes;
    for (std::size_t at = 0; at + 1 < stream.size(); at += 2) {
        codes.push_back(std::to_integer<unsigned>(stream[at]) |
                        std::to_integer<unsigned>(stream[at + 1]) << 8);
    }
    return codes;
}

Bytes Compressed(std::string_view text) {
    Bytes stream(LzwWorstSize(text.size()));
    stream.resize(LzwCompress(std::as_bytes(std::span(text)), stream));
    return stream;
}

Bytes PlainCompressed(std::string_view text) {
    Bytes stream(LzwWorstSize(text.size()));
    stream.resize(testing::PlainCompress(reinterpret_cast<const std::uint8_t*>(text.data()),
                                         text.size(),
                                         reinterpret_cast<std::uint8_t*>(stream.data())));
    return stream;
}

std::string PlainExpanded(const Bytes& stream, std::size_t size) {
    std::string text(size, '\0');
    text.resize(testing::PlainExpand(reinterpret_cast<const std::uint8_t*>(stream.data()),
                                     stream.size(), reinterpret_cast<std::uint8_t*>(text.data())));
    return text;
}

// The expansion into an area of `size` bytes as "fault:text".
std::string Expanded(std::span<const std::byte> stream, std::size_t size) {
    Bytes area(size);
    const LzwExpansion expansion = LzwExpand(stream, area);
    return std::to_string(static_cast<int>(expansion.fault)) + ":" +
           TextOf(std::span(area).first(expansion.length));
}

// The quick coder writes the plain coder's codes, and both texts come back from them.
::testing::AssertionResult AgreesWithPlain(const std::string& text) {
    const Bytes stream = Compressed(text);
    if (stream != PlainCompressed(text)) return ::testing::AssertionFailure() << "codes differ";
    if (Expanded(stream, text.size()) != "0:" + text) {
        return ::testing::AssertionFailure() << "expansion differs";
    }
    if (!text.empty() && PlainExpanded(stream, text.size()) != text) {
        return ::testing::AssertionFailure() << "the plain expansion differs";
    }
    return ::testing::AssertionSuccess();
}

TEST(Lzw, KnownStreams) {
    const struct {
        std::string text;
        Codes codes;
    } cases[] = {
        {"", {}},
        {"A", {65}},
        {"AA", {65, 65}},
        {"AAA", {65, 256}},
        {"ABABABA", {65, 66, 256, 258}},
        {"\xFF\xFF\xFF\xFF", {255, 256, 255}},
        {std::string(10, '\0'), {0, 256, 257, 258}},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(CodesOf(Compressed(row.text)), row.codes) << row.text;
        EXPECT_TRUE(AgreesWithPlain(row.text)) << row.text;
    }
    EXPECT_EQ(TextOf(Compressed("A")), std::string("\x41\0", 2));
}

TEST(Lzw, AgreesWithThePlainCoderOnAllShortTexts) {
    for (const std::string& text : AllTexts("ab", 12)) ASSERT_TRUE(AgreesWithPlain(text)) << text;
    for (const std::string& text : AllTexts("abc", 8)) ASSERT_TRUE(AgreesWithPlain(text)) << text;
}

// The same with a dictionary that the text before has filled with runs up to the longest string,
// has nearly filled, or has filled and so frozen.
TEST(Lzw, AgreesWithThePlainCoderBehindEveryKindOfDictionary) {
    const std::string heads[] = {
        std::string(62 * 63 / 2, 'a'),
        std::string(62 * 70, 'a'),
        Noise(760, 1),
        Noise(1500, 2),
        Noise(600, 3) + std::string(62 * 40, 'a'),
    };
    for (const std::string& head : heads) {
        for (const std::string& tail : AllTexts("ab", 4)) {
            ASSERT_TRUE(AgreesWithPlain(head + tail)) << head.size() << " bytes and " << tail;
        }
        for (const unsigned code : CodesOf(Compressed(head + head))) ASSERT_LT(code, 1023U);
    }
}

TEST(Lzw, NoCodeStandsForMoreThan62BytesAndTheTwin63ByteStringTakesACode) {
    // Runs of 1, 2, 3 ... 62 bytes have the codes 97, 256, 257 ... 316 and add the entries 256 to
    // 317, the last one of 63 bytes. Four more runs of 62 add those 63 bytes again, as 318 to 321;
    // a fifth adds its 62 bytes and the "x" behind them as 322, so that "xy" becomes 323.
    const std::string run(62 * 63 / 2 + 5 * 62, 'a');
    Codes codes{'a'};
    for (unsigned code = 256; code <= 316; ++code) codes.push_back(code);
    codes.insert(codes.end(), 5, 316U);
    codes.insert(codes.end(), {'x', 'y', 323});
    const std::string text = run + "xyxy";
    EXPECT_EQ(CodesOf(Compressed(text)), codes);
    EXPECT_TRUE(AgreesWithPlain(text));
}

// The last entry of a full dictionary is no longer the one just added.
TEST(Lzw, TheLastEntryOfAFullDictionaryIsOldOnceItStands) {
    std::string text = Noise(766, 11) + "xyz";
    text += Noise(20, 12) + "yzyz" + "xyxy";
    EXPECT_TRUE(AgreesWithPlain(text));
    for (std::size_t size = 760; size < 790; ++size) {
        const std::string head = Noise(size, 13);
        EXPECT_TRUE(AgreesWithPlain(head + head.substr(size - 40) + "-" + head.substr(size - 40)))
            << size;
    }
}

TEST(LzwCompress, WritesNothingIntoAnAreaBelowTheWorstCase) {
    const Bytes text = BytesOf("aaaa");
    Bytes area(7, std::byte{'#'});
    EXPECT_EQ(LzwCompress(text, area), 0U);
    EXPECT_EQ(TextOf(area), "#######");
}

TEST(LzwExpand, StopsAtCodesThatNoCompressorWrites) {
    struct Case {
        const char* what;
        Codes codes;
        std::string outcome;
    };
    Codes run{'a'};
    for (unsigned code = 256; code <= 316; ++code) run.push_back(code);
    const std::string runText(62 * 63 / 2, 'a');
    const auto after = [&run](Codes codes) {
        codes.insert(codes.begin(), run.begin(), run.end());
        return codes;
    };
    const std::string faultUnknown = std::to_string(static_cast<int>(LzwFault::UnknownCode)) + ":";
    const std::string faultLost = std::to_string(static_cast<int>(LzwFault::LostString)) + ":";
    const Case cases[] = {
        {"first code above a byte", {256}, faultUnknown},
        {"first code lost", {0xFFFF}, faultLost},
        {"lost string", {'a', 'b', 0xFFFF, 'c'}, faultLost + "ab"},
        {"one above the count", {'a', 257}, faultUnknown + "a"},
        {"far above the count", {'a', 'b', 1022}, faultUnknown + "ab"},
        {"outside any dictionary", {'a', 1024}, faultUnknown + "a"},
        {"the sign bit", {'a', 0x8000}, faultUnknown + "a"},
        {"a new string of 63 bytes", after({317}), faultUnknown + runText},
        {"an old string of 63 bytes", after({'b', 317}), faultUnknown + runText + "b"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Expanded(Stream(row.codes), 4096), row.outcome) << row.what;
    }
}

TEST(LzwExpand, TheCodeBehindAFullDictionaryIsUnknown) {
    const std::string noise = Noise(767, 11);
    Codes codes(noise.size());
    for (std::size_t at = 0; at < noise.size(); ++at) {
        codes[at] = static_cast<unsigned char>(noise[at]);
    }
    // 767 codes add 766 entries; the next one may name entry 1022 while it is being added.
    codes.push_back(1022);
    const std::string text = noise + noise.back() + noise.back();
    EXPECT_EQ(Expanded(Stream(codes), 4096), "0:" + text);
    codes.push_back(1023);
    EXPECT_EQ(Expanded(Stream(codes), 4096),
              std::to_string(static_cast<int>(LzwFault::UnknownCode)) + ":" + text);
}

TEST(LzwExpand, EveryTruncationGivesABeginning) {
    const std::string text = "BEGIN:VEVENT\r\nSUMMARY:ana bananas\r\n" + std::string(300, '\0') +
                             "ana bananas" + std::string(62 * 20, 'x');
    const Bytes stream = Compressed(text);
    std::string longest;
    for (std::size_t size = 0; size <= stream.size(); ++size) {
        const std::string outcome = Expanded(std::span(stream).first(size), text.size());
        ASSERT_EQ(outcome, "0:" + text.substr(0, outcome.size() - 2)) << size;
        ASSERT_GE(outcome.size(), longest.size()) << size;
        // An odd last byte adds nothing.
        if (size % 2 == 1) {
            ASSERT_EQ(outcome, longest) << size;
        }
        longest = outcome;
    }
    EXPECT_EQ(longest, "0:" + text);
}

TEST(LzwExpand, StopsAtTheEndOfEveryAreaThatIsTooSmall) {
    const std::string text = "abcabcabcabc" + std::string(200, '\0') + "abc";
    const Bytes stream = Compressed(text);
    for (std::size_t size = 0; size < text.size(); ++size) {
        // The area ends where the sanitizers look.
        Bytes area(size);
        const LzwExpansion expansion = LzwExpand(stream, area);
        ASSERT_EQ(expansion.fault, LzwFault::NoRoom) << size;
        ASSERT_LE(expansion.length, size);
        ASSERT_EQ(TextOf(std::span(area).first(expansion.length)),
                  text.substr(0, expansion.length));
    }
}

}  // namespace
}  // namespace tarnwick

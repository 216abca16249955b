// The quick codings beside the plain ones. Areas end where the sanitizers look.
#include <gtest/gtest.h>

#include "remote/shared/Base64.h"
#include "tests/remote/PlainCodec.h"
#include "tests/support/AllTexts.h"
#include "tests/support/Model.h"

namespace tarnwick {
namespace {

using testing::Agrees;
using testing::AllTexts;
using testing::AreaOf;
using testing::BytesOf;
using testing::Coded;
using testing::Noise;

std::string Base64Difference(const std::string& text, std::size_t size) {
    std::string area(size, '#');
    const std::ptrdiff_t result = Base64Decode(text, AreaOf(area));
    if (testing::PlainDecode(text, size) != Coded{result, area}) return "decoding";
    if (Base64Decode(text, nullptr) != testing::PlainDecode(text, text.size() + 1).first)
        return "counting";
    std::string encoded(size, '#');
    const std::ptrdiff_t length = Base64Encode(BytesOf(text), encoded);
    if (testing::PlainEncode(text, size) != Coded{length, encoded}) return "encoding";
    return "";
}

TEST(Base64, CodesLikeThePlainCoder) {
    for (const std::string& text : AllTexts("Zm9=-\n", 5)) {
        for (std::size_t size = 0; size < 9; ++size)
            ASSERT_EQ(Base64Difference(text, size), "") << text;
    }
    // Each character anywhere in a text.
    const std::string text = Base64EncodeAlloc(BytesOf(Noise(24, 5)));
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (int character = 0; character < 256; ++character) {
            std::string changed = text;
            changed[at] = static_cast<char>(character);
            ASSERT_EQ(Base64Difference(changed, 25), "") << at << " " << character;
        }
    }
    // Long texts as a peer sends them, whole, damaged and with white space, and areas around their
    // size.
    for (const int less : {-1, 0, 1, 3, 40}) {
        testing::ExpectAgreement(
            20,
            [](std::mt19937& random) {
                std::string sent = Base64EncodeAlloc(BytesOf(testing::MixedText(random)));
                for (unsigned damages = random() % 3; damages > 0; --damages) {
                    sent.insert(random() % sent.size(), 1, " \n=A-"[random() % 5]);
                }
                return sent;
            },
            [&](const std::string& sent) {
                const int size = static_cast<int>(sent.size() / 4 * 3) - less;
                return Base64Difference(sent, static_cast<std::size_t>(std::max(size, 0)));
            });
    }
}

TEST(Base64, IntoMemoryOfItsOwn) {
    for (const std::string text : {"", "f", "fo", "foo", "foob"}) {
        const std::string encoded = Base64EncodeAlloc(BytesOf(text));
        EXPECT_EQ(encoded, testing::PlainEncode(text, 9).second.substr(0, encoded.size()));
        EXPECT_EQ(encoded.size(), Base64EncodedLength(text.size()));
        const auto decoded = Base64DecodeAlloc(encoded);
        EXPECT_TRUE(decoded && std::ranges::equal(*decoded, BytesOf(text)));
        EXPECT_EQ(Base64DecodeAlloc(encoded + "-"), std::nullopt);
    }
}

std::string Compressed(const std::string& text) {
    std::string stream(LzwWorstSize(text.size()), '\0');
    stream.resize(LzwCompress(BytesOf(text), AreaOf(stream)));
    return stream;
}

std::string ExpansionDifference(const std::string& stream, std::size_t size) {
    std::string area(size, '\0');
    const LzwExpansion expansion = LzwExpand(BytesOf(stream), AreaOf(area));
    area.resize(expansion.length);
    const auto [plain, fault] = testing::PlainExpand(stream, size);
    if (expansion.fault != fault) return "the fault";
    return area == plain ? "" : "the bytes";
}

// The quick coder writes the plain coder's codes, and the text comes back from them.
std::string CodingDifference(const std::string& text) {
    const std::string stream = Compressed(text);
    if (stream != testing::PlainCompress(text)) return "the codes";
    return testing::PlainExpand(stream, text.size()).first == text
               ? ExpansionDifference(stream, text.size())
               : "the text";
}

TEST(Lzw, CodesLikeThePlainCoder) {
    using std::string_literals::operator""s;
    EXPECT_EQ(Compressed("ABABABA"), "A\0B\0\0\1\2\1"s);
    std::string area(7, '#');
    EXPECT_EQ(LzwCompress(BytesOf("aaaa"), AreaOf(area)), 0U) << "below the worst case";
    EXPECT_EQ(area, "#######");
    for (const std::string& text : AllTexts("ab", 12)) ASSERT_TRUE(Agrees(text, CodingDifference));
    // Behind runs up to the longest string, and dictionaries nearly and wholly full.
    for (const std::string& head :
         {std::string(62 * 63 / 2, 'a'), std::string(62 * 70, 'a'), Noise(760, 1), Noise(1500, 2),
          Noise(600, 3) + std::string(62 * 40, 'a')}) {
        for (const std::string& tail : AllTexts("ab", 4)) {
            ASSERT_TRUE(Agrees(head + tail, CodingDifference));
        }
    }
    testing::ExpectAgreement(60, testing::MixedText, CodingDifference);
}

std::string CodeOf(int code) {
    return {static_cast<char>(code), static_cast<char>(code >> 8)};
}

TEST(LzwExpand, StopsLikeThePlainExpander) {
    // Single bytes, codes that are being added, far ones, the lost string.
    const int codes[] = {'a', 'b', 256, 257, 258, 1022, 1023, 0x7FFF, 0x8000, 0xFFFF};
    for (const std::string& letters : AllTexts("0123456789", 4)) {
        std::string stream;
        for (const char letter : letters) stream += CodeOf(codes[letter - '0']);
        for (std::size_t size = 0; size < 7; ++size) {
            ASSERT_EQ(ExpansionDifference(stream, size), "") << letters << " into " << size;
            ASSERT_EQ(ExpansionDifference(stream + 'a', size), "") << letters << " into " << size;
        }
    }
    // Long streams whole, cut, with a code changed, and into areas that are too small.
    testing::ExpectAgreement(
        200,
        [](std::mt19937& random) {
            std::string stream = Compressed(testing::MixedText(random));
            stream.resize(stream.size() - (random() % 2 == 0 ? random() % stream.size() : 0));
            if (stream.size() > 1 && random() % 2 == 0) {
                stream.replace(random() % (stream.size() / 2) * 2, 2,
                               CodeOf(static_cast<int>(random() % 1280)));
            }
            return stream;
        },
        [](const std::string& stream) -> std::string {
            const std::size_t size = testing::PlainExpand(stream, 20000).first.size();
            for (const std::size_t less : {0U, 1U, 2U, 15U, 40U, 70U, 1000U}) {
                const std::string difference =
                    ExpansionDifference(stream, size > less ? size - less : 20000);
                if (!difference.empty()) return difference + " of " + std::to_string(size);
            }
            return "";
        });
    // Entries as long as the longest string and one byte more, and behind the last one that fits:
    // 767 codes add 766, the next may name 1022.
    std::vector<std::string> heads = {Compressed(std::string(62 * 63 / 2, 'a')) + CodeOf('b')};
    heads.push_back(heads[0].substr(0, heads[0].size() - 2));
    for (std::size_t singles = 764; singles < 770; ++singles) {
        heads.emplace_back();
        for (const char byte : Noise(singles, 4)) heads.back() += {byte, '\0'};
    }
    for (const std::string& head : heads) {
        for (const int code : {315, 316, 317, 318, 1021, 1022, 1023})
            ASSERT_EQ(ExpansionDifference(head + CodeOf(code) + CodeOf(code), 4000), "") << code;
    }
}

}  // namespace
}  // namespace tarnwick

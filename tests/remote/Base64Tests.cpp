#include "remote/shared/Base64.h"

#include <gtest/gtest.h>

#include "tests/remote/CodecBytes.h"
#include "tests/remote/PlainCodec.h"
#include "tests/support/AllTexts.h"
#include "tests/support/Model.h"

namespace tarnwick {
namespace {

using testing::Bytes;
using testing::BytesOf;
using testing::Coded;
using testing::TextOf;

// Areas end where the sanitizers look.
std::string Difference(const std::string& text, std::size_t size) {
    Bytes area(size, std::byte{'#'});
    const std::ptrdiff_t result = Base64Decode(text, area);
    if (testing::PlainDecode(text, size) != Coded{result, TextOf(area)}) return "decoding";
    if (Base64Decode(text, nullptr) != testing::PlainDecode(text, text.size() + 1).first)
        return "counting";
    std::string encoded(size, '#');
    const std::ptrdiff_t length = Base64Encode(BytesOf(text), encoded);
    if (testing::PlainEncode(text, size) != Coded{length, encoded}) return "encoding";
    return "";
}

TEST(Base64, CodesAllShortTextsLikeThePlainCoder) {
    for (const std::string& text : testing::AllTexts("Zm9=-\n", 5)) {
        for (std::size_t size = 0; size < 9; ++size) ASSERT_EQ(Difference(text, size), "") << text;
    }
}

TEST(Base64, DecodesEachCharacterAnywhereLikeThePlainCoder) {
    const std::string text = Base64EncodeAlloc(BytesOf(testing::Noise(24, 5)));
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (int character = 0; character < 256; ++character) {
            std::string changed = text;
            changed[at] = static_cast<char>(character);
            ASSERT_EQ(Difference(changed, 25), "") << at << " " << character;
        }
    }
}

// Texts as a peer sends them, whole, damaged and with white space, and areas around their size.
TEST(Base64, CodesLongTextsLikeThePlainCoder) {
    for (const int less : {-1, 0, 1, 3, 40}) {
        testing::ExpectAgreement(
            20,
            [](std::mt19937& random) {
                std::string text = Base64EncodeAlloc(BytesOf(testing::MixedText(random)));
                for (unsigned damages = random() % 3; damages > 0; --damages) {
                    text.insert(random() % text.size(), 1, " \n=A-"[random() % 5]);
                }
                return text;
            },
            [&](const std::string& text) {
                const auto whole = static_cast<std::ptrdiff_t>(text.size() / 4 * 3) - less;
                return Difference(text,
                                  static_cast<std::size_t>(std::max<std::ptrdiff_t>(whole, 0)));
            });
    }
}

TEST(Base64, IntoMemoryOfItsOwn) {
    for (const std::string text : {"", "f", "fo", "foo", "foob"}) {
        const std::string encoded = Base64EncodeAlloc(BytesOf(text));
        EXPECT_EQ(encoded, testing::PlainEncode(text, 9).second.substr(0, encoded.size()));
        EXPECT_EQ(encoded.size(), Base64EncodedLength(text.size()));
        EXPECT_EQ(Base64DecodeAlloc(encoded), BytesOf(text));
        EXPECT_EQ(Base64DecodeAlloc(encoded + "-"), std::nullopt);
    }
}

}  // namespace
}  // namespace tarnwick

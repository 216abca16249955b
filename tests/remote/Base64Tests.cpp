#include "remote/shared/Base64.h"

#include <gtest/gtest.h>

#include <cctype>

#include "tests/remote/CodecBytes.h"
#include "tests/support/AllTexts.h"
#include "tests/support/Model.h"

namespace tarnwick {
namespace {

using testing::Bytes;
using testing::BytesOf;
using testing::TextOf;

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string BitsOf(unsigned value, int count) {
    std::string bits;
    while (count-- > 0) bits += (value >> count & 1) != 0 ? '1' : '0';
    return bits;
}

// The first bits of `bits`, filled up with zeros.
unsigned ValueOf(const std::string& bits, std::size_t count) {
    unsigned value = 0;
    for (std::size_t at = 0; at < count; ++at) {
        value = 2 * value + (at < bits.size() && bits[at] == '1' ? 1 : 0);
    }
    return value;
}

// What coding into an area of `size` bytes, all "#", leaves: the result, then the whole area.
using Outcome = std::pair<std::ptrdiff_t, std::string>;

Outcome NaiveDecoded(const std::string& text, std::size_t size) {
    std::string area(size, '#');
    std::string bits;  // of the bytes that are not whole
    std::size_t count = 0;
    int state = 0;
    std::size_t at = 0;
    for (; at < text.size() && text[at] != '='; ++at) {
        if (std::isspace(static_cast<unsigned char>(text[at])) != 0) continue;
        const std::size_t digit = kAlphabet.find(text[at]);
        const std::size_t touched = state == 0 || state == 3 ? 1 : 2;
        if (digit == std::string::npos || count + touched > size) return {-1, area};
        bits += BitsOf(static_cast<unsigned>(digit), 6);
        if (state != 0) {
            area[count++] = static_cast<char>(ValueOf(bits, 8));
            bits.erase(0, 8);
        }
        if (state != 3) area[count] = static_cast<char>(ValueOf(bits, 8));
        state = (state + 1) % 4;
    }
    std::string padding;
    for (; at < text.size(); ++at) {
        if (std::isspace(static_cast<unsigned char>(text[at])) == 0) padding += text[at];
    }
    const char* const expected[] = {"", nullptr, "==", "="};
    const bool good = expected[state] != nullptr && padding == expected[state];
    return {good && ValueOf(bits, 8) == 0 ? static_cast<std::ptrdiff_t>(count) : -1, area};
}

Outcome NaiveEncoded(const std::string& data, std::size_t size) {
    std::string text;
    for (std::size_t at = 0; at < data.size(); at += 3) {
        if (text.size() + 4 > size) return {-1, text + std::string(size - text.size(), '#')};
        std::string bits;
        for (const char byte : data.substr(at, 3))
            bits += BitsOf(static_cast<unsigned char>(byte), 8);
        for (; !bits.empty(); bits.erase(0, 6)) text += kAlphabet[ValueOf(bits, 6)];
        while (text.size() % 4 != 0) text += '=';
    }
    if (text.size() == size) return {-1, text};
    const auto length = static_cast<std::ptrdiff_t>(text.size());
    text += '\0';
    return {length, text + std::string(size - text.size(), '#')};
}

// Areas end where the sanitizers look.
std::string Difference(const std::string& text, std::size_t size) {
    Bytes area(size, std::byte{'#'});
    const std::ptrdiff_t result = Base64Decode(text, area);
    if (NaiveDecoded(text, size) != Outcome{result, TextOf(area)}) return "decoding";
    if (Base64Decode(text, nullptr) != NaiveDecoded(text, text.size() + 1).first) return "counting";
    std::string encoded(size, '#');
    const std::ptrdiff_t length = Base64Encode(BytesOf(text), encoded);
    if (NaiveEncoded(text, size) != Outcome{length, encoded}) return "encoding";
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
        EXPECT_EQ(encoded, NaiveEncoded(text, 9).second.substr(0, encoded.size()));
        EXPECT_EQ(encoded.size(), Base64EncodedLength(text.size()));
        EXPECT_EQ(Base64DecodeAlloc(encoded), BytesOf(text));
        EXPECT_EQ(Base64DecodeAlloc(encoded + "-"), std::nullopt);
    }
}

}  // namespace
}  // namespace tarnwick

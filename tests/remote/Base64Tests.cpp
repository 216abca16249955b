#include <gtest/gtest.h>

#include <cstring>

#include "remote/shared/Base64.h"

namespace tarnwick {
namespace {

constexpr char kUntouched = '#';

// An area of exactly `size` bytes on the heap, where the sanitizers see every byte beyond it.
template <typename Element>
std::vector<Element> Area(std::size_t size) {
    return std::vector<Element>(size, static_cast<Element>(kUntouched));
}

std::span<const std::byte> Bytes(std::string_view text) {
    return std::as_bytes(std::span(text));
}

// What decoding into an area of `size` bytes leaves: the result, then the whole area.
std::string Decoded(std::string_view text, std::size_t size) {
    std::vector<std::byte> data = Area<std::byte>(size);
    const std::ptrdiff_t result = Base64Decode(text, data);
    return std::to_string(result) + ":" +
           std::string(reinterpret_cast<const char*>(data.data()), data.size());
}

std::string Encoded(std::string_view data, std::size_t size) {
    std::vector<char> text = Area<char>(size);
    const std::ptrdiff_t result = Base64Encode(Bytes(data), text);
    return std::to_string(result) + ":" + std::string(text.data(), text.size());
}

TEST(Base64Encode, FillsTheAreaAsFarAsWholeGroupsFit) {
    using std::string_view_literals::operator""sv;
    const struct {
        std::string_view data;
        std::size_t size;
        std::string_view outcome;
    } cases[] = {
        {"", 1, "0:\0"sv},
        {"", 0, "-1:"},
        {"f", 5, "4:Zg==\0"sv},
        {"f", 4, "-1:Zg=="},
        {"\x66\x6F", 6, "4:Zm8=\0#"sv},
        {"foo", 5, "4:Zm9v\0"sv},
        {"fooba", 7, "-1:Zm9v###"},
        {"\xFB\xFF\xBF", 5, "4:+/+/\0"sv},
        {"\0\0"sv, 5, "4:AAA=\0"sv},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Encoded(row.data, row.size), row.outcome) << row.data << " into " << row.size;
    }
}

TEST(Base64Decode, EveryStateAndEveryFault) {
    using std::string_view_literals::operator""sv;
    const struct {
        std::string_view text;
        std::size_t size;
        std::string_view outcome;
    } cases[] = {
        // The end of the text in each state.
        {"", 0, "0:"},
        {"Z", 4, "-1:d###"},
        {"Zm", 4, "-1:f\x60##"},
        {"Zm9v", 4, "3:foo#"},
        // Padding in each state.
        {"=", 4, "-1:####"},
        {"Zg==", 4, "1:f\0##"sv},
        {"Zm8=", 4, "2:fo\0#"sv},
        {"Zm9v=", 4, "-1:foo#"},
        // What may follow padding.
        {"Zg===", 4, "-1:f\0##"sv},
        {"Zm8=a", 4, "-1:fo\0#"sv},
        {"Zm8=\t\n\v\f\r ", 4, "2:fo\0#"sv},
        {"Zg=\r\n= \n", 4, "1:f\0##"sv},
        // Unused bits.
        {"Zh==", 4, "-1:f\x10##"},
        {"Zm9=", 4, "-1:fo\x40#"},
        // White space within a group, and at both ends.
        {" \tZ\nm\v9\fv\r", 4, "3:foo#"},
        // Outside the alphabet.
        {"Zm-v", 4, "-1:f\x60##"},
        {"Zm9v\0"sv, 4, "-1:foo#"},
        {"\x80m9v", 4, "-1:####"},
        {"+/+/", 3, "3:\xFB\xFF\xBF"},
        // Too small an area in each state.
        {"Z", 0, "-1:"},
        {"Zm", 1, "-1:d"},
        {"Zm9", 2, "-1:f\x60"},
        // A padded text needs room for the byte it starts.
        {"Zg==", 1, "-1:d"},
        {"Zm8=", 2, "-1:f\x60"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Decoded(row.text, row.size), row.outcome) << row.text << " into " << row.size;
    }
}

// Texts of every length, each byte value at every place of a group, a fault at every place.
TEST(Base64, RoundTripsEveryLengthAndFindsAFaultAnywhere) {
    for (std::size_t length = 0; length < 260; ++length) {
        std::string data(length, '\0');
        for (std::size_t at = 0; at < length; ++at) data[at] = static_cast<char>(at * 167 + length);
        const std::string text = Base64EncodeAlloc(Bytes(data));
        ASSERT_EQ(text.size(), Base64EncodedLength(length));
        ASSERT_EQ(Encoded(data, text.size() + 1), std::to_string(text.size()) + ":" + text + '\0');
        const auto decoded = Base64DecodeAlloc(text);
        ASSERT_TRUE(decoded.has_value()) << text;
        ASSERT_EQ(decoded->size(), length);
        ASSERT_EQ(Base64Decode(text, nullptr), static_cast<std::ptrdiff_t>(length)) << text;
        ASSERT_TRUE(length == 0 || std::memcmp(decoded->data(), data.data(), length) == 0) << text;
        for (std::size_t at = 0; at < text.size(); ++at) {
            std::string damaged = text;
            damaged[at] = '.';
            ASSERT_FALSE(Base64DecodeAlloc(damaged).has_value()) << damaged;
            ASSERT_EQ(Base64Decode(damaged, nullptr), kBase64Failed) << damaged;
            const std::string spaced = text.substr(0, at) + '\n' + text.substr(at);
            ASSERT_EQ(Base64DecodeAlloc(spaced), decoded) << spaced;
        }
    }
}

}  // namespace
}  // namespace tarnwick

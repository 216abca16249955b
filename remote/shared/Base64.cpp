#include "remote/shared/Base64.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

namespace tarnwick {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPadding = '=';
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeDigits() {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(kNoDigit);
    for (std::uint8_t value = 0; value < 64; ++value) {
        digits[static_cast<unsigned char>(kAlphabet[value])] = value;
    }
    return digits;
}

// The six bits that each character stands for.
constexpr std::array<std::uint8_t, 256> kDigits = MakeDigits();

constexpr bool IsSpace(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

unsigned DigitOf(char character) {
    return kDigits[static_cast<unsigned char>(character)];
}

constexpr std::array<std::uint16_t, 4096> MakePairs() {
    std::array<std::uint16_t, 4096> pairs{};
    for (unsigned bits = 0; bits < pairs.size(); ++bits) {
        const auto first = static_cast<unsigned char>(kAlphabet[bits >> 6]);
        const auto second = static_cast<unsigned char>(kAlphabet[bits & 0x3F]);
        pairs[bits] = static_cast<std::uint16_t>(first | second << 8);
    }
    return pairs;
}

// The two characters that each twelve bits become, the first one in the low byte.
constexpr std::array<std::uint16_t, 4096> kPairs = MakePairs();

// The eight bytes in the opposite order; compilers know this as one instruction.
constexpr std::uint64_t Reversed(std::uint64_t word) {
    word = (word & 0x00FF00FF00FF00FF) << 8 | (word >> 8 & 0x00FF00FF00FF00FF);
    word = (word & 0x0000FFFF0000FFFF) << 16 | (word >> 16 & 0x0000FFFF0000FFFF);
    return word << 32 | word >> 32;
}

std::uint64_t PairOf(std::uint64_t word, unsigned shift) {
    return kPairs[word >> shift & 0xFFF];
}

// Encodes six bytes at a time while eight may be read; the result is the count of bytes encoded.
std::size_t EncodeBlocks(std::span<const std::byte> data, std::span<char> text) {
    constexpr std::size_t kBytes = 6;
    constexpr std::size_t kCharacters = 8;
    std::size_t at = 0;
    for (std::size_t length = 0;
         data.size() - at >= sizeof(std::uint64_t) && text.size() - length >= kCharacters;
         at += kBytes, length += kCharacters) {
        std::uint64_t word;
        std::memcpy(&word, data.data() + at, sizeof word);
        word = Reversed(word);
        const std::uint64_t characters = PairOf(word, 52) | PairOf(word, 40) << 16 |
                                         PairOf(word, 28) << 32 | PairOf(word, 16) << 48;
        std::memcpy(text.data() + length, &characters, sizeof characters);
    }
    return at;
}

char CharacterOf(unsigned group, unsigned shift) {
    return kAlphabet[group >> shift & 0x3F];
}

unsigned GroupOf(unsigned first, unsigned second, unsigned third) {
    return first << 16 | second << 8 | third;
}

unsigned ByteAt(std::span<const std::byte> data, std::size_t at) {
    return at < data.size() ? std::to_integer<unsigned>(data[at]) : 0;
}

__m128i Splat(int value) {
    return _mm_set1_epi8(static_cast<char>(value));
}

// `values` plus `step` where `mask` is set.
__m128i AddWhere(__m128i values, __m128i mask, int step) {
    return _mm_add_epi8(values, _mm_and_si128(mask, Splat(step)));
}

struct SixteenDigits {
    __m128i digits;
    bool valid;
};

// The digits of sixteen characters. Each test "above" moves on to the next range of the alphabet in
// the order of the character codes: '+', '/', "0-9", "A-Z", "a-z"; `last` is the end of that range.
SixteenDigits DigitsOf(__m128i characters) {
    const __m128i slash = _mm_cmpgt_epi8(characters, Splat('/' - 1));
    const __m128i figure = _mm_cmpgt_epi8(characters, Splat('0' - 1));
    const __m128i upper = _mm_cmpgt_epi8(characters, Splat('A' - 1));
    const __m128i lower = _mm_cmpgt_epi8(characters, Splat('a' - 1));
    __m128i digits = _mm_add_epi8(characters, Splat(62 - '+'));
    digits = AddWhere(digits, slash, (63 - '/') - (62 - '+'));
    digits = AddWhere(digits, figure, (52 - '0') - (63 - '/'));
    digits = AddWhere(digits, upper, (0 - 'A') - (52 - '0'));
    digits = AddWhere(digits, lower, (26 - 'a') - (0 - 'A'));
    __m128i last = AddWhere(Splat('+'), slash, '/' - '+');
    last = AddWhere(last, figure, '9' - '/');
    last = AddWhere(last, upper, 'Z' - '9');
    last = AddWhere(last, lower, 'z' - 'Z');
    // Codes from 128 on are negative here, and so below '+'.
    const __m128i wrong =
        _mm_or_si128(_mm_cmpgt_epi8(characters, last), _mm_cmplt_epi8(characters, Splat('+')));
    return {digits, _mm_movemask_epi8(wrong) == 0};
}

// Joins sixteen digits to twelve bytes.
void StoreTwelve(__m128i digits, std::byte* data) {
    const __m128i pairs =
        _mm_or_si128(_mm_and_si128(_mm_slli_epi16(digits, 6), _mm_set1_epi16(0x0FC0)),
                     _mm_srli_epi16(digits, 8));
    const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
    // Two groups of 24 bits at the top of each half, the first one above; what else is there
    // becomes the two bytes that are not stored.
    const __m128i halves = _mm_or_si128(_mm_slli_epi64(groups, 40), _mm_srli_epi64(groups, 16));
    const auto low = static_cast<std::uint64_t>(_mm_cvtsi128_si64(halves));
    const auto high =
        static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(halves, halves)));
    const std::uint64_t first = Reversed(low);
    const std::uint64_t second = Reversed(high);
    const auto end = static_cast<std::uint16_t>(second >> 32);
    std::memcpy(data, &first, sizeof first);
    std::memcpy(data + 6, &second, 4);
    std::memcpy(data + 10, &end, sizeof end);
}

// The four-state machine: the state counts the characters of the current group of four.
class Decoder {
  public:
    Decoder(std::string_view text, std::byte* data, std::size_t size)
        : text_(text), data_(data), size_(size) {}

    std::ptrdiff_t Run() {
        if (data_ != nullptr) TakeBlocks();
        return Succeeds() ? static_cast<std::ptrdiff_t>(position_) : kBase64Failed;
    }

  private:
    // Sixteen characters of the alphabet that become twelve bytes, as long as there are any; what
    // needs the state machine is left to it.
    void TakeBlocks() {
        while (text_.size() - at_ >= 16 && size_ - position_ >= 12) {
            __m128i characters;
            std::memcpy(&characters, text_.data() + at_, sizeof characters);
            const SixteenDigits block = DigitsOf(characters);
            if (!block.valid) return;
            StoreTwelve(block.digits, data_ + position_);
            at_ += 16;
            position_ += 12;
        }
    }

    bool Succeeds() {
        for (; at_ < text_.size(); ++at_) {
            const char character = text_[at_];
            if (IsSpace(character)) continue;
            if (character == kPadding) return EndsAfterPadding();
            const unsigned digit = DigitOf(character);
            if (digit == kNoDigit || !Take(digit)) return false;
        }
        return state_ == 0;
    }

    // Adds six bits: some complete the byte in work, the others start the next.
    bool Take(unsigned digit) {
        const bool completes = state_ != 0;
        const bool starts = state_ != 3;
        const std::size_t touched = (completes ? 1U : 0U) + (starts ? 1U : 0U);
        if (touched > size_ - position_) return false;
        if (completes) Store(position_++, started_ | digit >> (6 - 2 * state_));
        started_ = digit << (2 + 2 * state_) & 0xFF;
        if (starts) Store(position_, started_);
        state_ = (state_ + 1) % 4;
        return true;
    }

    void Store(std::size_t position, unsigned value) {
        if (data_ != nullptr) data_[position] = static_cast<std::byte>(value);
    }

    // At the first "=": a second one where two characters are missing, then white space alone. The
    // bits of the byte that was started but has no end must be zero.
    bool EndsAfterPadding() {
        if (state_ < 2) return false;
        ++at_;
        if (state_ == 2 && (SkipSpace() || text_[at_++] != kPadding)) return false;
        return SkipSpace() && started_ == 0;
    }

    // True when nothing but white space was left.
    bool SkipSpace() {
        while (at_ < text_.size() && IsSpace(text_[at_])) ++at_;
        return at_ == text_.size();
    }

    std::string_view text_;
    std::byte* data_;
    std::size_t size_;
    std::size_t at_ = 0;
    std::size_t position_ = 0;
    unsigned state_ = 0;
    unsigned started_ = 0;
};

}  // namespace

std::ptrdiff_t Base64Encode(std::span<const std::byte> data, std::span<char> text) {
    const std::size_t encoded = EncodeBlocks(data, text);
    std::size_t length = Base64EncodedLength(encoded);
    for (std::size_t at = encoded; at < data.size(); at += 3, length += 4) {
        if (text.size() - length < 4) return kBase64Failed;
        const unsigned group =
            GroupOf(ByteAt(data, at), ByteAt(data, at + 1), ByteAt(data, at + 2));
        text[length] = CharacterOf(group, 18);
        text[length + 1] = CharacterOf(group, 12);
        text[length + 2] = data.size() - at > 1 ? CharacterOf(group, 6) : kPadding;
        text[length + 3] = data.size() - at > 2 ? CharacterOf(group, 0) : kPadding;
    }
    if (length >= text.size()) return kBase64Failed;
    text[length] = '\0';
    return static_cast<std::ptrdiff_t>(length);
}

std::ptrdiff_t Base64Decode(std::string_view text, std::span<std::byte> data) {
    // An empty area may come without an address; it is still an area, with no room.
    std::byte none{};
    return Decoder(text, data.empty() ? &none : data.data(), data.size()).Run();
}

std::ptrdiff_t Base64Decode(std::string_view text, std::nullptr_t) {
    return Decoder(text, nullptr, std::numeric_limits<std::size_t>::max()).Run();
}

std::string Base64EncodeAlloc(std::span<const std::byte> data) {
    std::string text(Base64EncodedLength(data.size()) + 1, '\0');
    Base64Encode(data, text);
    text.pop_back();
    return text;
}

std::optional<std::vector<std::byte>> Base64DecodeAlloc(std::string_view text) {
    std::vector<std::byte> data((text.size() + 3) / 4 * 3);
    const std::ptrdiff_t length = Base64Decode(text, data);
    if (length == kBase64Failed) return std::nullopt;
    data.resize(static_cast<std::size_t>(length));
    return data;
}

}  // namespace tarnwick

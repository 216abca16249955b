#include "remote/shared/Base64.h"

#include <array>
#include <cstdint>
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

char CharacterOf(unsigned group, unsigned shift) {
    return kAlphabet[group >> shift & 0x3F];
}

unsigned GroupOf(unsigned first, unsigned second, unsigned third) {
    return first << 16 | second << 8 | third;
}

unsigned ByteAt(std::span<const std::byte> data, std::size_t at) {
    return at < data.size() ? std::to_integer<unsigned>(data[at]) : 0;
}

// The four-state machine: the state counts the characters of the current group of four.
class Decoder {
  public:
    Decoder(std::string_view text, std::byte* data, std::size_t size)
        : text_(text), data_(data), size_(size) {}

    std::ptrdiff_t Run() {
        if (data_ != nullptr) TakeWholeGroups();
        return Succeeds() ? static_cast<std::ptrdiff_t>(position_) : kBase64Failed;
    }

  private:
    // Whole groups of the alphabet that fit; stops before anything that needs the state machine.
    void TakeWholeGroups() {
        while (text_.size() - at_ >= 4 && size_ - position_ >= 3) {
            const unsigned first = DigitOf(text_[at_]);
            const unsigned second = DigitOf(text_[at_ + 1]);
            const unsigned third = DigitOf(text_[at_ + 2]);
            const unsigned fourth = DigitOf(text_[at_ + 3]);
            if (((first | second | third | fourth) & 0x80) != 0) return;
            const unsigned group = first << 18 | second << 12 | third << 6 | fourth;
            data_[position_] = static_cast<std::byte>(group >> 16);
            data_[position_ + 1] = static_cast<std::byte>(group >> 8);
            data_[position_ + 2] = static_cast<std::byte>(group);
            at_ += 4;
            position_ += 3;
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
    std::size_t length = 0;
    for (std::size_t at = 0; at < data.size(); at += 3, length += 4) {
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

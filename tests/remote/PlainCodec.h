// Both codings of a parameter straight from their rules: what the quick ones must agree with.
// Bytes are texts here.
#pragma once

#include <algorithm>
#include <cctype>
#include <map>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "remote/Lzw.h"

namespace tarnwick::testing {

inline std::span<const std::byte> BytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}
inline std::span<std::byte> AreaOf(std::string& text) {
    return std::as_writable_bytes(std::span(text));
}

// Bytes without a visible pattern: every code stands for one or two of them.
inline std::string Noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::string text(length, '\0');
    for (char& byte : text) byte = static_cast<char>(random());
    return text;
}

// Ordinary text, runs, noise and what repeats every few bytes, in a row.
inline std::string MixedText(std::mt19937& random) {
    constexpr const char* kWords[] = {
        "BEGIN:VEVENT\r\n", "SUMMARY:", "meeting ", "ana bananas ", "the ", "1312365600\t", "of "};
    std::string text;
    for (std::size_t parts = 1 + random() % 4; parts > 0; --parts) {
        const std::size_t size = text.size() + (random() % 3 == 0 ? 3000 : random() % 200);
        const std::string period = Noise(1 + random() % 8, static_cast<unsigned>(random()));
        const unsigned kind = random() % 3;
        while (text.size() < size) {
            text += kind == 0   ? kWords[random() % std::size(kWords)]
                    : kind == 1 ? period
                                : std::string(1, static_cast<char>(random()));
        }
    }
    return text;
}

// The strings behind the single bytes; of one that is added twice the first has the code.
class PlainDictionary {
  public:
    std::size_t Size() const { return 256 + added_.size(); }
    void Add(const std::string& string) {
        if (Size() == 1023) return;
        codes_.emplace(string, Size());
        added_.push_back(string);
    }
    bool Has(const std::string& string) const {
        return string.size() == 1 || codes_.contains(string);
    }
    std::string Entry(std::size_t code) const {
        return code < 256 ? std::string(1, static_cast<char>(code)) : added_[code - 256];
    }
    std::string Code(const std::string& string) const {
        if (string.size() == 1) return string + '\0';
        const std::size_t code = codes_.at(string);
        return {static_cast<char>(code), static_cast<char>(code >> 8)};
    }

  private:
    std::map<std::string, std::size_t> codes_;
    std::vector<std::string> added_;
};

inline std::string PlainCompress(const std::string& input) {
    PlainDictionary dictionary;
    std::string string;
    std::string output;
    for (const char byte : input) {
        if (string.size() == 62 || !dictionary.Has(string + byte)) {
            output += dictionary.Code(string);
            dictionary.Add(string + byte);
            string.clear();
        }
        string += byte;
    }
    return string.empty() ? output : output + dictionary.Code(string);
}

// Stops at what no compressor writes and at the end of the room.
inline std::pair<std::string, LzwFault> PlainExpand(const std::string& input, std::size_t room) {
    PlainDictionary dictionary;
    std::string output;
    std::string previous;
    for (std::size_t at = 0; at + 1 < input.size(); at += 2) {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(input[at + i]); };
        const std::size_t code = byte(0) + 256U * byte(1);
        if (code == 0xFFFF) return {output, LzwFault::LostString};
        const std::size_t next = dictionary.Size();
        const bool isNext = code == next && !previous.empty() && next < 1023;
        if (code >= next && !isNext) return {output, LzwFault::UnknownCode};
        const char first = (isNext ? previous : dictionary.Entry(code))[0];
        if (!previous.empty()) dictionary.Add(previous + first);
        previous = dictionary.Entry(code);
        if (previous.size() > 62) return {output, LzwFault::UnknownCode};
        if (previous.size() > room - output.size()) return {output, LzwFault::NoRoom};
        output += previous;
    }
    return {output, LzwFault::None};
}

inline const std::string kBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// What coding into an area of `size` bytes, all "#", leaves: the result, then the whole area.
using Coded = std::pair<std::ptrdiff_t, std::string>;

inline Coded PlainDecode(const std::string& text, std::size_t size) {
    std::string area(size, '#');
    std::string digits;
    for (const char letter : text) {
        if (std::isspace(static_cast<unsigned char>(letter)) == 0) digits += letter;
    }
    const std::string padding = digits.substr(std::min(digits.find('='), digits.size()));
    digits.resize(digits.size() - padding.size());
    std::size_t held = 0;  // the bits that make no byte yet
    int bits = 0;
    std::size_t count = 0;
    for (const char letter : digits) {
        const std::size_t digit = kBase64Digits.find(letter);
        const std::size_t touched = bits == 0 || bits == 2 ? 1 : 2;
        if (digit == std::string::npos || count + touched > size) return {-1, area};
        held = held << 6 | digit;
        bits += 6;
        if (bits >= 8) area[count++] = static_cast<char>(held >> (bits -= 8));
        held &= (1U << bits) - 1;
        if (bits > 0) area[count] = static_cast<char>(held << (8 - bits));
    }
    const char* const expected[] = {"", "(none)", "==", "="};
    const bool isGood = held == 0 && padding == expected[digits.size() % 4];
    return {isGood ? static_cast<std::ptrdiff_t>(count) : -1, area};
}

inline Coded PlainEncode(const std::string& data, std::size_t size) {
    std::string text;
    for (std::size_t at = 0; at < data.size(); at += 3) {
        if (text.size() + 4 > size) return {-1, text + std::string(size - text.size(), '#')};
        const std::size_t given = std::min<std::size_t>(data.size() - at, 3);
        unsigned bits = 0;
        for (std::size_t byte = 0; byte < 3; ++byte) {
            bits = bits << 8 | (byte < given ? static_cast<unsigned char>(data[at + byte]) : 0U);
        }
        for (std::size_t digit = 0; digit < 4; ++digit) {
            text += digit <= given ? kBase64Digits[bits >> (18 - 6 * digit) & 63] : '=';
        }
    }
    if (text.size() == size) return {-1, text};
    const auto length = static_cast<std::ptrdiff_t>(text.size());
    return {length, text + '\0' + std::string(size - text.size() - 1, '#')};
}

}  // namespace tarnwick::testing

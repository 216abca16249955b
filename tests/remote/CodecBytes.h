// Bytes and texts for the codec tests.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::testing {

using Bytes = std::vector<std::byte>;

inline Bytes BytesOf(std::string_view text) {
    Bytes bytes;
    for (const char character : text) bytes.push_back(static_cast<std::byte>(character));
    return bytes;
}
inline std::string TextOf(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Bytes without a visible pattern: every code stands for one or two of them.
inline std::string Noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::string text;
    while (text.size() < length) text.push_back(static_cast<char>(random()));
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

}  // namespace tarnwick::testing

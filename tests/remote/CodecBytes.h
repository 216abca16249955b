// Bytes, code streams and noise for the codec tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::testing {

using Bytes = std::vector<std::byte>;
using Codes = std::vector<unsigned>;

inline Bytes BytesOf(std::string_view text) {
    Bytes bytes;
    for (const char character : text) bytes.push_back(static_cast<std::byte>(character));
    return bytes;
}

inline Bytes Stream(const Codes& codes) {
    Bytes stream;
    for (const unsigned code : codes) {
        stream.push_back(static_cast<std::byte>(code));
        stream.push_back(static_cast<std::byte>(code >> 8));
    }
    return stream;
}

// Bytes without a visible pattern: every code stands for one or two of them.
inline std::string Noise(std::size_t length, std::uint32_t state) {
    std::string text;
    while (text.size() < length) {
        state = state * 1664525 + 1013904223;
        text.push_back(static_cast<char>(state >> 24));
    }
    return text;
}

}  // namespace tarnwick::testing

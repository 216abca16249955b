// Sixteen bytes at a time, of texts with kSlack bytes behind them. SSE2 is part of every x86-64.
#pragma once

#include <emmintrin.h>
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/ByteBuffer.h"

namespace tarnwick {

inline constexpr std::size_t kLane = sizeof(__m128i);
static_assert(kLane <= kSlack);

inline __m128i LoadLane(const char* bytes) {
    __m128i lane;
    std::memcpy(&lane, bytes, kLane);
    return lane;
}

// A bit for each byte of a lane that a comparison set.
inline unsigned BitsOf(__m128i compared) {
    return static_cast<unsigned>(_mm_movemask_epi8(compared));
}

inline unsigned BitsOfEqual(__m128i lane, char byte) {
    return BitsOf(_mm_cmpeq_epi8(lane, _mm_set1_epi8(byte)));
}

// Index of the first `byte` in `text`, which has slack, or its size.
inline std::size_t FindInLanes(std::string_view text, char byte) {
    for (std::size_t at = 0; at < text.size(); at += kLane) {
        const unsigned found = BitsOfEqual(LoadLane(text.data() + at), byte);
        if (found != 0) {
            return std::min(text.size(), at + static_cast<std::size_t>(std::countr_zero(found)));
        }
    }
    return text.size();
}

// Both sides have slack.
inline void CopyInLanes(char* to, std::string_view text) {
    for (std::size_t at = 0; at < text.size(); at += kLane) {
        std::memcpy(to + at, text.data() + at, kLane);
    }
}

// Several lanes at once, which is what most values take.
inline constexpr std::size_t kBlock = 4 * kLane;

inline void CopyBlock(char* to, const char* from) {
    const __m128i lanes[] = {LoadLane(from), LoadLane(from + kLane), LoadLane(from + 2 * kLane),
                             LoadLane(from + 3 * kLane)};
    std::memcpy(to, lanes, sizeof lanes);
}

// Like CopyInLanes; in blocks, of which the last two may overlap.
inline void CopyInBlocks(char* to, std::string_view text) {
    if (text.size() < kBlock) return CopyInLanes(to, text);
    const std::size_t last = text.size() - kBlock;
    for (std::size_t at = 0; at < last; at += kBlock) CopyBlock(to + at, text.data() + at);
    CopyBlock(to + last, text.data() + last);
}

// Copies the bytes before the first one that `maskOf` sets a bit of its lane for, in whole lanes:
// both sides have kSlack bytes more than `size`. Gives their count.
template <typename MaskOf>
std::size_t CopyUntil(char* to, const char* from, std::size_t size, MaskOf maskOf) {
    for (std::size_t at = 0; at < size; at += kLane) {
        const __m128i lane = LoadLane(from + at);
        const unsigned mask = maskOf(lane);
        std::memcpy(to + at, &lane, kLane);
        if (mask != 0) return std::min(size, at + static_cast<std::size_t>(std::countr_zero(mask)));
    }
    return size;
}

}  // namespace tarnwick

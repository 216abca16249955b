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

// Whether as many bytes at `text` as `tag` has are the same; both have slack. Short ones without a
// branch for each kind of length.
inline bool HoldsTag(const char* text, std::string_view tag) {
    if (tag.size() > kLane) return std::string_view(text, tag.size()) == tag;
    const unsigned same = BitsOf(_mm_cmpeq_epi8(LoadLane(text), LoadLane(tag.data())));
    return static_cast<std::size_t>(std::countr_one(same)) >= tag.size();
}

// The length of the tag that `text`, with slack, begins with, through its ">"; 0 when it has none
// in its first bytes.
inline std::size_t ShortTagLength(std::string_view text) {
    const unsigned ends = BitsOfEqual(LoadLane(text.data()), '>');
    return ends == 0 ? 0 : static_cast<std::size_t>(std::countr_zero(ends)) + 1;
}

}  // namespace tarnwick

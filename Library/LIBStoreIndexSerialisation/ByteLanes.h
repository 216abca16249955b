// Sixteen bytes at a time, of texts with kSlack bytes behind them. SSE2 is part of every x86-64.
#pragma once

#include <emmintrin.h>
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

// Whether two texts, both with slack, are the same: without a branch for each kind of length.
inline bool SameTag(std::string_view left, std::string_view right) {
    if (left.size() != right.size()) return false;
    if (left.size() > kLane) return left == right;
    const unsigned same = BitsOf(_mm_cmpeq_epi8(LoadLane(left.data()), LoadLane(right.data())));
    return static_cast<std::size_t>(std::countr_one(same)) >= left.size();
}

// The length of the tag that `text`, with slack, begins with, through its ">"; 0 when it has none
// in its first bytes.
inline std::size_t ShortTagLength(std::string_view text) {
    const unsigned ends = BitsOfEqual(LoadLane(text.data()), '>');
    return ends == 0 ? 0 : static_cast<std::size_t>(std::countr_zero(ends)) + 1;
}

}  // namespace tarnwick

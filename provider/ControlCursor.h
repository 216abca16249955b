// Walking over the bytes of a text that may end a field or a line: the control characters up to the
// line feed. 64 bytes are looked at together, so that a walk costs little more than reading.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tarnwick {

class ControlCursor {
  public:
    static constexpr std::size_t kChunk = 64;

    ControlCursor() = default;
    // Begins at `position` of `text`. Somewhere behind it must be such a byte, and a chunk behind
    // the last one must be readable.
    ControlCursor(const char* text, std::size_t position)
        : text_(text), chunk_(position), mask_(MaskAt(text + position)) {}

    // The position of the next NUL, tab, line feed or other character below the line feed.
    std::size_t Next() {
        while (mask_ == 0) {
            chunk_ += kChunk;
            mask_ = MaskAt(text_ + chunk_);
        }
        const auto bit = static_cast<std::size_t>(std::countr_zero(mask_));
        mask_ &= mask_ - 1;
        return chunk_ + bit;
    }

  private:
    static std::uint64_t LaneMask(const char* bytes) {
        const __m128i largest = _mm_set1_epi8('\n');
        __m128i lane;
        std::memcpy(&lane, bytes, sizeof lane);
        // Unsigned: a byte is small when it is its own minimum with the largest.
        const __m128i small = _mm_cmpeq_epi8(_mm_min_epu8(lane, largest), lane);
        return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(small)));
    }
    static std::uint64_t MaskAt(const char* bytes) {
        return LaneMask(bytes) | (LaneMask(bytes + 16) << 16) | (LaneMask(bytes + 32) << 32) |
               (LaneMask(bytes + 48) << 48);
    }

    const char* text_ = nullptr;
    std::size_t chunk_ = 0;
    std::uint64_t mask_ = 0;
};

}  // namespace tarnwick

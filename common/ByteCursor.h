// Walking over the bytes of a text that may end a field or a line. 64 bytes are looked at together,
// so that a walk costs little more than reading.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tarnwick {

// A set of bytes: those that have no bit which kBits has not.
template <unsigned char kBits>
struct BytesWithin {
    // Of 16 bytes those that belong to the set become -1.
    static __m128i In(__m128i lane) {
        const __m128i others = _mm_set1_epi8(static_cast<char>(~kBits));
        return _mm_cmpeq_epi8(_mm_and_si128(lane, others), _mm_setzero_si128());
    }
};
// NUL, line feed, Ctrl-Z, and five control characters that nobody writes.
using LineEnds = BytesWithin<'\n' | '\x1a'>;
// These, the tab and seven more; not the carriage return.
using FieldEnds = BytesWithin<'\t' | '\n' | '\x1a'>;

template <typename Set>
class ByteCursor {
  public:
    // Begins at `position` of `text`, which must outlive the cursor.
    ByteCursor(std::string_view text, std::size_t position)
        : text_(text), chunk_(position), mask_(MaskAt(position)) {}

    // The position of the next byte of the set; every position from the text's end on is one.
    std::size_t Next() {
        while (mask_ == 0) {
            chunk_ += kChunk;
            mask_ = MaskAt(chunk_);
        }
        const auto bit = static_cast<std::size_t>(std::countr_zero(mask_));
        mask_ &= mask_ - 1;
        return chunk_ + bit;
    }

  private:
    static constexpr std::size_t kChunk = 64;

    static std::uint64_t LaneMask(const char* bytes) {
        __m128i lane;
        std::memcpy(&lane, bytes, sizeof lane);
        return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(Set::In(lane))));
    }
    static std::uint64_t Mask(const char* bytes) {
        return LaneMask(bytes) | (LaneMask(bytes + 16) << 16) | (LaneMask(bytes + 32) << 32) |
               (LaneMask(bytes + 48) << 48);
    }
    std::uint64_t MaskAt(std::size_t position) const {
        if (text_.size() >= kChunk && position <= text_.size() - kChunk) {
            return Mask(text_.data() + position);
        }
        char rest[kChunk];
        std::memset(rest, '\n', kChunk);
        if (position < text_.size()) {
            std::memcpy(rest, text_.data() + position, text_.size() - position);
        }
        return Mask(rest);
    }

    std::string_view text_;
    std::size_t chunk_;
    std::uint64_t mask_;
};

}  // namespace tarnwick

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "remote/Lzw.h"

namespace tarnwick {
namespace {

constexpr unsigned kLostString = 0xFFFF;
// Entries beyond the single bytes.
constexpr std::size_t kAddedLimit = kLzwEntryLimit - kLzwSingleBytes;
// Strings are copied in blocks, so this much room holds the longest.
constexpr std::size_t kBlock = 16;
constexpr std::size_t kCopyRoom = 4 * kBlock;

using Block = __m128i;

Block LoadBlock(const std::byte* bytes) {
    Block block;
    std::memcpy(&block, bytes, sizeof block);
    return block;
}

// A window into this from kBlock - n on has its bytes set from the n-th on.
constexpr auto kFromOn = [] {
    std::array<std::uint8_t, 2 * kBlock> bytes{};
    for (std::size_t at = kBlock; at < bytes.size(); ++at) bytes[at] = 0xFF;
    return bytes;
}();

// The dictionary is the output itself: entry 256 + n is the string of the stream's n-th code (from
// 0) and the byte behind it, so all that is kept is where each of the first codes was expanded.
class Expander {
  public:
    Expander(std::span<const std::byte> input, std::span<std::byte> output)
        : input_(input), output_(output) {}

    LzwExpansion Run() {
        const std::size_t count = input_.size() / 2;
        std::size_t index = 0;
        while (index < count) {
            if (index <= kAddedLimit) {
                starts_[index] = static_cast<std::uint32_t>(position_);
            } else if (count - index >= 8 && ExpandSingles(index)) {
                index += 8;
                continue;
            }
            const LzwFault fault = Expand(CodeAt(index), index);
            if (fault != LzwFault::None) return {position_, fault};
            ++index;
        }
        return {position_, LzwFault::None};
    }

  private:
    unsigned CodeAt(std::size_t index) const {
        std::uint16_t code;
        std::memcpy(&code, input_.data() + 2 * index, sizeof code);
        return code;
    }

    // Eight codes that are all single bytes, once no entries are added any more.
    bool ExpandSingles(std::size_t index) {
        const Block codes = LoadBlock(input_.data() + 2 * index);
        const Block high = _mm_srli_epi16(codes, 8);
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(high, _mm_setzero_si128())) != 0xFFFF) return false;
        if (output_.size() - position_ < 8) return false;
        const Block bytes = _mm_packus_epi16(codes, codes);
        std::memcpy(output_.data() + position_, &bytes, 8);
        position_ += 8;
        return true;
    }

    LzwFault Expand(unsigned code, std::size_t index) {
        if (code < kLzwSingleBytes) {
            if (position_ == output_.size()) return LzwFault::NoRoom;
            output_[position_++] = static_cast<std::byte>(code);
            return LzwFault::None;
        }
        const std::size_t entry = code - kLzwSingleBytes;
        if (entry >= std::min(index, kAddedLimit))
            return code == kLostString ? LzwFault::LostString : LzwFault::UnknownCode;
        const std::size_t start = starts_[entry];
        const std::size_t length = starts_[entry + 1] - start + 1;
        if (length > kLzwLongestString) return LzwFault::UnknownCode;
        if (length > output_.size() - position_) return LzwFault::NoRoom;
        const bool isNewest = entry + 1 == index;
        if (output_.size() - position_ < kCopyRoom) {
            CopyBytes(start, length);
        } else if (isNewest) {
            CopyNewest(start, length);
        } else {
            CopyBlocks(start, length);
        }
        position_ += length;
        return LzwFault::None;
    }

    void CopyBlocks(std::size_t start, std::size_t length) {
        const std::byte* source = output_.data() + start;
        std::byte* target = output_.data() + position_;
        for (std::size_t at = 0; at < length; at += kBlock) {
            const Block block = LoadBlock(source + at);
            std::memcpy(target + at, &block, sizeof block);
        }
    }

    // The entry just added ends with the first byte of this very string. A byte written on its own
    // would stall the loads of the next such entry, so it goes out within its block.
    void CopyNewest(std::size_t start, std::size_t length) {
        const std::byte* source = output_.data() + start;
        std::byte* target = output_.data() + position_;
        const Block first = _mm_set1_epi8(static_cast<char>(*source));
        std::size_t at = 0;
        for (; length - at > kBlock; at += kBlock) {
            const Block block = LoadBlock(source + at);
            std::memcpy(target + at, &block, sizeof block);
        }
        const Block block = LoadBlock(source + at);
        Block end;
        std::memcpy(&end, kFromOn.data() + kBlock - (length - 1 - at), sizeof end);
        const Block joined = _mm_or_si128(_mm_andnot_si128(end, block), _mm_and_si128(end, first));
        std::memcpy(target + at, &joined, sizeof joined);
    }

    void CopyBytes(std::size_t start, std::size_t length) {
        for (std::size_t at = 0; at < length; ++at) {
            output_[position_ + at] = output_[start + at];
        }
    }

    std::span<const std::byte> input_;
    std::span<std::byte> output_;
    std::size_t position_ = 0;
    std::array<std::uint32_t, kAddedLimit + 1> starts_;
};

}  // namespace

LzwExpansion LzwExpand(std::span<const std::byte> input, std::span<std::byte> output) {
    return Expander(input, output).Run();
}

}  // namespace tarnwick

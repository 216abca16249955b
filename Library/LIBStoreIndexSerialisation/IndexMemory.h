// Bytes of an index in memory: buffers in which they are put together, chunks in which they stay,
// and sixteen of them at a time (SSE2 is part of every x86-64).
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace tarnwick {

// Whether two texts of `size` bytes, at least that of a Word and at most two, are the same.
template <typename Word>
bool SameEnds(const char* left, const char* right, std::size_t size) {
    Word words[4];
    std::memcpy(&words[0], left, sizeof(Word));
    std::memcpy(&words[1], right, sizeof(Word));
    std::memcpy(&words[2], left + size - sizeof(Word), sizeof(Word));
    std::memcpy(&words[3], right + size - sizeof(Word), sizeof(Word));
    return words[0] == words[1] && words[2] == words[3];
}

// Whether `text` begins with `prefix`; fast for prefixes of a few bytes.
inline bool BeginsWith(std::string_view text, std::string_view prefix) {
    const std::size_t size = prefix.size();
    if (size > text.size()) return false;
    if (size < 4 || size > 16) return text.starts_with(prefix);
    if (size < 8) return SameEnds<std::uint32_t>(text.data(), prefix.data(), size);
    return SameEnds<std::uint64_t>(text.data(), prefix.data(), size);
}

// What may be read, and overwritten in a buffer, behind the bytes that count, so that texts can be
// worked on in whole lanes.
inline constexpr std::size_t kSlack = 16;

// For bytes that come from many short texts. Where a std::string calls the C runtime for each, this
// copies short ones itself; that is most of what loading and saving an index costs. It has kSlack
// bytes behind what it holds or has room for.
class ByteBuffer {
  public:
    std::size_t Size() const { return size_; }
    std::string_view View() const { return {bytes_.get(), size_}; }
    void Clear() { size_ = 0; }

    void Append(std::string_view text) {
        Copy(Room(text.size()), text.data(), text.size());
        size_ += text.size();
    }
    // Place for `size` more bytes; those written there count with Extend.
    char* Room(std::size_t size) {
        if (size > capacity_ - size_) Grow(size);
        return bytes_.get() + size_;
    }
    void Extend(std::size_t size) { size_ += size; }

    void Append(char byte) { Append(std::string_view(&byte, 1)); }

  private:
    // Texts of up to 32 bytes in two moves that may overlap.
    static void Copy(char* to, const char* from, std::size_t size) {
        if (size >= 16) {
            if (size > 32) {
                std::memcpy(to, from, size);
            } else {
                CopyEnds<16>(to, from, size);
            }
        } else if (size >= 8) {
            CopyEnds<8>(to, from, size);
        } else if (size >= 4) {
            CopyEnds<4>(to, from, size);
        } else {
            for (std::size_t at = 0; at < size; ++at) to[at] = from[at];
        }
    }
    template <std::size_t kPart>
    static void CopyEnds(char* to, const char* from, std::size_t size) {
        char first[kPart];
        char last[kPart];
        std::memcpy(first, from, kPart);
        std::memcpy(last, from + size - kPart, kPart);
        std::memcpy(to, first, kPart);
        std::memcpy(to + size - kPart, last, kPart);
    }
    void Grow(std::size_t room);

    std::unique_ptr<char[]> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

// Memory for what lives as long as a loaded index: taken in chunks, given back all at once.
class IndexArena {
  public:
    // Memory of `size` bytes, aligned for any of the index's records, with kSlack readable bytes
    // behind it. It holds until Clear.
    char* Allocate(std::size_t size) {
        const std::size_t rounded = (size + kAlignment - 1) / kAlignment * kAlignment;
        if (rounded > left_) return AllocateInChunk(rounded);
        char* const block = free_;
        free_ += rounded;
        left_ -= rounded;
        return block;
    }
    void Clear();

  private:
    char* AllocateInChunk(std::size_t size);

    static constexpr std::size_t kAlignment = alignof(void*);
    static constexpr std::size_t kChunk = std::size_t{1} << 14;

    std::vector<std::unique_ptr<char[]>> chunks_;
    char* free_ = nullptr;
    std::size_t left_ = 0;
};

// From here on texts have kSlack bytes behind them.
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

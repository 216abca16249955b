#include "common/Scan.h"

#include <emmintrin.h>
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace tarnwick {
namespace {

constexpr std::size_t kLane = 16;

__m128i LoadLane(const char* bytes) {
    __m128i lane;
    std::memcpy(&lane, bytes, kLane);
    return lane;
}

// The low `count` bytes of a word hold as many bytes from `bytes`, of which there are that many.
template <typename Half>
std::uint64_t LoadOverlapped(const char* bytes, std::size_t count) {
    Half low = 0;
    Half high = 0;
    std::memcpy(&low, bytes, sizeof low);
    std::memcpy(&high, bytes + count - sizeof high, sizeof high);
    return low | (std::uint64_t{high} << (8 * (count - sizeof high)));
}

std::uint64_t LoadWord(const char* bytes, std::size_t count) {
    if (count >= 4) return LoadOverlapped<std::uint32_t>(bytes, count);
    if (count >= 2) return LoadOverlapped<std::uint16_t>(bytes, count);
    return count == 0 ? 0 : static_cast<unsigned char>(*bytes);
}

// Fewer than kLane bytes; the rest of the lane is zero.
__m128i LoadPartOfLane(const char* bytes, std::size_t count) {
    constexpr std::size_t kHalf = kLane / 2;
    const std::size_t low = count < kHalf ? count : kHalf;
    return _mm_set_epi64x(static_cast<long long>(LoadWord(bytes + low, count - low)),
                          static_cast<long long>(LoadWord(bytes, low)));
}

unsigned MatchMask(__m128i lane, __m128i pattern) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(lane, pattern)));
}

bool AnyOfFourLanes(const char* bytes, __m128i pattern) {
    const __m128i first = _mm_or_si128(_mm_cmpeq_epi8(LoadLane(bytes), pattern),
                                       _mm_cmpeq_epi8(LoadLane(bytes + kLane), pattern));
    const __m128i last = _mm_or_si128(_mm_cmpeq_epi8(LoadLane(bytes + 2 * kLane), pattern),
                                      _mm_cmpeq_epi8(LoadLane(bytes + 3 * kLane), pattern));
    return _mm_movemask_epi8(_mm_or_si128(first, last)) != 0;
}

std::size_t FirstBit(unsigned mask) {
    return static_cast<std::size_t>(std::countr_zero(mask));
}

// Index of the first byte at or after `from` whose bit `maskOf` sets for the lane that it lies in.
template <typename MaskOf>
std::size_t FindFirst(std::string_view text, std::size_t from, MaskOf maskOf) {
    if (from >= text.size()) return kNotFound;
    std::size_t at = from;
    for (; text.size() - at >= kLane; at += kLane) {
        const unsigned mask = maskOf(LoadLane(text.data() + at));
        if (mask != 0) return at + FirstBit(mask);
    }
    const std::size_t left = text.size() - at;
    const unsigned mask = maskOf(LoadPartOfLane(text.data() + at, left)) & ((1U << left) - 1);
    return mask == 0 ? kNotFound : at + FirstBit(mask);
}

}  // namespace

std::size_t FindByte(std::string_view text, char byte, std::size_t from) {
    const __m128i pattern = _mm_set1_epi8(byte);
    std::size_t at = from;
    // Long stretches without a match pass by four lanes with one test.
    while (at < text.size() && text.size() - at >= 4 * kLane &&
           !AnyOfFourLanes(text.data() + at, pattern)) {
        at += 4 * kLane;
    }
    return FindFirst(text, at, [&](__m128i lane) { return MatchMask(lane, pattern); });
}

std::size_t FindEach(std::string_view text, char byte, std::span<std::size_t> positions) {
    const __m128i pattern = _mm_set1_epi8(byte);
    std::size_t count = 0;
    std::size_t at = 0;
    for (; text.size() - at >= kLane; at += kLane) {
        for (unsigned mask = MatchMask(LoadLane(text.data() + at), pattern); mask != 0;
             mask &= mask - 1) {
            if (count == positions.size()) return count;
            positions[count++] = at + FirstBit(mask);
        }
    }
    for (at = FindByte(text, byte, at); at != kNotFound && count < positions.size();
         at = FindByte(text, byte, at + 1)) {
        positions[count++] = at;
    }
    return count;
}

std::size_t FindEither(std::string_view text, char first, char second, std::size_t from) {
    const __m128i firstPattern = _mm_set1_epi8(first);
    const __m128i secondPattern = _mm_set1_epi8(second);
    return FindFirst(text, from, [&](__m128i lane) {
        return MatchMask(lane, firstPattern) | MatchMask(lane, secondPattern);
    });
}

std::size_t CountInWindows(std::string_view text, char byte, char unless) {
    const __m128i pattern = _mm_set1_epi8(byte);
    const __m128i unlessPattern = _mm_set1_epi8(unless);
    const __m128i zero = _mm_setzero_si128();
    __m128i total = zero;
    __m128i found = zero;
    for (std::size_t at = 0; at != text.size();) {
        // A match is -1 in its byte of the lane; a window has too few lanes for one to overflow.
        __m128i sums = zero;
        for (const std::size_t end = at + kCountWindow; at != end; at += kLane) {
            const __m128i lane = LoadLane(text.data() + at);
            sums = _mm_sub_epi8(sums, _mm_cmpeq_epi8(lane, pattern));
            found = _mm_or_si128(found, _mm_cmpeq_epi8(lane, unlessPattern));
        }
        if (MatchMask(sums, zero) == 0xFFFF) return 0;
        total = _mm_add_epi64(total, _mm_sad_epu8(sums, zero));
    }
    if (_mm_movemask_epi8(found) != 0) return 0;
    std::uint64_t halves[2];
    std::memcpy(halves, &total, sizeof halves);
    return static_cast<std::size_t>(halves[0] + halves[1]);
}

std::size_t FindText(std::string_view text, std::string_view wanted, std::size_t from) {
    if (from > text.size() || wanted.size() > text.size() - from) return kNotFound;
    if (wanted.empty()) return from;
    // The last position at which the wanted text still fits bounds the search for its first byte.
    const std::string_view starts = text.substr(0, text.size() - wanted.size() + 1);
    for (std::size_t at = FindByte(starts, wanted[0], from); at != kNotFound;
         at = FindByte(starts, wanted[0], at + 1)) {
        if (std::memcmp(text.data() + at, wanted.data(), wanted.size()) == 0) return at;
    }
    return kNotFound;
}

std::size_t BoundedLength(const char* text, std::size_t limit) {
    const std::size_t end = FindByte(std::string_view(text, limit), '\0');
    return end == kNotFound ? limit : end;
}

}  // namespace tarnwick

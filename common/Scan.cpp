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

// The end of a text that is shorter than a lane is taken with the bytes before it, whose bits are
// shifted away.
__m128i LoadLastLane(std::string_view text) {
    return LoadLane(text.data() + (text.size() - kLane));
}

std::size_t PassedInLastLane(std::string_view text, std::size_t at) {
    return at - (text.size() - kLane);
}

constexpr signed char kFirstPrintable = 0x20;

bool IsMarkupOrUnprintable(char byte) {
    return byte == '&' || byte == '<' || byte == '>' ||
           static_cast<signed char>(byte) < kFirstPrintable;
}

unsigned MarkupOrUnprintableMask(__m128i lane) {
    const __m128i low = _mm_cmplt_epi8(lane, _mm_set1_epi8(kFirstPrintable));
    return static_cast<unsigned>(_mm_movemask_epi8(low)) | MatchMask(lane, _mm_set1_epi8('&')) |
           MatchMask(lane, _mm_set1_epi8('<')) | MatchMask(lane, _mm_set1_epi8('>'));
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
    for (; at < text.size() && text.size() - at >= kLane; at += kLane) {
        const unsigned mask = MatchMask(LoadLane(text.data() + at), pattern);
        if (mask != 0) return at + FirstBit(mask);
    }
    if (at < text.size() && text.size() >= kLane) {
        const unsigned mask = MatchMask(LoadLastLane(text), pattern) >> PassedInLastLane(text, at);
        return mask == 0 ? kNotFound : at + FirstBit(mask);
    }
    for (; at < text.size(); ++at) {
        if (text[at] == byte) return at;
    }
    return kNotFound;
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
    std::size_t at = from;
    for (; at < text.size() && text.size() - at >= kLane; at += kLane) {
        const __m128i lane = LoadLane(text.data() + at);
        const unsigned mask = MatchMask(lane, firstPattern) | MatchMask(lane, secondPattern);
        if (mask != 0) return at + FirstBit(mask);
    }
    for (; at < text.size(); ++at) {
        if (text[at] == first || text[at] == second) return at;
    }
    return kNotFound;
}

std::size_t CountByte(std::string_view text, char byte) {
    // A match is -1 in its byte of the lane; sums of a byte must be taken out before they overflow.
    constexpr std::size_t kLanesPerSum = 255;
    const __m128i pattern = _mm_set1_epi8(byte);
    const __m128i zero = _mm_setzero_si128();
    __m128i total = zero;
    std::size_t at = 0;
    while (text.size() - at >= kLane) {
        const std::size_t lanes = std::min((text.size() - at) / kLane, kLanesPerSum);
        __m128i sums = zero;
        for (const std::size_t end = at + lanes * kLane; at != end; at += kLane) {
            sums = _mm_sub_epi8(sums, _mm_cmpeq_epi8(LoadLane(text.data() + at), pattern));
        }
        total = _mm_add_epi64(total, _mm_sad_epu8(sums, zero));
    }
    std::uint64_t halves[2];
    std::memcpy(halves, &total, sizeof halves);
    auto count = static_cast<std::size_t>(halves[0] + halves[1]);
    for (; at < text.size(); ++at) count += text[at] == byte ? 1 : 0;
    return count;
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

std::size_t FindMarkupOrUnprintable(std::string_view text, std::size_t from) {
    std::size_t at = from;
    for (; at < text.size() && text.size() - at >= kLane; at += kLane) {
        const unsigned mask = MarkupOrUnprintableMask(LoadLane(text.data() + at));
        if (mask != 0) return at + FirstBit(mask);
    }
    for (; at < text.size(); ++at) {
        if (IsMarkupOrUnprintable(text[at])) return at;
    }
    return kNotFound;
}

std::size_t BoundedLength(const char* text, std::size_t limit) {
    const std::size_t end = FindByte(std::string_view(text, limit), '\0');
    return end == kNotFound ? limit : end;
}

}  // namespace tarnwick

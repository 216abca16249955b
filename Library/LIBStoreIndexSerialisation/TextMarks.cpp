#include "Library/LIBStoreIndexSerialisation/TextMarks.h"

#include <algorithm>

namespace tarnwick {
namespace {

// All bits of each byte that is to be marked.
__m128i HitsAt(const char* bytes) {
    const __m128i lane = LoadLane(bytes);
    return _mm_or_si128(_mm_cmpeq_epi8(lane, _mm_set1_epi8('&')),
                        _mm_cmpeq_epi8(lane, _mm_set1_epi8('<')));
}

// Writes the marks of the block at `at` to `next`; gives where those of the one behind it go. The
// hits are counted as bytes of -1: a population count is not part of every x86-64.
std::uint32_t* MarkBlock(std::uint32_t* next, const char* bytes, std::size_t at) {
    const __m128i hits[] = {HitsAt(bytes + at), HitsAt(bytes + at + kLane),
                            HitsAt(bytes + at + 2 * kLane), HitsAt(bytes + at + 3 * kLane)};
    const __m128i sums =
        _mm_add_epi8(_mm_add_epi8(hits[0], hits[1]), _mm_add_epi8(hits[2], hits[3]));
    const __m128i zero = _mm_setzero_si128();
    const __m128i count = _mm_sad_epu8(_mm_sub_epi8(zero, sums), zero);
    std::uint32_t* const end = next + _mm_cvtsi128_si32(count) + _mm_extract_epi16(count, 4);
    std::uint64_t rest = BitsOf(hits[0]) | BitsOf(hits[1]) << kLane |
                         std::uint64_t{BitsOf(hits[2]) | BitsOf(hits[3]) << kLane} << 2 * kLane;
    // Stands in when none is left.
    constexpr std::uint64_t kLast = std::uint64_t{1} << (kBlock - 1);
    const auto mark = [&](std::uint32_t* place) {
        *place = static_cast<std::uint32_t>(at) +
                 static_cast<std::uint32_t>(std::countr_zero(rest | kLast));
        rest &= rest - 1;
    };
    static_assert(kUsualMarks == 6);
    mark(next);
    mark(next + 1);
    mark(next + 2);
    mark(next + 3);
    mark(next + 4);
    mark(next + 5);
    for (std::uint32_t* more = next + kUsualMarks; more < end; ++more) mark(more);
    return end;
}

}  // namespace

void FindMarks(const char* bytes, std::size_t start, std::size_t end, std::uint32_t* marks) {
    std::uint32_t* next = marks;
    for (std::size_t at = start; at < end; at += kBlock) next = MarkBlock(next, bytes, at);
    // What stands behind the text is none of it.
    while (next != marks && next[-1] >= end) --next;
    std::fill_n(next, 3, static_cast<std::uint32_t>(end));
}

}  // namespace tarnwick

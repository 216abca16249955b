// The compression of parameter values: Lempel-Ziv-Welch with fixed 16-bit codes, low byte first, a
// dictionary of at most 1023 strings, no clear code and no end code. Once the dictionary is full it
// stays as it is. Both sides of the wire must agree on every code, so nothing here may be tuned.
#pragma once

#include <cstddef>
#include <span>

namespace tarnwick {

// Entries of a full dictionary: codes 0 to 1022.
inline constexpr std::size_t kLzwEntryLimit = 1023;
// Its first entries are the single bytes.
inline constexpr unsigned kLzwSingleBytes = 256;
// The longest string that one code of a stream stands for, in bytes.
inline constexpr std::size_t kLzwLongestString = 62;

// Bytes that `length` bytes can need: no string is shorter than one byte.
constexpr std::size_t LzwWorstSize(std::size_t length) {
    return 2 * length;
}

// Writes the codes of `input` to `output` and gives their size in bytes, 0 for no input. `output`
// has LzwWorstSize(input.size()) bytes; when it has fewer, nothing is written and the result is 0.
std::size_t LzwCompress(std::span<const std::byte> input, std::span<std::byte> output);

enum class LzwFault {
    None,
    LostString,   // the code 0xFFFF: a compressor that did not find its own string
    UnknownCode,  // a code that no compressor writes at this place
    NoRoom,       // more bytes than the output has room for
};

struct LzwExpansion {
    std::size_t length;  // bytes expanded, up to the fault if there is one
    LzwFault fault;
};

// Expands the codes of `input` (an odd last byte is ignored) into `output` and stops at its end.
// Bytes of `output` behind the expanded length may hold anything afterwards.
LzwExpansion LzwExpand(std::span<const std::byte> input, std::span<std::byte> output);

}  // namespace tarnwick

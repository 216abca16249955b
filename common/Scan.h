// Searching bytes. The C runtime's scanners (memchr, strlen, strstr) are many times slower under
// some runtimes than under others; these run at the same speed everywhere and serve every hot loop.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace tarnwick {

inline constexpr std::size_t kNotFound = std::string_view::npos;

// Index of the first `byte` in `text` at or after `from`, or kNotFound.
std::size_t FindByte(std::string_view text, char byte, std::size_t from = 0);

// Fills `positions` with the indexes of the first bytes of `text` that are `byte`, as many as there
// are and it holds; their count.
std::size_t FindEach(std::string_view text, char byte, std::span<std::size_t> positions);

// Index of the first byte of `text` at or after `from` that is `first` or `second`, or kNotFound.
std::size_t FindEither(std::string_view text, char first, char second, std::size_t from = 0);

// How often `byte` occurs in `text`, whose size is a multiple of kCountWindow; 0 when one of its
// windows of that size has none, or when `unless` occurs.
inline constexpr std::size_t kCountWindow = 512;
std::size_t CountInWindows(std::string_view text, char byte, char unless);

// Index of the first occurrence of `wanted` in `text` at or after `from`, or kNotFound. An empty
// `wanted` is found at `from` when that lies in or just behind the text.
std::size_t FindText(std::string_view text, std::string_view wanted, std::size_t from = 0);

// Count of bytes before the first NUL, at most `limit`; never reads beyond `limit`.
std::size_t BoundedLength(const char* text, std::size_t limit);

}  // namespace tarnwick

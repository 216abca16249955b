// How an item's text is laid out in its file so that it survives the chunk reader, which skips one
// byte between two chunks: a filler byte stands at each place that is skipped.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::admin {

// Largest count of bytes that the chunk reader hands out at a time.
inline constexpr std::size_t kItemChunkSize = 8192;
// Synchronous idle: the character that stands for nothing but the passing of time.
inline constexpr char kItemFiller = '\x16';

// The file that gives `content` when it is read in chunks.
std::string LaidOutForChunks(std::string_view content);

// What the chunk reader makes of a file.
std::string ReadInChunks(std::string_view file);

// Offset of the first byte of the file that the chunk reader skips although it is no filler; no
// value when the file reads without loss.
std::optional<std::size_t> FirstLostByte(std::string_view file);

}  // namespace tarnwick::admin

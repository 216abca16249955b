// What the writer and the reader of zip archives share: PKWARE's APPNOTE.TXT without its zip64,
// encryption and archives of several volumes.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace tarnwick::admin {

inline constexpr std::uint32_t kLocalHeaderMark = 0x04034B50;
inline constexpr std::uint32_t kDescriptorMark = 0x08074B50;
inline constexpr std::uint32_t kDirectoryMark = 0x02014B50;
inline constexpr std::uint32_t kDirectoryEndMark = 0x06054B50;
inline constexpr std::size_t kLocalHeaderSize = 30;
inline constexpr std::size_t kDirectoryEntrySize = 46;
inline constexpr std::size_t kDirectoryEndSize = 22;

inline constexpr std::uint16_t kStored = 0;
inline constexpr std::uint16_t kDeflated = 8;
inline constexpr std::uint16_t kSizesFollow = 1U << 3;  // behind the member's bytes
inline constexpr std::uint16_t kUtf8Name = 1U << 11;

// What a count or size is that stands in zip64's fields instead; so the largest is one less.
inline constexpr std::uint32_t kNoSize = 0xFFFFFFFF;
inline constexpr std::uint16_t kNoCount = 0xFFFF;

// Takes bytes in pieces, in their order. Throws Failure when it cannot.
using ByteTarget = std::function<void(std::string_view bytes)>;

}  // namespace tarnwick::admin

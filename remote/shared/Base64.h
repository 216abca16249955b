// Base64 (RFC 4648, section 4): the standard alphabet, "=" padding, no line breaks. Decoding is
// strict about padding and unused bits but skips white space anywhere.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick {

inline constexpr std::ptrdiff_t kBase64Failed = -1;

// Characters that `length` bytes become, without a terminator.
constexpr std::size_t Base64EncodedLength(std::size_t length) {
    return (length + 2) / 3 * 4;
}

// Encodes `data` into `text` and terminates it with a NUL. The result is the count of characters
// before the NUL; kBase64Failed when they and the NUL do not fit, with the groups that did fit left
// in `text`.
std::ptrdiff_t Base64Encode(std::span<const std::byte> data, std::span<char> text);

// Decodes `text` into `data`. The result is the count of whole bytes; kBase64Failed, with the bytes
// before the fault left in `data`, for a character outside the alphabet, missing or misplaced
// padding, unused bits that are not zero, or too small an area. A padded text needs room for the
// byte that its last character starts, one more than the result.
std::ptrdiff_t Base64Decode(std::string_view text, std::span<std::byte> data);

// With no area to write to: the same checks and the same count, without a limit.
std::ptrdiff_t Base64Decode(std::string_view text, std::nullptr_t none);

// The same into memory of their own: ceil(length / 3) * 4 characters and a terminator; at most
// ceil(length / 4) * 3 bytes. No value stands for kBase64Failed. They throw only std::bad_alloc.
std::string Base64EncodeAlloc(std::span<const std::byte> data);
std::optional<std::vector<std::byte>> Base64DecodeAlloc(std::string_view text);

}  // namespace tarnwick

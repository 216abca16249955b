// The texts that each parameter leaves on the standard output, all lines of one parameter at once:
// the order is that of the steps, and one write costs far less than one for each line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "remote/Lzw.h"

namespace tarnwick {

// Of a parameter sent: the size of its compressed form, its base64 text and what encoding gave.
std::string EncodeTrace(std::size_t compressedSize, std::string_view encoded,
                        std::ptrdiff_t result);

// Of a parameter received, up to the decoding of its base64 text.
std::string DecodeTrace(std::size_t textLength, std::size_t recordSize, std::ptrdiff_t decoded);

// What follows when that could be decoded.
void AppendExpandTrace(std::string& trace, LzwExpansion expansion);

}  // namespace tarnwick

// Where a text's "<" and "&" stand. They are found for a whole block at once, so that taking one
// piece does not wait for the search that ends the piece before it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

namespace tarnwick {

// The text runs from its first mark to `end`; all places count from `bytes`. Behind the marks comes
// the end, three times. The byte there is no "&", and kBlock more may be read.
struct MarkedText {
    const char* bytes;
    const std::uint32_t* marks;
    std::size_t end;
};

// The marks of one block that are written without asking whether it has as many.
inline constexpr std::size_t kUsualMarks = 6;
// Room for the marks of a text.
constexpr std::size_t RoomForMarks(std::size_t size) {
    return size + kBlock + kUsualMarks;
}

// Writes the marks of the text from `start` to `end`, and three times its end.
void FindMarks(const char* bytes, std::size_t start, std::size_t end, std::uint32_t* marks);

}  // namespace tarnwick

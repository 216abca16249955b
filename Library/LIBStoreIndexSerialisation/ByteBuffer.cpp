#include "Library/LIBStoreIndexSerialisation/ByteBuffer.h"

#include <algorithm>

namespace tarnwick {

void ByteBuffer::Grow(std::size_t room) {
    constexpr std::size_t kLeast = 256;
    const std::size_t capacity = std::max({kLeast, 2 * capacity_, size_ + room});
    std::unique_ptr<char[]> bytes(new char[capacity + kSlack]);
    if (size_ != 0) std::memcpy(bytes.get(), bytes_.get(), size_);
    bytes_ = std::move(bytes);
    capacity_ = capacity;
}

}  // namespace tarnwick

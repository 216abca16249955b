#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

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

char* IndexArena::AllocateInChunk(std::size_t size) {
    // A large block gets a chunk of its own, and the one in use stays in use.
    const bool large = size > kChunk / 4;
    chunks_.push_back(std::unique_ptr<char[]>(new char[(large ? size : kChunk) + kSlack]));
    if (large) return chunks_.back().get();
    free_ = chunks_.back().get() + size;
    left_ = kChunk - size;
    return chunks_.back().get();
}

void IndexArena::Clear() {
    chunks_.clear();
    free_ = nullptr;
    left_ = 0;
}

}  // namespace tarnwick

#include "Library/LIBStoreIndexSerialisation/IndexArena.h"

#include "Library/LIBStoreIndexSerialisation/ByteBuffer.h"

namespace tarnwick {

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

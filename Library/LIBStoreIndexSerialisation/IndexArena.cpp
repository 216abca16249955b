#include "Library/LIBStoreIndexSerialisation/IndexArena.h"

#include "Library/LIBStoreIndexSerialisation/ByteBuffer.h"

namespace tarnwick {
namespace {

constexpr std::size_t kAlignment = alignof(void*);

}  // namespace

char* IndexArena::Allocate(std::size_t size) {
    const std::size_t rounded = (size + kAlignment - 1) / kAlignment * kAlignment;
    if (rounded > left_) {
        // A large block gets a chunk of its own, and the one in use stays in use.
        const bool large = rounded > kChunk / 4;
        chunks_.push_back(std::unique_ptr<char[]>(new char[(large ? rounded : kChunk) + kSlack]));
        if (large) return chunks_.back().get();
        free_ = chunks_.back().get();
        left_ = kChunk;
    }
    char* const block = free_;
    free_ += rounded;
    left_ -= rounded;
    return block;
}

void IndexArena::Clear() {
    chunks_.clear();
    free_ = nullptr;
    left_ = 0;
}

}  // namespace tarnwick

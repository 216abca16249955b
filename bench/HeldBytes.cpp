// In a file of its own: where these are inlined, the compiler takes their malloc and free for a
// mismatched pair.
#include "bench/HeldBytes.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> heldBytes{0};

}  // namespace

// Every byte that the standard library holds for us is counted, as the allocator hands it out.
void* operator new(std::size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    heldBytes += malloc_usable_size(block);
    return block;
}
void operator delete(void* block) noexcept {
    heldBytes -= malloc_usable_size(block);
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}

namespace tarnwick::bench {

std::size_t HeldBytes() {
    return heldBytes;
}

}  // namespace tarnwick::bench

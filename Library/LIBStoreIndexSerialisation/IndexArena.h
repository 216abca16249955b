// Memory for what lives as long as a loaded index: taken in chunks, given back all at once.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace tarnwick {

class IndexArena {
  public:
    // Memory of `size` bytes, aligned for any of the index's records, with kSlack readable bytes
    // behind it. It holds until Clear.
    char* Allocate(std::size_t size) {
        const std::size_t rounded = (size + kAlignment - 1) / kAlignment * kAlignment;
        if (rounded > left_) return AllocateInChunk(rounded);
        char* const block = free_;
        free_ += rounded;
        left_ -= rounded;
        return block;
    }
    void Clear();

  private:
    char* AllocateInChunk(std::size_t size);

    static constexpr std::size_t kAlignment = alignof(void*);
    static constexpr std::size_t kChunk = std::size_t{1} << 14;

    std::vector<std::unique_ptr<char[]>> chunks_;
    char* free_ = nullptr;
    std::size_t left_ = 0;
};

}  // namespace tarnwick

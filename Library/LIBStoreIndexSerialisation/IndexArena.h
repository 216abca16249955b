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
    char* Allocate(std::size_t size);
    void Clear();

  private:
    static constexpr std::size_t kChunk = std::size_t{1} << 16;

    std::vector<std::unique_ptr<char[]>> chunks_;
    char* free_ = nullptr;
    std::size_t left_ = 0;
};

}  // namespace tarnwick

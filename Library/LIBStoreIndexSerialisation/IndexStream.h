// What the index writer asks of a file. It knows nothing of files, so that it runs over anything
// that holds bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tarnwick {

// A file open for writing at any place, and for reading when it is changed in place.
class IndexStream {
  public:
    virtual ~IndexStream() = default;
    virtual bool Seek(std::uint64_t offset) = 0;
    // Whole reads and writes at the current place alone; less is a failure.
    virtual bool Read(std::span<char> bytes) = 0;
    virtual bool Write(std::string_view bytes) = 0;
    virtual bool Flush() = 0;
    virtual std::optional<std::uint64_t> Size() = 0;
};

}  // namespace tarnwick

// What the index reader and writer ask of a file. Both know nothing of files, so that they run over
// anything that holds bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tarnwick {

// Bytes from first to last.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    // Up to bytes.size() bytes; 0 at the end, and when they cannot be read.
    virtual std::size_t Read(std::span<char> bytes) = 0;
};

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

// Where a reader's bytes come from: a file, or whatever else holds bytes.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace tarnwick {

class ByteSource {
  public:
    virtual ~ByteSource() = default;
    // Reads up to bytes.size() bytes from where the last read ended; the count read, 0 at the end,
    // no value when the read failed.
    virtual std::optional<std::size_t> Read(std::span<char> bytes) = 0;
};

}  // namespace tarnwick

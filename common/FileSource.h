// An open file's bytes, from its current position on.
#pragma once

#include "common/ByteSource.h"
#include "common/Files.h"

namespace tarnwick {

class FileSource : public ByteSource {
  public:
    // `file` must outlive the source.
    explicit FileSource(File& file) : file_(file) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override;

  private:
    File& file_;
};

}  // namespace tarnwick

// The coders that ours are compared with, each through the public interface of its library.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace tarnwick::bench {

using ByteSpan = std::span<const std::byte>;

// The LZW coder of giflib: one open file in memory, an image of one line for every value. What is
// measured beside the coder: the image's header, and packing the codes into blocks of bits.
class GifCompressor {
  public:
    GifCompressor();
    ~GifCompressor();
    void Compress(ByteSpan value);

  private:
    struct File;
    std::unique_ptr<File> file_;
};

// The LZW coder of libtiff: one open file in memory whose only strip is the value. What is measured
// beside the coder: the strip's bookkeeping, and packing the codes into bits.
class TiffStrip {
  public:
    explicit TiffStrip(ByteSpan value);
    ~TiffStrip();
    void Compress();
    // Of what the constructor compressed.
    void Expand();

  private:
    struct File;
    std::unique_ptr<File> file_;
};

// OpenSSL's base64 of whole blocks: no line breaks, no allocation.
void OpensslEncode(ByteSpan data, std::vector<unsigned char>& text);
void OpensslDecode(std::span<const char> text, std::vector<unsigned char>& data);

}  // namespace tarnwick::bench

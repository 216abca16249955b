// Writing a zip archive from its beginning to its end, in memory that does not grow with its files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tools/admin/archive/ZipFormat.h"

namespace tarnwick::admin {

// When a file was written: the directory has the clock's time and, in an extra field, UTC.
struct ZipTime {
    std::int64_t utcSeconds = 0;    // since 1970-01-01
    std::int64_t localSeconds = 0;  // the same moment by the clock of this place
};

// Throws Failure (Refused) at what a plain zip cannot hold: 4 GiB and 65535 files.
class ZipWriter {
  public:
    explicit ZipWriter(ByteTarget sink);
    ZipWriter(const ZipWriter&) = delete;
    ZipWriter& operator=(const ZipWriter&) = delete;
    ~ZipWriter();

    // A file: its path with slashes in UTF-8, then its bytes.
    void Begin(const std::string& name, const ZipTime& modified);
    void Write(std::string_view bytes);
    void End();
    // The directory. Nothing may follow.
    void Finish();

  private:
    struct Deflation;

    void Put(std::string_view bytes);
    void Deflate(std::string_view bytes, bool isLast);

    ByteTarget sink_;
    std::unique_ptr<Deflation> deflation_;
    std::string directory_;
    std::uint64_t position_ = 0;
    std::uint64_t count_ = 0;
    // Of the file that is being written.
    std::string name_;
    std::string times_;
    std::string extra_;
    std::uint64_t begin_ = 0;
    std::uint64_t packed_ = 0;
    std::uint64_t size_ = 0;
    std::uint32_t crc_ = 0;
};

}  // namespace tarnwick::admin

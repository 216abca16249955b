// Reading a zip archive that anybody may have made, or damaged. Nothing that it says is believed:
// its parts must lie within it and not over each other, both places that name a file must agree,
// and the bytes must be as many as was said and have their checksum. Every Failure (Refused) names
// the file.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/admin/archive/ZipFormat.h"

namespace tarnwick::admin {

// An archive's bytes.
class ByteRange {
  public:
    virtual ~ByteRange() = default;
    virtual std::uint64_t Size() const = 0;
    // Fills `bytes` from `offset` on; all of them lie within the size. Throws Failure when it
    // cannot.
    virtual void Read(std::uint64_t offset, std::span<char> bytes) = 0;
};

struct ZipMember {
    std::string name;     // as it stands there
    bool isUtf8 = false;  // as the archive says
    bool isDeflated = false;
    std::uint32_t crc = 0;
    std::uint64_t packed = 0;
    std::uint64_t size = 0;
    std::uint64_t header = 0;  // where its own header begins
    std::uint64_t data = 0;    // and its bytes
};

// For messages: in quotes, on one line, not too long.
std::string ShownName(const std::string& name);

// What the archive holds, in the order of its directory.
std::vector<ZipMember> ReadZipDirectory(ByteRange& archive);

// The member's bytes. The sink may have taken some before they turn out to be damaged.
void ReadZipMember(ByteRange& archive, const ZipMember& member, const ByteTarget& sink);

}  // namespace tarnwick::admin

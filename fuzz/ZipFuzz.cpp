// Any bytes as a zip archive: what the reader takes has its sizes and checksums, and lies within
// the bytes; everything else is refused. And what the writer packs of any bytes reads back.
#include <algorithm>

#include "fuzz/Fuzz.h"
#include "tools/admin/archive/Manifest.h"
#include "tools/admin/archive/ZipReader.h"
#include "tools/admin/archive/ZipWriter.h"
#include "tools/admin/Failure.h"

namespace tarnwick::fuzz {
namespace {

using namespace admin;

class Bytes : public ByteRange {
  public:
    explicit Bytes(std::string_view bytes) : bytes_(bytes) {}
    std::uint64_t Size() const override { return bytes_.size(); }
    void Read(std::uint64_t offset, std::span<char> bytes) override {
        Require(offset <= bytes_.size() && bytes.size() <= bytes_.size() - offset);
        std::ranges::copy(bytes_.substr(static_cast<std::size_t>(offset), bytes.size()),
                          bytes.begin());
    }

  private:
    std::string_view bytes_;
};

std::string Unpacked(ByteRange& archive, const ZipMember& member) {
    std::string bytes;
    ReadZipMember(archive, member, [&bytes](std::string_view part) { bytes += part; });
    Require(bytes.size() == member.size);
    return bytes;
}

void CheckForeign(std::string_view input) {
    Bytes archive(input);
    try {
        for (const ZipMember& member : ReadZipDirectory(archive)) Unpacked(archive, member);
    } catch (const Failure& failure) {
        Require(failure.Status() == ExitStatus::Refused);
    }
}

void CheckManifest(std::string_view input) {
    try {
        const Manifest manifest = ParseManifest(input);
        const Manifest again = ParseManifest(ManifestText(manifest));
        Require(again.files.size() == manifest.files.size() && again.taken == manifest.taken);
    } catch (const Failure& failure) {
        Require(failure.Status() == ExitStatus::Refused);
    }
}

// The input as two files, written in pieces.
void CheckOwn(std::string_view input) {
    const std::string_view files[] = {input.substr(0, input.size() / 3),
                                      input.substr(input.size() / 3)};
    std::string packed;
    ZipWriter writer([&packed](std::string_view bytes) { packed += bytes; });
    for (const std::string_view file : files) {
        writer.Begin("file " + std::to_string(file.size()), {});
        for (std::size_t at = 0; at < file.size(); at += 100) writer.Write(file.substr(at, 100));
        writer.End();
    }
    writer.Finish();
    Bytes archive(packed);
    const auto members = ReadZipDirectory(archive);
    Require(members.size() == 2);
    for (const std::size_t at : {0U, 1U}) Require(Unpacked(archive, members[at]) == files[at]);
}

}  // namespace

void Check(std::string_view input) {
    CheckForeign(input);
    CheckManifest(input);
    CheckOwn(input);
}

}  // namespace tarnwick::fuzz

#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"

#include "common/Files.h"
#include "common/Waits.h"

namespace tarnwick {
namespace {

constexpr OpenMode kOpenShared{GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                               OPEN_EXISTING};
constexpr OpenMode kOpenInPlace{GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING};
constexpr OpenMode kOpenEmpty{GENERIC_WRITE, 0, CREATE_ALWAYS};

// Forty seconds in all, which the report of a failed open names.
constexpr int kTries = 21;
constexpr std::uint32_t kWaitMilliseconds = 2000;

// Whether `attempt` succeeded before the tries were used up; the last one is not waited after.
template <typename Attempt>
bool TryForFortySeconds(Attempt attempt) {
    for (int tries = 1; !attempt(); ++tries) {
        if (tries == kTries) return false;
        WaitMilliseconds(kWaitMilliseconds);
    }
    return true;
}

class IndexSource : public ByteSource {
  public:
    explicit IndexSource(const std::string& path) : file_(path, kOpenShared) {}
    bool IsOpen() const { return file_.IsOpen(); }
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        return FileSource(file_).Read(bytes);
    }

  private:
    File file_;
};

}  // namespace

std::optional<IndexFileStamp> StampOf(const std::string& path) {
    const auto found = DirectoryScan(path).Next();
    if (!found) return std::nullopt;
    return IndexFileStamp{ToUint64(found->lastWrite), static_cast<std::uint32_t>(found->size)};
}

std::unique_ptr<ByteSource> OpenIndexSource(const std::string& path) {
    auto source = std::make_unique<IndexSource>(path);
    if (!source->IsOpen()) return nullptr;
    return source;
}

IndexFile::IndexFile(const std::string& path, SaveKind kind) {
    const OpenMode mode = kind == SaveKind::InPlace ? kOpenInPlace : kOpenEmpty;
    TryForFortySeconds([&] {
        file_ = File(path, mode);
        return file_.IsOpen();
    });
}

std::optional<IndexFileStamp> IndexFile::Stamp() {
    const auto lastWrite = file_.LastWriteTime();
    const auto size = file_.Size();
    if (!lastWrite || !size) return std::nullopt;
    return IndexFileStamp{*lastWrite, static_cast<std::uint32_t>(*size)};
}

// A program that has mapped the file, as scanners do, may refuse the cut for a while.
bool IndexFile::CutAt(std::uint64_t end) {
    return TryForFortySeconds([&] { return Seek(end) && file_.SetEnd(); });
}

bool IndexFile::Seek(std::uint64_t offset) {
    return file_.Seek(static_cast<std::int64_t>(offset));
}

bool IndexFile::Read(std::span<char> bytes) {
    while (!bytes.empty()) {
        const auto count = file_.Read(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        if (count.value_or(0) == 0) return false;
        bytes = bytes.subspan(*count);
    }
    return true;
}

std::optional<std::uint64_t> IndexFile::Size() {
    const auto size = file_.Size();
    if (!size) return std::nullopt;
    return static_cast<std::uint64_t>(*size);
}

}  // namespace tarnwick

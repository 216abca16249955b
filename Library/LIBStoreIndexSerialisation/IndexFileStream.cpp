#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"

#include "common/FileSource.h"
#include "common/Waits.h"

namespace tarnwick {
namespace {

constexpr OpenMode kOpenShared{GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                               OPEN_EXISTING};
constexpr OpenMode kOpenInPlace{GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING};
constexpr OpenMode kOpenEmpty{GENERIC_WRITE, 0, CREATE_ALWAYS};
constexpr OpenMode kOpenToCut{GENERIC_WRITE, 0, OPEN_EXISTING};

constexpr int kOpenTries = 21;
constexpr std::uint32_t kOpenWaitMilliseconds = 2000;

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
    for (int tries = 1; !file_.IsOpen(); ++tries) {
        file_ = File(path, mode);
        if (file_.IsOpen() || tries == kOpenTries) return;
        WaitMilliseconds(kOpenWaitMilliseconds);
    }
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

bool CutFile(const std::string& path, std::uint64_t end) {
    File file(path, kOpenToCut);
    return file.IsOpen() && file.Seek(static_cast<std::int64_t>(end)) && file.SetEnd() &&
           file.Close();
}

}  // namespace tarnwick

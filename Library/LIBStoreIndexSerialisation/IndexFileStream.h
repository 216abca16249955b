// Index files on disk.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "common/ByteSource.h"
#include "common/Files.h"
#include "Library/LIBStoreIndexSerialisation/IndexSave.h"
#include "Library/LIBStoreIndexSerialisation/IndexStream.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {

// Time and size of a file, as its folder tells them; nothing when there is none.
std::optional<IndexFileStamp> StampOf(const std::string& path);

// Opens a file for shared reading; null when that fails.
std::unique_ptr<ByteSource> OpenIndexSource(const std::string& path);

// An index file that nobody else can open.
class IndexFile : public IndexStream {
  public:
    // In place: as it is, for reading as well; else empty. Tries again for 40 seconds while others
    // hold it.
    IndexFile(const std::string& path, SaveKind kind);

    bool IsOpen() const { return file_.IsOpen(); }
    bool Close() { return file_.Close(); }

    bool Seek(std::uint64_t offset) override;
    bool Read(std::span<char> bytes) override;
    bool Write(std::string_view bytes) override { return file_.Write(bytes); }
    bool Flush() override { return true; }
    std::optional<std::uint64_t> Size() override;

  private:
    File file_;
};

// Ends a file at an offset.
bool CutFile(const std::string& path, std::uint64_t end);

}  // namespace tarnwick

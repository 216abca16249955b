// Index files on disk.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "common/ByteSource.h"
#include "common/Files.h"
#include "Library/LIBStoreIndexSerialisation/IndexSave.h"
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
    // Time and size of the open file; nothing when they cannot be told.
    std::optional<IndexFileStamp> Stamp();
    // Ends the file at an offset, while nobody else can have it open. Tries for 40 seconds as well.
    bool CutAt(std::uint64_t end);

    bool Seek(std::uint64_t offset) override;
    bool Read(std::span<char> bytes) override;
    bool Write(std::string_view bytes) override { return file_.Write(bytes); }
    bool Flush() override { return true; }
    std::optional<std::uint64_t> Size() override;

  private:
    File file_;
};

}  // namespace tarnwick

// Writing a StoreIndex to its file, and what it asks of a file: it knows nothing of files, so that
// it runs over anything that holds bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {

// A file open for writing at any place, and for reading when it is changed in place.
class IndexStream {
  public:
    virtual ~IndexStream() = default;
    virtual bool Seek(std::uint64_t offset) = 0;
    // Whole reads and writes at the current place alone; less is a failure.
    virtual bool Read(std::span<char> bytes) = 0;
    virtual bool Write(std::string_view bytes) = 0;
    virtual bool Flush() = 0;
    virtual std::optional<std::uint64_t> Size() = 0;
};

enum class SaveKind {
    Refused,  // the file is not the one that was loaded, and not all of it was
    Nothing,  // the file holds what the index holds
    InPlace,
    Full,
};

// How to save, from the state of the file now (nothing: there is none) and at the load. Reports a
// file that another has changed.
SaveKind ChooseSave(StoreIndex& index, const std::optional<IndexFileStamp>& file,
                    const std::string& folder, const std::string& path);

struct SaveOutcome {
    bool sound = true;                    // every seek, read and write succeeded
    std::optional<std::uint64_t> newEnd;  // where an in-place save wants the file to end
};

// Writes the index to `stream`, the file `path`: the whole file, which must be empty, or in place
// what changed. Failures of the stream are reported and do not stop it. Entries' extents then are
// those in the file. `held` is what it writes through: with SaveRoom, taken before the file is
// opened and so emptied, writing the whole file needs no more memory unless an entry has over 32
// KB.
SaveOutcome WriteIndex(StoreIndex& index, IndexStream& stream, const std::string& path,
                       SaveKind kind, ByteBuffer&& held = {});
ByteBuffer SaveRoom();

// Notes in the index how a save ended: with `file`, the file's state after it, nothing is left to
// save; after an unsound one the next save starts afresh.
void FinishSave(StoreIndex& index, bool sound, const IndexFileStamp& file);

}  // namespace tarnwick

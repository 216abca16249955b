// Loading an index that may be damaged or missing: a backup copy takes its place, it is put aside,
// or it is rebuilt from the message files of its folder.
#pragma once

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"

namespace tarnwick {

// The base class has no virtual destructor, so an owner remembers how to delete what it was given.
using SerialiserOwner = std::unique_ptr<StoreIndexSerialiser, void (*)(StoreIndexSerialiser*)>;

// Owns nothing when there is no memory for it; callers take that for a load or save that failed.
template <typename Serialiser, typename... Arguments>
SerialiserOwner MakeSerialiser(Arguments&&... arguments) {
    return {new (std::nothrow) Serialiser(std::forward<Arguments>(arguments)...),
            [](StoreIndexSerialiser* owned) { delete static_cast<Serialiser*>(owned); }};
}

inline SerialiserOwner NoSerialiser() {
    return {nullptr, [](StoreIndexSerialiser*) {}};
}

enum class BackupWish { None, Refresh };

// Loads through `serialiser` and gives the load status, which is also stored in the index; never
// throws. With "Backup Index" set in the registry and a serialiser that supports recovery: a full
// load refreshes a backup copy that is older than "Backup Index Interval" (when that is wished
// for); a failed one is repeated on the backup copy, or puts the index aside when there is none.
// No serialiser (there was no memory for it) is a failed load.
// `serialiser` may be moved into a wrapper of it and is then empty.
std::uint32_t LoadWithRecovery(SerialiserOwner& serialiser, StoreIndex& index,
                               const std::string& folder, FolderType folderType,
                               const DeserialiseRequest& request, BackupWish backup);

// How the wrapped serialiser is called.
enum class WrappedLoad {
    // With recovery. A damaged index keeps what could be read of it and the files tell the rest:
    // that is what a scan is for. One that could not be read at all is a failed load, since what is
    // built instead would be saved over it.
    WithRecovery,
    // Without, after a backup was put in place: a load that fails means that the backup is damaged
    // too, and is the outcome.
    Plain,
};

// Loads through the wrapped serialiser, if there is one, and then lets the folder's files tell what
// the index does not know. Cannot save.
class UnindexedStoreIndexSerialiser : public StoreIndexSerialiser {
  public:
    explicit UnindexedStoreIndexSerialiser(SerialiserOwner wrapped,
                                           WrappedLoad load = WrappedLoad::WithRecovery)
        : wrapped_(std::move(wrapped)), load_(load) {}
    virtual ~UnindexedStoreIndexSerialiser() = default;

    bool Serialise(StoreIndex&, const std::string&, FolderType) override { return false; }
    // Mail and contacts: the installed scan (FolderScan.h). Calendar and tasks: an entry for each
    // file that has none. Groups: an empty index. Any other type fails.
    std::uint32_t Deserialise(StoreIndex& index, const std::string& folder, FolderType folderType,
                              const DeserialiseRequest& request) override;
    bool RequiresFullLoad() override { return true; }
    bool SupportsRecovery() override { return false; }

  private:
    std::uint32_t LoadWrapped(StoreIndex& index, const std::string& folder, FolderType folderType,
                              const DeserialiseRequest& request);

    SerialiserOwner wrapped_;
    WrappedLoad load_;
};

}  // namespace tarnwick

// Rebuilding an index from the message files of its folder.
#pragma once

#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"
#include "Library/SerialiserOwner.h"

namespace tarnwick {

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

    bool Serialise(StoreIndex&, const std::string&, std::uint32_t) override { return false; }
    // Mail and contacts: the installed scan (FolderScan.h). Calendar and tasks: an entry for each
    // file that has none. Groups: an empty index. Any other type fails.
    std::uint32_t Deserialise(StoreIndex& index, const std::string& folder,
                              std::uint32_t folderType, const DeserialiseRequest& request) override;
    bool RequiresFullLoad() override { return true; }
    bool SupportsRecovery() override { return false; }

  private:
    std::uint32_t LoadWrapped(StoreIndex& index, const std::string& folder,
                              std::uint32_t folderType, const DeserialiseRequest& request);

    SerialiserOwner wrapped_;
    WrappedLoad load_;
};

}  // namespace tarnwick

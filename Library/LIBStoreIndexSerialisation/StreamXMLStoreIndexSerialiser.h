// Loads an index in one pass and saves only what changed, without building a document.
#pragma once

#include <string>

#include "Library/LIBStoreIndexSerialisation/BackedUpIndexSerialiser.h"

namespace tarnwick {

// Holds no lock: a load shares the file with everybody, a save has it to itself. The folder's locks
// keep whole cycles of load, change and save apart.
// It adds no operation to the ten of its base; a destructor would be an eleventh.
class StreamXMLStoreIndexSerialiser final : public BackedUpIndexSerialiser {
  public:
    bool Serialise(StoreIndex& index, const std::string& folder, FolderType folderType) override;
    std::uint32_t Deserialise(StoreIndex& index, const std::string& folder, FolderType folderType,
                              const DeserialiseRequest& request) override;
    bool RequiresFullLoad() override { return false; }
    bool SupportsRecovery() override { return true; }
};

}  // namespace tarnwick

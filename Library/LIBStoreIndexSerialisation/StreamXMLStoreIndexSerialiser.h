// Loads an index in one pass and saves only what changed, without building a document.
#pragma once

#include <string>

#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"

namespace tarnwick {

// Holds no lock: a load shares the file with everybody, a save has it to itself. The folder's locks
// keep whole cycles of load, change and save apart.
class StreamXMLStoreIndexSerialiser final : public StoreIndexSerialiser {
  public:
    void CreateBackup(const std::string& folder) override;
    bool RestoreBackup(const std::string& folder) override;
    bool QuarantineIndex(const std::string& folder) override;
    bool Serialise(StoreIndex& index, const std::string& folder, std::uint32_t folderType) override;
    std::uint32_t Deserialise(StoreIndex& index, const std::string& folder,
                              std::uint32_t folderType, const DeserialiseRequest& request) override;
    bool RequiresFullLoad() override { return false; }
    bool SupportsRecovery() override { return true; }
    bool BackupExists(const std::string& folder) override;
    std::uint32_t BackupAgeMinutes(const std::string& folder) override;
    void DeleteBackup(const std::string& folder) override;
};

}  // namespace tarnwick

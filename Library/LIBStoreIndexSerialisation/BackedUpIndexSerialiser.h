// What the serialisers that keep backup copies of an index share.
#pragma once

#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"

namespace tarnwick {

// Fills the backup operations with the copies of "_index.xml" (IndexBackup.h); adds none.
class BackedUpIndexSerialiser : public StoreIndexSerialiser {
  public:
    void CreateBackup(const std::string& folder) override;
    bool RestoreBackup(const std::string& folder) override;
    bool QuarantineIndex(const std::string& folder) override;
    bool BackupExists(const std::string& folder) override;
    std::uint32_t BackupAgeMinutes(const std::string& folder) override;
    void DeleteBackup(const std::string& folder) override;

  protected:
    ~BackedUpIndexSerialiser() = default;
};

}  // namespace tarnwick

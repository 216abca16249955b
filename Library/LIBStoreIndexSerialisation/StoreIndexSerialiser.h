// What loads and saves a folder's index. The order of the virtual operations is fixed.
#pragma once

#include <cstdint>
#include <string>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {

// What a caller of Deserialise hands through to the class that reads the file.
struct DeserialiseRequest {
    std::uint32_t loadMode = kLoadFull;
    const IdSet* knownIds = nullptr;  // the only IDs to load, when not null
    bool verifyFiles = false;         // leave entries out whose message file is missing
};

// Folder directories come without a backslash at the end. The backup operations work on
// "_index.xml" whatever the folder's type.
class StoreIndexSerialiser {
  public:
    virtual void CreateBackup(const std::string& /*folder*/) {}
    virtual bool RestoreBackup(const std::string& /*folder*/) { return false; }
    virtual bool QuarantineIndex(const std::string& /*folder*/) { return false; }
    // True when the file was written or nothing needed writing.
    virtual bool Serialise(StoreIndex& index, const std::string& folder, FolderType folderType) = 0;
    // The load status (StoreIndex.h).
    virtual std::uint32_t Deserialise(StoreIndex& index, const std::string& folder,
                                      FolderType folderType, const DeserialiseRequest& request) = 0;
    virtual bool RequiresFullLoad() = 0;
    virtual bool SupportsRecovery() = 0;
    virtual bool BackupExists(const std::string& /*folder*/) { return false; }
    virtual std::uint32_t BackupAgeMinutes(const std::string& /*folder*/) { return 0; }
    virtual void DeleteBackup(const std::string& /*folder*/) {}

  protected:
    // Not virtual: the operations above are all there are. Owners know the class they made.
    ~StoreIndexSerialiser() = default;
};

}  // namespace tarnwick

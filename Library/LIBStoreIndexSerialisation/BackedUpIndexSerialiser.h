// What the serialisers that keep backup copies of an index share.
#pragma once

#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"

namespace tarnwick {

// Fills the backup operations with the backup and quarantine copies of "_index.xml", of a group
// folder too; adds none.
class BackedUpIndexSerialiser : public StoreIndexSerialiser {
  public:
    // Copies the index over "_index.xml.bak".
    void CreateBackup(const std::string& folder) override;
    // If there is a backup: keeps the index as "_index.xml.bad" and copies the backup over the
    // index. True when the backup is in its place; false when there is none, or something holds the
    // index or keeps the copy from being made. A full disk makes it move the files.
    bool RestoreBackup(const std::string& folder) override;
    // Keeps the index as "_index.xml.bad" and deletes it; where it cannot be kept so it stays.
    // Always true.
    bool QuarantineIndex(const std::string& folder) override;
    bool BackupExists(const std::string& folder) override;
    // Age by the last write; 0 when there is none or it lies in the future.
    std::uint32_t BackupAgeMinutes(const std::string& folder) override;
    void DeleteBackup(const std::string& folder) override;

  protected:
    ~BackedUpIndexSerialiser() = default;
};

// Minutes in a span of 100 ns units, counted on the calendar date that it is after 1601-01-01, with
// 365 days a year and 30 a month: 40 days count as 39.
std::uint32_t CalendarMinutes(std::uint64_t span);

}  // namespace tarnwick

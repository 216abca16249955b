#include "Library/LIBStoreIndexSerialisation/BackedUpIndexSerialiser.h"

#include "Library/LIBStoreIndexSerialisation/IndexBackup.h"

namespace tarnwick {

void BackedUpIndexSerialiser::CreateBackup(const std::string& folder) {
    CreateIndexBackup(folder);
}
bool BackedUpIndexSerialiser::RestoreBackup(const std::string& folder) {
    return RestoreIndexBackup(folder);
}
bool BackedUpIndexSerialiser::QuarantineIndex(const std::string& folder) {
    return QuarantineFolderIndex(folder);
}
bool BackedUpIndexSerialiser::BackupExists(const std::string& folder) {
    return IndexBackupExists(folder);
}
std::uint32_t BackedUpIndexSerialiser::BackupAgeMinutes(const std::string& folder) {
    return IndexBackupAgeMinutes(folder);
}
void BackedUpIndexSerialiser::DeleteBackup(const std::string& folder) {
    DeleteIndexBackup(folder);
}

}  // namespace tarnwick

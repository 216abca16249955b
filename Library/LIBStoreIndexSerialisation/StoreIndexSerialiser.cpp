#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"

namespace tarnwick {

void StoreIndexSerialiser::CreateBackup(const std::string& /*folder*/) {}
bool StoreIndexSerialiser::RestoreBackup(const std::string& /*folder*/) {
    return false;
}
bool StoreIndexSerialiser::QuarantineIndex(const std::string& /*folder*/) {
    return false;
}
bool StoreIndexSerialiser::BackupExists(const std::string& /*folder*/) {
    return false;
}
std::uint32_t StoreIndexSerialiser::BackupAgeMinutes(const std::string& /*folder*/) {
    return 0;
}
void StoreIndexSerialiser::DeleteBackup(const std::string& /*folder*/) {}

}  // namespace tarnwick

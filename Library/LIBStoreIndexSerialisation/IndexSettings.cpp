#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"

#include "common/Registry.h"

namespace tarnwick {
namespace {

std::uint32_t Setting(const char* value, std::uint32_t defaultNumber) {
    return RegistryDwordOr(kProductKey, value, defaultNumber);
}

IndexSettings ReadSettings() {
    return {
        .garbageThreshold = Setting("Index Garbage Collection Threshold", 500),
        .maximumRows = Setting("Maximum Index Rows", 100000),
        .backupIndex = Setting("Backup Index", 0),
        .backupIntervalMinutes = Setting("Backup Index Interval", 370),
        .streamSerialisation = Setting("Use XML Stream Index Serialisation", 0),
        .streamDeserialisation = Setting("Use XML Stream Index Deserialisation", 0),
        .domWritesOldFormat = Setting("MSXML Index Serialisation Produces Old Format", 1),
    };
}

}  // namespace

const IndexSettings& StoredIndexSettings() {
    static const IndexSettings settings = ReadSettings();
    return settings;
}

}  // namespace tarnwick

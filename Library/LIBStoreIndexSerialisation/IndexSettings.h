// The registry settings of the store's indexes.
#pragma once

#include <cstdint>

namespace tarnwick {

struct IndexSettings {
    std::uint32_t garbageThreshold;       // blanked entries after which an index is rewritten
    std::uint32_t maximumRows;            // message files that an ordered scan lists at most
    std::uint32_t backupIndex;            // 1: keep a backup copy and recover from it
    std::uint32_t backupIntervalMinutes;  // least age of a backup copy that is replaced
    std::uint32_t streamSerialisation;    // 1: the stream class saves
    std::uint32_t streamDeserialisation;  // 1: the stream class loads
    std::uint32_t domWritesOldFormat;     // 1: the DOM class writes the older header
};

// Read once per process, on first use.
const IndexSettings& StoredIndexSettings();

}  // namespace tarnwick

// What the index's fuzz targets share.
#pragma once

#include <cstdlib>
#include <string>

#include "common/Reports.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "tests/support/IndexStreams.h"

namespace tarnwick::fuzz {

inline void Require(bool holds) {
    if (!holds) std::abort();
}

// Entries with their properties, in UID order.
inline std::string Content(const StoreIndex& index) {
    ByteBuffer content;
    for (const StoreIndex::Entry& entry : index.InUidOrder()) AppendIndexElement(content, entry);
    return std::string(content.View());
}

}  // namespace tarnwick::fuzz

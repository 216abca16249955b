// Reading an index file into a StoreIndex.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "common/ByteSource.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {

// What a load is to read.
struct IndexLoad {
    std::uint32_t mode = kLoadFull;
    // The only IDs to take, when not null; the index's own ID filter goes before it.
    const IdSet* knownIds = nullptr;
    // Whether an entry's message file is there, when the entries without one are to be left out.
    std::function<bool(std::string_view id)> fileExists;
    // Whether the identifiers alone were asked for, so that a damaged property is no failure.
    bool identifiersSuffice = false;
    // Blanked entries that make the next save write the whole file.
    std::uint32_t garbageThreshold = 500;
};

// Opens the file from its start; null when it cannot be opened, which reads as an empty file.
using OpenSource = std::function<std::unique_ptr<ByteSource>()>;

// Empties the index and fills it from the file of `folder` (named in reports). The status is that
// of the mode that succeeded, which may be a fuller one than was asked for, or kLoadFailed, with
// the entries that were read; it is also stored in the index.
std::uint32_t LoadIndex(StoreIndex& index, const OpenSource& open, const std::string& folder,
                        const IndexLoad& load);

}  // namespace tarnwick

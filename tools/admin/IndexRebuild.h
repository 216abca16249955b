// Bringing the entries of an index in line with the message files of its folder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick::admin {

// What a rebuild did to one entry.
struct EntryChange {
    const char* result;
    std::string id;
    std::optional<std::uint32_t> uid;
    std::vector<std::string> properties{};  // those that changed
};

// Files without an entry get one, entries without a file go, and the others say what their files
// say; changed ones come first, then those dropped and added. Throws Failure when the folder
// cannot be listed.
std::vector<EntryChange> RebuildEntries(StoreIndex& entries, const std::string& folder,
                                        FolderType type);

}  // namespace tarnwick::admin

// The summary of a folder that is kept beside its files, "_FOLDER.DAT".
#pragma once

#include <cstdint>
#include <string>

#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {

struct FolderDetails {
    std::uint32_t items = 0;
    std::uint32_t unread = 0;
    std::uint64_t size = 0;  // bytes of all message files
    std::uint32_t lastUid = 0;
    bool operator==(const FolderDetails&) const = default;
};

// Entries, those whose READ is not "1", the sum of SIZE, and the last UID of a whole index.
FolderDetails DetailsOf(const StoreIndex& index);

// One line a number: its name, a TAB, the number in decimal, CR LF.
std::string FolderDetailsText(const FolderDetails& details);

// "dataDirectory\MAILROOT\postoffice\folder\_FOLDER.DAT"
std::string FolderDetailsPath(const std::string& dataDirectory, const std::string& postoffice,
                              const std::string& folder);

// False when the file could not be written.
bool WriteFolderDetails(const std::string& path, const FolderDetails& details);

}  // namespace tarnwick

// What an index says of a message file, taken from the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Library/FolderFiles.h"
#include "Library/MailProperties.h"

namespace tarnwick {

// SIZE (bytes) and the time of the last write (seconds since 1970: RECEIVED of a mail,
// MODIFIEDDATE of anything else), and what the content gives: a mail's header fields; a contact's
// name and address; subject, dates, importance and the like of an event or task. A file that cannot
// be read gives the first two alone.
std::vector<NamedValue> ItemIndexProperties(const std::string& folder, std::uint32_t folderType,
                                            const MessageFile& file);

}  // namespace tarnwick

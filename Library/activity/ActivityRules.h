// What setting and closing a client do to each entry of an activity file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Library/activity/ActivityFile.h"

namespace tarnwick {

// The new content of the activity file `path` in which `connection`, set at `time`, stands in place
// of every entry of the same connection, or behind the others when there was none. Entries of an
// earlier run of its server are purged. Logs what is purged and added.
RewrittenActivity SetConnection(std::string_view oldBytes, const ClientConnection& connection,
                                std::int64_t time, const std::string& path);

// The new content without the entries of `connection` and of earlier runs of its server. Logs what
// is removed; `replacementPath` names the file in these messages.
RewrittenActivity CloseConnection(std::string_view oldBytes, const ClientConnection& connection,
                                  const std::string& replacementPath);

// Count of the entries that watch `folder`, or of all when it is empty.
int CountConnections(std::string_view bytes, std::string_view folder);

// Logs `format`, whose arguments are those of every message about one connection: protocol,
// address, port and folder.
void LogConnection(std::string_view format, const ClientConnection& connection);

}  // namespace tarnwick

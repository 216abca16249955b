// The activity file of a mailbox or public folder directory: which client connections watch it.
// Processes keep apart through the directory's block file; nothing here throws.
#pragma once

#include <cstdint>
#include <string_view>

#include "Library/activity/SessionContext.h"

namespace tarnwick {

// Adds or refreshes the caller's entry in `directory`; every entry of the same server, address and
// port becomes the caller's, and entries of earlier runs of the server go. `session` may be null;
// otherwise its activity stamp is updated when the file was rewritten.
void SetClientState(SessionContext* session, std::string_view directory, std::string_view server,
                    std::string_view ipAddress, std::int32_t port, std::string_view protocol,
                    std::string_view accountName, std::string_view folder,
                    std::string_view serverSession);

// Removes the caller's entry and those of earlier runs of its server; the file goes with its last
// entry. 1 on success; 0 when there was no file to open or it could not be rewritten.
int CloseClientState(SessionContext* session, std::string_view directory, std::string_view server,
                     std::string_view ipAddress, std::int32_t port, std::string_view protocol,
                     std::string_view serverSession);

// Count of the connections that watch the session's current folder, or of all when it has none; 0
// when the lock could not be taken or there is no file.
int GetConnectionCount(SessionContext* session, std::string_view directory);

}  // namespace tarnwick

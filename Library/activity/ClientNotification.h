// Telling the clients that watch a directory about a change in it. Nothing here throws.
#pragma once

#include <cstdint>
#include <string_view>

#include "Library/activity/BlockFileLock.h"
#include "Library/activity/NotificationWalk.h"
#include "Library/activity/SessionContext.h"

namespace tarnwick {

// Sends `remoteMessage` to the connections on other servers or of other protocols, and gives
// `localMessage` to those of the own process, as far as the request addresses them: by server,
// folder and, as `matchMode` says, address and port (NotificationWalk.h). A negative length means
// the length of the text. `reserved` is not looked at. The result: 1 when the activity file was
// processed or, with both lengths 0, nothing is to be done; 2 when the directory has no activity
// file; 0 when the lock could not be taken. A local message alone whose `port` is the session's
// number is given to that session without a look at the file, and its delivery is the result.
int NotifyClients(SessionContext* session, std::string_view directory, std::string_view server,
                  std::string_view ipAddress, std::int32_t port, std::string_view protocol,
                  std::int32_t reserved, std::int32_t matchMode, std::string_view folder,
                  std::string_view serverSession, const char* localMessage,
                  std::int32_t localLength, const char* remoteMessage, std::int32_t remoteLength);

// The walk itself, with a lock that the caller owns: it is taken unless it is held, and stays held.
int NotifyClients_Ex(BlockFileLock& lock, SessionContext* session, std::string_view directory,
                     const NotifyRequest& request);

// Sends `message` to every connection that watches a folder of the postoffice. The result is that
// of NotifyClients.
int NotifyAllClients(std::string_view postoffice, std::string_view mailbox, std::string_view folder,
                     std::string_view protocol, std::int32_t matchMode, const char* message,
                     std::int32_t length);

}  // namespace tarnwick

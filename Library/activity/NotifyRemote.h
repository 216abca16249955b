// Where notifications go: to other servers through a sender that the host installs, and to sessions
// of the own process.
#pragma once

#include <cstdint>
#include <string_view>

namespace tarnwick {

// Sends a text (terminated) to the servers of one protocol at `server`; 0 on success. It runs while
// the lock on the activity file is held, so it must not notify or change clients of the same
// directory. What it throws ends the walk.
using RemoteNotifySender = int (*)(const char* server, const char* notifyProtocol,
                                   const char* text);

// Installs the sender of the process; null takes it away.
void SetRemoteNotifySender(RemoteNotifySender sender);

// Sends `message` to an instance of a server, as "[TW_NOTIFY]", instance number, ServerSession and
// message with tabs between, ended by an empty line. The text is cut to `length` + 511 characters
// before its end is added. 1 on success, also when no sender is installed, 0 when the sender
// failed.
int NotifyRemote(std::int32_t instanceNumber, std::string_view serverSession,
                 std::string_view message, std::int32_t length, std::string_view server,
                 std::string_view notifyProtocol, std::string_view fromServer,
                 std::string_view fromProtocol);

// Gives a message to a session of the own process; non-zero on success. This process has no
// sessions: the result is 0, so an entry that is due for local delivery counts as orphaned.
int DeliverToLocalSession(void* sessionChannel, std::int32_t sessionNumber, const char* message,
                          std::int32_t length, int flags);

}  // namespace tarnwick

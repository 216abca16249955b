// One connection to the service, from its first byte to its last.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "remote/Socket.h"
#include "tools/service/ServiceSession.h"

namespace tarnwick::service {

// Reads requests, has the session answer them and sends the answers, until the client leaves, has
// to leave or is silent for too long, or the event `stop` is set. The socket no longer blocks
// afterwards; it is not closed.
void ServeRequests(SOCKET socket, HANDLE stop, ServiceSession& session,
                   std::uint32_t idleMilliseconds,
                   const std::function<void(const std::string&)>& log);

}  // namespace tarnwick::service

// One connection to the service, from its first byte to its last.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "remote/Socket.h"
#include "tools/service/ServiceSession.h"

namespace tarnwick::service {

// Reads requests, has the session answer them and sends the answers, until the client leaves, has
// to leave or is silent for too long, or the socket is shut down. Does not close the socket.
void ServeRequests(SOCKET socket, ServiceSession& session, std::uint32_t idleMilliseconds,
                   const std::function<void(const std::string&)>& log);

}  // namespace tarnwick::service

// One connection to the service, from its first byte to its last.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "remote/Socket.h"
#include "tools/service/ServiceSession.h"

namespace tarnwick::service {

// What ends a connection from this side.
struct ConnectionBounds {
    HANDLE stop;       // event: the service stops
    HANDLE displaced;  // event: another connection needs the place
    // For a whole request to arrive, from the end of the one before; also for a client to take an
    // answer.
    std::uint32_t idleMilliseconds;
    // For all that a client does until it has authenticated.
    std::uint32_t authenticationMilliseconds;
};

// Bytes that a client may send until it has authenticated.
inline constexpr std::size_t kAuthenticationBytes = 32768;

// Reads requests, has the session answer them and sends the answers, until the client leaves, has
// to leave or reaches a bound. The socket no longer blocks afterwards; it is not closed.
void ServeRequests(SOCKET socket, const ConnectionBounds& bounds, ServiceSession& session,
                   const std::function<void(const std::string&)>& log);

}  // namespace tarnwick::service

// TCP sockets of the administration protocol, client's and service's. Every call to the system's
// socket interface that moves bytes or connects is made here, after the call observer was asked
// ("socket", "connect", "send", "recv", "ioctlsocket"). Failures leave their error in the thread's
// last error. Whoever uses a socket has started Winsock: in the library, the host process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "common/Handle.h"

namespace tarnwick {

// Winsock 2 for a program, for as long as this lives. The library's code never makes one.
class StartedWinsock {
  public:
    // Throws std::runtime_error when there is no Winsock.
    StartedWinsock();
    ~StartedWinsock() { WSACleanup(); }
    StartedWinsock(const StartedWinsock&) = delete;
    StartedWinsock& operator=(const StartedWinsock&) = delete;
};

struct SocketTraits {
    using Native = SOCKET;
    static Native Invalid() { return INVALID_SOCKET; }
    static bool Close(Native native) { return closesocket(native) == 0; }
};

using Socket = UniqueHandle<SocketTraits>;

// A stream socket of the internet address family; not valid when the system has none.
Socket CreateSocket();

// The address that the system's lookup gives first for a host name or a dotted address.
std::optional<in_addr> ResolveHost(const std::string& host);

bool Connect(SOCKET socket, in_addr address, std::uint16_t port);

// Bounds every later receive; a receive that takes longer fails.
void SetReceiveTimeout(SOCKET socket, std::uint32_t milliseconds);

// One send of the whole text. False when nothing could be sent; what a partial send left behind is
// not sent later.
bool SendOnce(SOCKET socket, std::string_view text);

// One receive of at most `buffer`'s size. The bytes received; no value when there were none: the
// connection is closed (the thread's last error is then 0) or broken, or the time-out has passed.
std::optional<std::string_view> ReceiveOnce(SOCKET socket, std::span<char> buffer);

// Reads and drops the bytes that have already arrived, without waiting for more, and at most about
// `limit` bytes.
void DiscardWaiting(SOCKET socket, std::size_t limit);

}  // namespace tarnwick

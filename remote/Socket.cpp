#include "remote/Socket.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "common/CallObserver.h"

namespace tarnwick {
namespace {

constexpr std::size_t kDiscardBlock = 4096;

}  // namespace

StartedWinsock::StartedWinsock() {
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) throw std::runtime_error("no Winsock");
}

Socket CreateSocket() {
    if (!CallAllowed("socket")) return {};
    return Socket(socket(AF_INET, SOCK_STREAM, 0));
}

std::optional<in_addr> ResolveHost(const std::string& host) {
    const hostent* entry = gethostbyname(host.c_str());
    if (entry == nullptr || entry->h_addr_list[0] == nullptr) return std::nullopt;
    in_addr address{};
    const auto length = static_cast<std::size_t>(std::max<int>(entry->h_length, 0));
    std::memcpy(&address, entry->h_addr_list[0], std::min(length, sizeof address));
    return address;
}

bool Connect(SOCKET socket, in_addr address, std::uint16_t port) {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(port);
    target.sin_addr = address;
    return CallAllowed("connect") &&
           connect(socket, reinterpret_cast<const sockaddr*>(&target), sizeof target) == 0;
}

void SetReceiveTimeout(SOCKET socket, std::uint32_t milliseconds) {
    const DWORD timeout = milliseconds;
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&timeout),
               sizeof timeout);
}

bool SendOnce(SOCKET socket, std::string_view text) {
    return CallAllowed("send") && send(socket, text.data(), static_cast<int>(text.size()), 0) > 0;
}

std::optional<std::string_view> ReceiveOnce(SOCKET socket, std::span<char> buffer) {
    if (!CallAllowed("recv")) return std::nullopt;
    const int count = recv(socket, buffer.data(), static_cast<int>(buffer.size()), 0);
    // A closed connection is no failed call, so it would leave the error of an earlier one.
    if (count == 0) WSASetLastError(0);
    if (count <= 0) return std::nullopt;
    return std::string_view(buffer.data(), static_cast<std::size_t>(count));
}

void DiscardWaiting(SOCKET socket, std::size_t limit) {
    char block[kDiscardBlock];
    for (std::size_t dropped = 0; dropped < limit;) {
        u_long waiting = 0;
        if (!CallAllowed("ioctlsocket") || ioctlsocket(socket, FIONREAD, &waiting) != 0) return;
        if (waiting == 0) return;
        const std::size_t wanted = std::min<std::size_t>(waiting, sizeof block);
        const auto received = ReceiveOnce(socket, std::span(block, wanted));
        if (!received) return;
        dropped += received->size();
    }
}

}  // namespace tarnwick

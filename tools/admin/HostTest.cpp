#include "remote/AdminHost.h"
#include "remote/AdminProtocol.h"
#include "tools/admin/HostEntries.h"

namespace tarnwick::admin {
namespace {

std::string WithError(const std::string& text) {
    return text + " (error " + std::to_string(WSAGetLastError()) + ")";
}

// Why the connection did not come about: what the system says of it, or that it takes too long.
int ErrorOf(SOCKET socket) {
    int error = 0;
    int size = sizeof error;
    getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
    return error != 0 ? error : WSAETIMEDOUT;
}

// Connects without waiting for longer than the limit.
bool ConnectWithin(SOCKET socket, in_addr address, std::uint16_t port, std::uint32_t milliseconds) {
    u_long mode = 1;
    ioctlsocket(socket, FIONBIO, &mode);
    bool isConnected = Connect(socket, address, port);
    if (!isConnected && WSAGetLastError() == WSAEWOULDBLOCK) {
        fd_set connected{1, {socket}};
        fd_set refused = connected;
        timeval limit{static_cast<long>(milliseconds / 1000), 0};
        isConnected = select(0, nullptr, &connected, &refused, &limit) > 0 &&
                      FD_ISSET(socket, &connected) != 0;
        if (!isConnected) WSASetLastError(ErrorOf(socket));
    }
    mode = 0;
    ioctlsocket(socket, FIONBIO, &mode);
    return isConnected;
}

// One conversation, from the address to the PING.
class HostTrial {
  public:
    HostTrial(const HostEntry& entry, std::uint32_t limit) : entry_(entry), limit_(limit) {}

    std::string Resolve() {
        if (entry_.address.empty()) return "the host has no address";
        const auto address = ResolveHost(entry_.address);
        if (!address) return WithError("nobody knows the address " + entry_.address);
        address_ = *address;
        return {};
    }
    std::string Open() {
        const std::string where = entry_.address + ":" + std::to_string(entry_.port);
        socket_ = CreateSocket();
        const bool isOpen = limit_ == 0
                                ? Connect(socket_.Get(), address_, entry_.port)
                                : ConnectWithin(socket_.Get(), address_, entry_.port, limit_);
        if (!isOpen) {
            return WithError("no service answers at " + where);
        }
        SetReceiveTimeout(socket_.Get(), limit_ == 0 ? kReceiveTimeoutMilliseconds : limit_);
        return {};
    }
    std::string Authenticate() {
        if (SendAuth(socket_.Get(), entry_.name)) return {};
        return "the service does not take the credentials of this host";
    }
    std::string Load() {
        if (SendLoad(socket_.Get(), "TWAICP.DLL")) return {};
        return "the service does not load TWAICP.DLL";
    }
    std::string Ping() {
        if (SendPing(socket_.Get())) return {};
        return WithError("the service does not answer");
    }
    void Quit() { SendOnce(socket_.Get(), kQuitMessage); }

  private:
    const HostEntry& entry_;
    const std::uint32_t limit_;
    in_addr address_{};
    Socket socket_;
};

}  // namespace

std::vector<TestStep> TestHost(const HostEntry& entry, std::uint32_t limit) {
    static constexpr struct {
        const char* name;
        std::string (HostTrial::*run)();
    } kSteps[] = {{"address", &HostTrial::Resolve},
                  {"connect", &HostTrial::Open},
                  {"AUTH", &HostTrial::Authenticate},
                  {"LOAD", &HostTrial::Load},
                  {"PING", &HostTrial::Ping}};
    HostTrial trial(entry, limit);
    std::vector<TestStep> done;
    for (const auto& step : kSteps) {
        done.push_back({step.name, (trial.*step.run)()});
        if (!done.back().fault.empty()) return done;
    }
    trial.Quit();
    return done;
}

}  // namespace tarnwick::admin

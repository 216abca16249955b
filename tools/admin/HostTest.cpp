#include "remote/AdminHost.h"
#include "remote/AdminProtocol.h"
#include "tools/admin/HostEntries.h"

namespace tarnwick::admin {
namespace {

std::string WithError(const std::string& text) {
    return text + " (error " + std::to_string(WSAGetLastError()) + ")";
}

// One conversation, from the address to the PING.
class HostTrial {
  public:
    explicit HostTrial(const HostEntry& entry) : entry_(entry) {}

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
        if (!Connect(socket_.Get(), address_, entry_.port)) {
            return WithError("no service answers at " + where);
        }
        SetReceiveTimeout(socket_.Get(), kReceiveTimeoutMilliseconds);
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
    in_addr address_{};
    Socket socket_;
};

}  // namespace

std::vector<TestStep> TestHost(const HostEntry& entry) {
    static constexpr struct {
        const char* name;
        std::string (HostTrial::*run)();
    } kSteps[] = {{"address", &HostTrial::Resolve},
                  {"connect", &HostTrial::Open},
                  {"AUTH", &HostTrial::Authenticate},
                  {"LOAD", &HostTrial::Load},
                  {"PING", &HostTrial::Ping}};
    HostTrial trial(entry);
    std::vector<TestStep> done;
    for (const auto& step : kSteps) {
        done.push_back({step.name, (trial.*step.run)()});
        if (!done.back().fault.empty()) return done;
    }
    trial.Quit();
    return done;
}

}  // namespace tarnwick::admin

// Which server the calendar operations run on, and the one connection to it.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "common/StaticLock.h"
#include "common/Text.h"
#include "remote/AdminProtocol.h"
#include "remote/Socket.h"

namespace tarnwick {

// What the gate answers. Callers take both non-zero answers as "remote": a connection that cannot
// be made lets the operation fail rather than run on local files.
enum class GateResult : int { Local = 0, Ready = 1, ConnectFailed = 2 };

// The host that was chosen, the host that is connected, and the socket between. Lives as long as
// the process: nothing is closed and no QUIT is sent at the end. No destructor, so that a static
// one may lie in a library that is unloaded.
//
// Threads: SetCurrentHost and CurrentHost may be called at any time, and a choice made during an
// operation applies to the next one. For everything else the caller sees to it that one thread at a
// time goes from the gate through the exchange (RemoteCall.cpp does).
class RemoteSession {
  public:
    constexpr RemoteSession() = default;
    RemoteSession(const RemoteSession&) = delete;
    RemoteSession& operator=(const RemoteSession&) = delete;

    // Chooses the host, cut to 1023 characters; empty chooses none. Does not connect.
    void SetCurrentHost(std::string_view host);

    // The gate: decides whether the next operation runs here or on the chosen host, and readies the
    // connection. `library` is the module that the host is to load for it; `executablePath` that of
    // the running process. A refused AUTH or LOAD still gives Ready.
    GateResult EnsureRemoteSession(std::string_view library, std::string_view executablePath);

    // Sends the request and receives the reply at once into `buffer`, which bounds it. The reply's
    // text up to its first NUL; no value when sending or receiving failed.
    std::optional<std::string_view> ExchangeRequest(std::string_view request,
                                                    std::span<char> buffer);

    std::string CurrentHost() const;
    std::string_view ConnectedHost() const { return FieldText(connectedHost_); }
    std::string_view LoadedLibrary() const { return FieldText(loadedLibrary_); }
    SOCKET AdminSocket() const { return adminSocket_; }

  private:
    std::string ChosenOrForcedHost(std::string_view executablePath);
    bool OpenSession(const std::string& host, std::string_view library);
    bool ConnectAdminHost(const std::string& host);
    bool AuthenticateSession(const std::string& host, std::string_view library);
    bool LoadRemoteLibrary(std::string_view library);
    bool PingSession();
    void CloseAdminSocket();

    mutable StaticLock currentHostLock_;
    char currentHost_[kSessionTextCapacity] = "";
    char connectedHost_[kSessionTextCapacity] = "";
    char loadedLibrary_[kSessionTextCapacity] = "";
    // 0: none was ever opened. A closed one is no longer 0 but INVALID_SOCKET, on which every send
    // fails; its old number may by then belong to somebody else in the process.
    SOCKET adminSocket_ = 0;
};

// The session of the process.
RemoteSession& ProcessSession();

// Chooses the host for the process.
void SetCurrentHost(std::string_view host);

}  // namespace tarnwick

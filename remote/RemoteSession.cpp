#include "remote/RemoteSession.h"

#include <mutex>
#include <type_traits>

#include "common/Reports.h"
#include "remote/AdminHost.h"

namespace tarnwick {
namespace {

constexpr std::string_view kDefaultHost = "Default";
// Choosing this host keeps whatever connection there is, and opens none.
constexpr std::string_view kLoopbackHost = "127.0.0.1";

// What a cut reply can have left on the socket is below this; a peer that sends without end is not
// listened to for longer.
constexpr std::size_t kDiscardLimit = 1U << 20;

static_assert(std::is_trivially_destructible_v<RemoteSession>);
constinit RemoteSession processSession;

void PrintSocketFailure() {
    const int error = WSAGetLastError();
    std::string text = "Error connecting to remote admin: ";
    AppendDecimal(text, error);
    PrintStandardOutput(text += '\n');
}

// Connects an open socket to the host as the registry describes it.
bool ConnectSocket(SOCKET socket, const std::string& host) {
    const auto name = ReadHostAddress(host);
    if (!name) return false;
    const std::uint16_t port = ReadHostPort(host);
    const auto address = ResolveHost(*name);
    return address && Connect(socket, *address, port);
}

}  // namespace

RemoteSession& ProcessSession() {
    return processSession;
}

void SetCurrentHost(std::string_view host) {
    processSession.SetCurrentHost(host);
}

void RemoteSession::SetCurrentHost(std::string_view host) {
    const std::lock_guard lock(currentHostLock_);
    StoreField(currentHost_, host);
}

std::string RemoteSession::CurrentHost() const {
    const std::lock_guard lock(currentHostLock_);
    return std::string(FieldText(currentHost_));
}

std::string RemoteSession::ChosenOrForcedHost(std::string_view executablePath) {
    std::string host = CurrentHost();
    if (!host.empty() || IsDefaultHostForced(executablePath) == 0) return host;
    const std::lock_guard lock(currentHostLock_);
    // Chosen from now on, as if the caller had: taking the switch away does not bring local files
    // back. Kept for compatibility.
    if (FieldText(currentHost_).empty()) StoreField(currentHost_, kDefaultHost);
    return std::string(FieldText(currentHost_));
}

GateResult RemoteSession::EnsureRemoteSession(std::string_view library,
                                              std::string_view executablePath) {
    if (IsOwnProgram(executablePath)) return GateResult::Local;
    const std::string host = ChosenOrForcedHost(executablePath);
    if (host.empty()) {
        CloseAdminSocket();
        return GateResult::Local;
    }
    const bool ready =
        EqualsIgnoreCase(host, ConnectedHost()) && EqualsIgnoreCase(LoadedLibrary(), library);
    const bool answers = PingSession();
    if (ready && answers) return GateResult::Ready;
    if (!ready && !answers && adminSocket_ != 0) {
        // Only a session that does not answer is sent QUIT; one that does is closed without. Kept
        // for compatibility: services see the difference.
        SendOnce(adminSocket_, kQuitMessage);
        CloseAdminSocket();
    }
    if (!OpenSession(host, library)) return GateResult::ConnectFailed;
    // A host chosen anew counts as connected even when it refused; the one of before stays what
    // connecting has left. Kept for compatibility.
    if (!ready) StoreField(connectedHost_, host);
    return GateResult::Ready;
}

bool RemoteSession::OpenSession(const std::string& host, std::string_view library) try {
    if (!ConnectAdminHost(host)) return false;
    // A refusal is found out by the request that follows: its answer holds no result.
    AuthenticateSession(host, library);
    return true;
} catch (...) {
    // The socket may lead to this host by now while the one before is still connected in name;
    // requests for that one would go to the other.
    CloseAdminSocket();
    StoreField(connectedHost_, "");
    throw;
}

bool RemoteSession::ConnectAdminHost(const std::string& host) {
    if (host == kLoopbackHost) {
        // Connected only once the old socket's service has accepted it, or it was chosen anew.
        StoreField(connectedHost_, "");
        return true;
    }
    CloseAdminSocket();
    Socket opened = CreateSocket();
    adminSocket_ = INVALID_SOCKET;
    if (!opened.IsValid()) {
        // The host counts as connected as before; only a failure after this point forgets it.
        PrintSocketFailure();
        return false;
    }
    if (!ConnectSocket(opened.Get(), host)) {
        // Without a line, unlike above: the traces are part of what is kept for compatibility.
        StoreField(connectedHost_, "");
        return false;
    }
    // The one option that is set: a send waits as long as the service lets it, for compatibility.
    SetReceiveTimeout(opened.Get(), kReceiveTimeoutMilliseconds);
    adminSocket_ = opened.Release();
    return true;
}

bool RemoteSession::AuthenticateSession(const std::string& host, std::string_view library) {
    // After a refusal the library loaded is still the one of before, so that, unless that is the
    // same, every call connects and asks anew. Kept for compatibility.
    if (!SendAuth(adminSocket_, host)) return false;
    if (!library.empty()) {
        if (!LoadRemoteLibrary(library)) return false;
        StoreField(loadedLibrary_, library);
    }
    StoreField(connectedHost_, host);
    return true;
}

bool RemoteSession::LoadRemoteLibrary(std::string_view library) {
    return SendLoad(adminSocket_, library);
}

bool RemoteSession::PingSession() {
    // What waits here is the rest of an earlier reply that came in pieces. Left there, it would be
    // taken for the next answer, and every later one for the one after it.
    DiscardWaiting(adminSocket_, kDiscardLimit);
    return SendPing(adminSocket_);
}

void RemoteSession::CloseAdminSocket() {
    if (adminSocket_ == 0) return;
    Socket(adminSocket_).Close();
    adminSocket_ = INVALID_SOCKET;
}

std::optional<std::string_view> RemoteSession::ExchangeRequest(std::string_view request,
                                                               std::span<char> buffer) {
    if (!SendOnce(adminSocket_, request)) return std::nullopt;
    // One receive: nothing in a reply tells how long it is. PingSession drops what comes late.
    const auto reply = ReceiveOnce(adminSocket_, buffer);
    if (!reply) return std::nullopt;
    return UpToNul(*reply);
}

}  // namespace tarnwick

#include "tools/service/ServiceListener.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "tools/service/ServiceConnection.h"

namespace tarnwick::service {
namespace {

std::string NameOf(const sockaddr_in& peer) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&peer.sin_addr);
    std::string name;
    for (int at = 0; at < 4; ++at) name += (at == 0 ? "" : ".") + std::to_string(bytes[at]);
    return name + ":" + std::to_string(ntohs(peer.sin_port));
}

std::string ListenFault(const sockaddr_in& local, int error) {
    const char* reason = error == WSAEADDRINUSE ? " (in use by another program)" : "";
    return "cannot listen on " + NameOf(local) + ": error " + std::to_string(error) + reason;
}

Socket Listen(in_addr address, std::uint16_t port) {
    Socket socket = CreateSocket();
    const BOOL exclusive = TRUE;
    setsockopt(socket.Get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
               reinterpret_cast<const char*>(&exclusive), sizeof exclusive);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    local.sin_addr = address;
    if (bind(socket.Get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 ||
        listen(socket.Get(), SOMAXCONN) != 0) {
        throw std::runtime_error(ListenFault(local, WSAGetLastError()));
    }
    return socket;
}

std::uint16_t PortOf(SOCKET socket) {
    sockaddr_in local{};
    int size = sizeof local;
    getsockname(socket, reinterpret_cast<sockaddr*>(&local), &size);
    return ntohs(local.sin_port);
}

// Answers leave at once, because clients take what the first segment brings for the whole.
void SendAtOnce(SOCKET socket) {
    const BOOL noDelay = TRUE;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay),
               sizeof noDelay);
}

}  // namespace

ServiceListener::ServiceListener(ListenerOptions options, FunctionRunner& runner, ServiceLog& log)
    : options_(std::move(options)),
      runner_(runner),
      log_(log),
      stop_(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
      arrival_(CreateEventA(nullptr, FALSE, FALSE, nullptr)),
      listener_(Listen(options_.address, options_.port)),
      port_(PortOf(listener_.Get())) {
    if (WSAEventSelect(listener_.Get(), arrival_.Get(), FD_ACCEPT) != 0) {
        throw std::runtime_error("cannot wait for connections");
    }
}

void ServiceListener::Serve() {
    const HANDLE events[] = {stop_.Get(), arrival_.Get()};
    while (WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
        try {
            AcceptOne();
        } catch (const std::bad_alloc&) {
            // A connection that there is no memory for is lost; those that are served go on.
        }
    }
    listener_.Close();
    JoinAll();
}

void ServiceListener::AcceptOne() {
    sockaddr_in from{};
    int size = sizeof from;
    Socket socket(accept(listener_.Get(), reinterpret_cast<sockaddr*>(&from), &size));
    if (!socket.IsValid()) return;
    SendAtOnce(socket.Get());
    JoinEnded();
    if (!FindPlace()) {
        Log(NameOf(from), "refused: too many connections");
        return;
    }
    StartConnection(std::move(socket), NameOf(from));
}

// Whether there is a place for one more connection, or one could be made.
bool ServiceListener::FindPlace() {
    const auto takesPlace = [](const Connection& connection) { return !connection.isDisplaced; };
    const auto taken = std::count_if(connections_.begin(), connections_.end(), takesPlace);
    if (static_cast<std::size_t>(taken) < options_.connectionLimit) return true;
    // Those that have shown no credentials must not keep out those that have.
    const auto oldest =
        std::find_if(connections_.begin(), connections_.end(), [&](const Connection& connection) {
            return takesPlace(connection) && !connection.session.IsAuthenticated();
        });
    if (oldest == connections_.end()) return false;
    oldest->isDisplaced = true;
    SetEvent(oldest->displaced.Get());
    Log(oldest->peer, "dropped: its place is needed and it has not authenticated");
    return true;
}

void ServiceListener::StartConnection(Socket socket, const std::string& peer) {
    Connection& connection = connections_.emplace_back(options_.credentials, runner_);
    connection.socket = std::move(socket);
    connection.peer = peer;
    try {
        connection.thread = std::thread([this, &connection] { ServeConnection(connection); });
    } catch (const std::exception&) {
        // No thread, or no memory for one.
        connections_.pop_back();
        Log(peer, "refused: no thread to serve it");
    }
}

void ServiceListener::ServeConnection(Connection& connection) {
    try {
        const ConnectionBounds bounds{stop_.Get(), connection.displaced.Get(),
                                      options_.idleMilliseconds,
                                      options_.authenticationMilliseconds};
        ServeRequests(connection.socket.Get(), bounds, connection.session,
                      [&](const std::string& text) { Log(connection.peer, text); });
    } catch (const std::exception& failure) {
        Log(connection.peer, std::string("dropped: ") + failure.what());
    }
    // The other side learns now that this one has gone; the number of the socket stays taken until
    // the thread is joined.
    shutdown(connection.socket.Get(), SD_BOTH);
    connection.ended = true;
}

void ServiceListener::JoinEnded() {
    connections_.remove_if([](Connection& connection) {
        if (!connection.ended) return false;
        connection.thread.join();
        return true;
    });
}

void ServiceListener::JoinAll() {
    for (Connection& connection : connections_) connection.thread.join();
    connections_.clear();
}

void ServiceListener::Log(const std::string& peer, const std::string& text) {
    const std::lock_guard lock(logMutex_);
    log_.Write(peer + " " + text);
}

}  // namespace tarnwick::service

#include "tests/support/ScriptedPeer.h"

#include <string_view>
#include <utility>

namespace tarnwick::testing {
namespace {

constexpr std::string_view kEnd = "</DATA>";

std::string Element(const std::string& text, const std::string& name) {
    const std::size_t start = text.find("<" + name + ">") + name.size() + 2;
    const std::size_t end = text.find("</" + name + ">");
    return end == std::string::npos ? "" : text.substr(start, end - start);
}

// Binds to a free port of 127.0.0.1 and gives it.
unsigned short BindLoopback(SOCKET socket) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    bind(socket, reinterpret_cast<const sockaddr*>(&address), size);
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

}  // namespace

std::string NameOfRequest(const std::string& request) {
    const std::string method = Element(request, "METHOD");
    if (method == "LOAD") return "LOAD " + Element(request, "LIBRARY");
    if (method == "EXEC") return "EXEC " + Element(request, "FUNCTION");
    return method;
}

PeerAnswer AcceptingAnswer(const std::string& request) {
    const std::string method = Element(request, "METHOD");
    if (method == "QUIT" || method == "EXEC") return {};
    return {"<DATA><STATUS>SUCCESS</STATUS></DATA>"};
}

ScriptedPeer::ScriptedPeer(Script script) : script_(std::move(script)) {
    WSADATA data;
    WSAStartup(MAKEWORD(1, 1), &data);
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    port_ = BindLoopback(listener_);
    listen(listener_, SOMAXCONN);
    thread_ = std::thread([this] { Run(); });
}

ScriptedPeer::~ScriptedPeer() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    thread_.join();
    for (const auto& [connection, text] : pending_) closesocket(connection);
    closesocket(listener_);
}

std::unique_lock<std::mutex> ScriptedPeer::WaitUntilQuiet() {
    std::unique_lock lock(mutex_);
    const int wanted = ++quietWanted_;
    quiet_.wait(lock, [&] { return quietReached_ >= wanted; });
    return lock;
}

std::vector<std::string> ScriptedPeer::TakeEvents() {
    const auto lock = WaitUntilQuiet();
    return std::exchange(events_, {});
}

std::string ScriptedPeer::TakeRequests() {
    const auto lock = WaitUntilQuiet();
    return std::exchange(received_, {});
}

void ScriptedPeer::SendLate(const std::string& text) {
    const std::lock_guard lock(mutex_);
    send(newest_, text.data(), static_cast<int>(text.size()), 0);
}

void ScriptedPeer::CloseAll() {
    const auto lock = WaitUntilQuiet();
    for (const auto& [connection, text] : pending_) closesocket(connection);
    pending_.clear();
}

void ScriptedPeer::SetScript(Script script) {
    const std::lock_guard lock(mutex_);
    script_ = std::move(script);
}

fd_set ScriptedPeer::Sockets() const {
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(listener_, &sockets);
    for (const auto& [connection, text] : pending_) FD_SET(connection, &sockets);
    return sockets;
}

// One round serves every socket that is ready. A round that finds none answers those who had asked
// before it began: whatever was done to a loopback socket before they asked is visible by then.
void ScriptedPeer::Run() {
    for (;;) {
        fd_set ready;
        timeval wait{0, 1000};
        int wanted = 0;
        {
            const std::lock_guard lock(mutex_);
            if (stopping_) return;
            wanted = quietWanted_;
            if (quietReached_ < wanted) wait = {};
            ready = Sockets();
        }
        const int count = select(0, &ready, nullptr, nullptr, &wait);
        const std::lock_guard lock(mutex_);
        if (count <= 0) {
            quietReached_ = wanted;
            quiet_.notify_all();
            continue;
        }
        ServeConnections(ready);
        if (!FD_ISSET(listener_, &ready)) continue;
        // What was closed before this connect was made comes first in the events.
        fd_set before = Sockets();
        wait = {};
        if (select(0, &before, nullptr, nullptr, &wait) > 0) ServeConnections(before);
        newest_ = accept(listener_, nullptr, nullptr);
        // A late piece must not wait for the other side to acknowledge the piece before it.
        const BOOL noDelay = TRUE;
        setsockopt(newest_, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay),
                   sizeof noDelay);
        pending_[newest_];
        events_.emplace_back("connect");
    }
}

void ScriptedPeer::ServeConnections(const fd_set& ready) {
    for (auto at = pending_.begin(); at != pending_.end();) {
        const bool isOver = FD_ISSET(at->first, &ready) && !Serve(at->first, at->second);
        if (isOver) closesocket(at->first);
        at = isOver ? pending_.erase(at) : std::next(at);
    }
}

// Reads what has arrived behind `text` and answers the whole requests in it. False when the
// connection has ended or is to end.
bool ScriptedPeer::Serve(SOCKET connection, std::string& text) {
    char block[65536];
    const int count = recv(connection, block, sizeof block, 0);
    if (count <= 0) {
        events_.emplace_back("close");
        return false;
    }
    text.append(block, static_cast<std::size_t>(count));
    for (std::size_t end; (end = text.find(kEnd)) != std::string::npos;) {
        const std::string request = text.substr(0, end + kEnd.size());
        text.erase(0, request.size());
        events_.push_back(NameOfRequest(request));
        received_ += request;
        const PeerAnswer answer = script_(request);
        send(connection, answer.text.data(), static_cast<int>(answer.text.size()), 0);
        if (answer.close) return false;
    }
    return true;
}

unsigned short UnusedPort() {
    const SOCKET probe = socket(AF_INET, SOCK_STREAM, 0);
    const unsigned short port = BindLoopback(probe);
    closesocket(probe);
    return port;
}

}  // namespace tarnwick::testing

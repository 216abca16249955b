#include "tests/support/ScriptedPeer.h"

#include <string_view>
#include <utility>

namespace tarnwick::testing {
namespace {

constexpr std::string_view kEnd = "</DATA>";
constexpr std::string_view kSuccess = "<DATA><STATUS>SUCCESS</STATUS></DATA>";

std::string Between(const std::string& text, std::string_view begin, std::string_view end) {
    const std::size_t from = text.find(begin);
    if (from == std::string::npos) return {};
    const std::size_t start = from + begin.size();
    return text.substr(start, text.find(end, start) - start);
}

sockaddr_in Loopback(unsigned short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// Binds to a free port of 127.0.0.1 and gives it.
unsigned short BindLoopback(SOCKET socket) {
    sockaddr_in address = Loopback(0);
    int size = sizeof address;
    bind(socket, reinterpret_cast<const sockaddr*>(&address), size);
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

}  // namespace

std::string NameOfRequest(const std::string& request) {
    const std::string method = Between(request, "<METHOD>", "</METHOD>");
    if (method == "LOAD") return "LOAD " + Between(request, "<LIBRARY>", "</LIBRARY>");
    if (method == "EXEC") return "EXEC " + Between(request, "<FUNCTION>", "</FUNCTION>");
    return method;
}

PeerAnswer AcceptingAnswer(const std::string& request) {
    const std::string method = Between(request, "<METHOD>", "</METHOD>");
    if (method == "QUIT" || method == "EXEC") return {};
    return {std::string(kSuccess)};
}

ScriptedPeer::ScriptedPeer(Script script) : script_(std::move(script)) {
    WSADATA data;
    WSAStartup(MAKEWORD(1, 1), &data);
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    port_ = BindLoopback(listener_);
    listen(listener_, SOMAXCONN);
    wakeReceiver_ = socket(AF_INET, SOCK_DGRAM, 0);
    wakeSender_ = socket(AF_INET, SOCK_DGRAM, 0);
    const sockaddr_in wake = Loopback(BindLoopback(wakeReceiver_));
    connect(wakeSender_, reinterpret_cast<const sockaddr*>(&wake), sizeof wake);
    thread_ = std::thread([this] { Run(); });
}

ScriptedPeer::~ScriptedPeer() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    Wake();
    thread_.join();
    for (const auto& [connection, text] : pending_) closesocket(connection);
    for (const SOCKET own : {listener_, wakeReceiver_, wakeSender_}) closesocket(own);
}

void ScriptedPeer::Wake() const {
    send(wakeSender_, "w", 1, 0);
}

void ScriptedPeer::WaitUntilQuiet(std::unique_lock<std::mutex>& lock) {
    const int wanted = ++quietWanted_;
    Wake();
    quiet_.wait(lock, [&] { return quietReached_ >= wanted; });
}

std::vector<std::string> ScriptedPeer::TakeEvents() {
    std::unique_lock lock(mutex_);
    WaitUntilQuiet(lock);
    return std::exchange(events_, {});
}

std::string ScriptedPeer::TakeRequests() {
    std::unique_lock lock(mutex_);
    WaitUntilQuiet(lock);
    return std::exchange(received_, {});
}

void ScriptedPeer::SendLate(const std::string& text) {
    const std::lock_guard lock(mutex_);
    send(newest_, text.data(), static_cast<int>(text.size()), 0);
}

void ScriptedPeer::CloseAll() {
    std::unique_lock lock(mutex_);
    WaitUntilQuiet(lock);
    for (const auto& [connection, text] : pending_) closesocket(connection);
    pending_.clear();
}

void ScriptedPeer::SetScript(Script script) {
    const std::lock_guard lock(mutex_);
    script_ = std::move(script);
}

// One round serves every socket that is ready. A round that finds none answers those who had asked
// before it began: whatever was done to a loopback socket before they asked is visible by then.
void ScriptedPeer::Run() {
    for (;;) {
        fd_set ready;
        int wanted = 0;
        bool asked = false;
        {
            const std::lock_guard lock(mutex_);
            if (stopping_) return;
            wanted = quietWanted_;
            asked = quietReached_ < wanted;
            CollectSockets(ready);
            if (asked) FD_CLR(wakeReceiver_, &ready);
        }
        timeval noWait{};
        const int count = select(0, &ready, nullptr, nullptr, asked ? &noWait : nullptr);
        const std::lock_guard lock(mutex_);
        if (count > 0) {
            ServeReady(ready);
        } else {
            quietReached_ = wanted;
            quiet_.notify_all();
        }
    }
}

void ScriptedPeer::CollectSockets(fd_set& sockets) const {
    FD_ZERO(&sockets);
    FD_SET(listener_, &sockets);
    FD_SET(wakeReceiver_, &sockets);
    for (const auto& [connection, text] : pending_) FD_SET(connection, &sockets);
}

void ScriptedPeer::ServeReady(fd_set& ready) {
    char wake[16];
    if (FD_ISSET(wakeReceiver_, &ready)) recv(wakeReceiver_, wake, sizeof wake, 0);
    ServeConnections(ready);
    if (!FD_ISSET(listener_, &ready)) return;
    // What was closed before this connect was made comes first in the events.
    fd_set before;
    timeval noWait{};
    CollectSockets(before);
    if (select(0, &before, nullptr, nullptr, &noWait) > 0) ServeConnections(before);
    Accept();
}

void ScriptedPeer::ServeConnections(const fd_set& ready) {
    for (auto at = pending_.begin(); at != pending_.end();) {
        const SOCKET connection = at->first;
        ++at;
        if (FD_ISSET(connection, &ready) && !Serve(connection)) pending_.erase(connection);
    }
}

void ScriptedPeer::Accept() {
    newest_ = accept(listener_, nullptr, nullptr);
    // A late piece must not wait for the other side to acknowledge the piece before it.
    const BOOL noDelay = TRUE;
    setsockopt(newest_, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay),
               sizeof noDelay);
    pending_[newest_];
    events_.emplace_back("connect");
}

// Reads what has arrived and answers the whole requests in it. False when the connection ended.
bool ScriptedPeer::Serve(SOCKET connection) {
    char block[65536];
    const int count = recv(connection, block, sizeof block, 0);
    if (count <= 0) {
        events_.emplace_back("close");
        closesocket(connection);
        return false;
    }
    std::string& text = pending_[connection];
    text.append(block, static_cast<std::size_t>(count));
    for (std::size_t end; (end = text.find(kEnd)) != std::string::npos;) {
        const std::string request = text.substr(0, end + kEnd.size());
        text.erase(0, request.size());
        if (!Answer(connection, request)) return false;
    }
    return true;
}

bool ScriptedPeer::Answer(SOCKET connection, const std::string& request) {
    events_.push_back(NameOfRequest(request));
    received_ += request;
    const PeerAnswer answer = script_(request);
    if (!answer.text.empty()) {
        send(connection, answer.text.data(), static_cast<int>(answer.text.size()), 0);
    }
    if (answer.close) closesocket(connection);
    return !answer.close;
}

unsigned short UnusedPort() {
    const SOCKET probe = socket(AF_INET, SOCK_STREAM, 0);
    const unsigned short port = BindLoopback(probe);
    closesocket(probe);
    return port;
}

}  // namespace tarnwick::testing

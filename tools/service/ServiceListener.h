// Accepts connections and serves each on a thread of its own.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "remote/Socket.h"
#include "tools/service/ServiceSession.h"

namespace tarnwick::service {

struct ListenerOptions {
    in_addr address{};
    std::uint16_t port = 0;  // 0: a free one
    std::string credentials;
    std::uint32_t idleMilliseconds = 600'000;  // both: see ConnectionBounds
    std::uint32_t authenticationMilliseconds = 10'000;
    // Of the connections that have authenticated and those that have not; where there is no place
    // left, the oldest of the latter makes one for the next.
    std::size_t connectionLimit = 64;
};

// Receives a line for each request and each connection refused or dropped.
class ServiceLog {
  public:
    virtual ~ServiceLog() = default;
    // Called on any thread, one at a time.
    virtual void Write(const std::string& line) = 0;
};

class ServiceListener {
  public:
    // Listens at once. `runner` and `log` outlive the listener. Winsock 2 has been started. Throws
    // std::runtime_error when the address cannot be listened on.
    ServiceListener(ListenerOptions options, FunctionRunner& runner, ServiceLog& log);

    std::uint16_t Port() const { return port_; }

    // Serves until Stop; then ends every connection, waits for the requests that are running, and
    // returns.
    void Serve();

    // From any thread, also before Serve.
    void Stop() { SetEvent(stop_.Get()); }

  private:
    struct Connection {
        Connection(const std::string& credentials, FunctionRunner& runner)
            : session(credentials, runner) {}

        Socket socket;
        std::string peer;
        ServiceSession session;
        ObjectHandle displaced{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
        bool isDisplaced = false;  // of the serving thread alone
        std::atomic<bool> ended{false};
        std::thread thread;
    };

    void AcceptOne();
    bool FindPlace();
    void StartConnection(Socket socket, const std::string& peer);
    void ServeConnection(Connection& connection);
    void JoinEnded();
    void JoinAll();
    void Log(const std::string& peer, const std::string& text);

    ListenerOptions options_;
    FunctionRunner& runner_;
    ServiceLog& log_;
    std::mutex logMutex_;
    ObjectHandle stop_;
    ObjectHandle arrival_;
    Socket listener_;
    std::uint16_t port_ = 0;
    std::list<Connection> connections_;  // of the serving thread alone
};

}  // namespace tarnwick::service

// A listener on 127.0.0.1 that plays the administration service as a test's script says, records
// what reaches it and may misbehave in every way that a socket allows.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/WindowsApi.h"

namespace tarnwick::testing {

// What the peer does with a request: sends a text (none when empty), then perhaps closes.
struct PeerAnswer {
    std::string text;
    bool close = false;
};

// The answer of a service that accepts everything: SUCCESS to all but QUIT and EXEC.
PeerAnswer AcceptingAnswer(const std::string& request);
// The request without its envelope's noise: "PING", "QUIT", "AUTH", "LOAD library", "EXEC
// function".
std::string NameOfRequest(const std::string& request);

class ScriptedPeer {
  public:
    using Script = std::function<PeerAnswer(const std::string& request)>;

    // Starts Winsock for the process and listens on a free port.
    explicit ScriptedPeer(Script script = AcceptingAnswer);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    unsigned short Port() const { return port_; }

    // What happened since the last call: "connect", the names of requests, "close". Everything that
    // the other side had done before the call is in it.
    std::vector<std::string> TakeEvents();
    // The requests since the last call on all connections, each as it was received.
    std::string TakeRequests();
    // Sends on the newest connection, unasked.
    void SendLate(const std::string& text);
    // Closes every open connection from this side.
    void CloseAll();
    void SetScript(Script script);

  private:
    void Run();
    fd_set Sockets() const;
    std::unique_lock<std::mutex> WaitUntilQuiet();
    void ServeConnections(const fd_set& ready);
    bool Serve(SOCKET connection, std::string& text);

    Script script_;
    SOCKET listener_ = INVALID_SOCKET;
    unsigned short port_ = 0;
    std::mutex mutex_;
    std::condition_variable quiet_;
    std::vector<std::string> events_;
    std::string received_;
    std::map<SOCKET, std::string> pending_;  // unfinished requests of the open connections
    SOCKET newest_ = INVALID_SOCKET;
    int quietWanted_ = 0;
    int quietReached_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

// A port on which nobody listens.
unsigned short UnusedPort();

}  // namespace tarnwick::testing

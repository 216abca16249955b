// Which server the calendar operations run on, and the one connection to it.
#pragma once

#include <string_view>

namespace tarnwick {

// What the gate answers. Callers take both non-zero answers as "remote": a connection that cannot
// be made lets the operation fail rather than run on local files.
enum class GateResult : int { Local = 0, Ready = 1, ConnectFailed = 2 };

// Decides whether the next operation runs here or on the chosen server, and readies the connection.
// `library` is the module that the server is to load for it.
GateResult EnsureRemoteSession(std::string_view library);

// Chooses the host for the process, cut to 1023 characters; empty chooses none. Does not connect.
void SetCurrentHost(std::string_view host);

}  // namespace tarnwick

#include "remote/RemoteCall.h"

#include <mutex>

#include "common/StaticLock.h"
#include "remote/AdminHost.h"
#include "remote/RemoteSession.h"

namespace tarnwick {
namespace {

constexpr std::string_view kLibrary = "TWAICP.DLL";

// Held from the gate through the exchange, so that the threads of a host process share the one
// connection without mixing their requests and replies.
constinit StaticLock sessionLock;

}  // namespace

std::optional<std::int32_t> CallRemotely(std::string_view /*function*/,
                                         std::initializer_list<RemoteParameter> /*parameters*/) {
    const std::lock_guard lock(sessionLock);
    const GateResult gate = ProcessSession().EnsureRemoteSession(kLibrary, ExecutablePath());
    if (gate == GateResult::Local) return std::nullopt;
    return 0;
}

}  // namespace tarnwick

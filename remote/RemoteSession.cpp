#include "remote/RemoteSession.h"

namespace tarnwick {

GateResult EnsureRemoteSession(std::string_view /*library*/) {
    return GateResult::Local;
}

void SetCurrentHost(std::string_view /*host*/) {}

}  // namespace tarnwick

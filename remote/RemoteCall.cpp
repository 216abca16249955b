#include "remote/RemoteCall.h"

#include "remote/RemoteSession.h"

namespace tarnwick {

std::optional<std::int32_t> CallRemotely(std::string_view /*function*/,
                                         std::initializer_list<RemoteParameter> /*parameters*/) {
    if (EnsureRemoteSession("TWAICP.DLL") == GateResult::Local) return std::nullopt;
    return 0;
}

}  // namespace tarnwick

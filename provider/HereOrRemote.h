// Where an operation runs: on the chosen server, or on this machine's files.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "remote/RemoteCall.h"

namespace tarnwick {

// A record as the server's argument.
template <typename Record>
RemoteParameter Parameter(Record& record, Transfer transfer) {
    return {std::as_writable_bytes(std::span(&record, 1)), transfer};
}

// The server's result, or that of `local` (a function without arguments that gives a bool) when no
// server is chosen.
template <typename Local>
std::uint32_t HereOrRemote(std::string_view function,
                           std::initializer_list<RemoteParameter> parameters, Local local) {
    if (const auto result = CallRemotely(function, parameters)) {
        return static_cast<std::uint32_t>(*result);
    }
    return local() ? 1 : 0;
}

}  // namespace tarnwick

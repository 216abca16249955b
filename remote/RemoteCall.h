// One remote operation: the gate, the request, the reply and the parameters copied back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>

namespace tarnwick {

// Whether the reply's element of an argument's number is copied back into it.
enum class Transfer { SentOnly, CopiedBack };

// An argument record of the call, numbered from 1 in the order given.
struct RemoteParameter {
    std::span<std::byte> bytes;
    Transfer transfer;
};

// Runs `function` on the chosen server. No value: no server is chosen, the caller works locally.
// Otherwise the function's result, 0 when the exchange failed; the parameters to be copied back are
// then as they were unless their own element arrived whole.
// Threads: one gate and exchange at a time in the process; others wait.
std::optional<std::int32_t> CallRemotely(std::string_view function,
                                         std::initializer_list<RemoteParameter> parameters);

}  // namespace tarnwick

// The door through which tests see, fail or cut off every file call of the system. The product
// installs none.
#pragma once

#include <cstdint>
#include <string_view>

namespace tarnwick {

// A file call that is about to be made. `path` is empty for calls on an open handle; `secondPath`
// is the target of a move or copy.
struct SystemCall {
    std::string_view name;
    std::string_view path;
    std::string_view secondPath;
};

class CallObserver {
  public:
    virtual ~CallObserver() = default;
    // Called on the calling thread before each call. 0 lets the call be made; any other value is
    // the system error with which it fails without being made. May end the process.
    virtual std::uint32_t BeforeCall(const SystemCall& call) = 0;
};

// Replaces the process's observer; null takes it away.
void SetCallObserver(CallObserver* observer);

// Asks the observer. False when the call is to fail; the thread's last error is then set.
bool CallAllowed(std::string_view name, std::string_view path = {},
                 std::string_view secondPath = {});

}  // namespace tarnwick

// The outer edge of the store's client operations, which raise nothing to their callers.
#pragma once

namespace tarnwick {

// To be called in a catch block: logs what was thrown under the operation's name.
void LogCaughtException(const char* operation) noexcept;

// Runs `body`; what it throws is logged under the operation's name and gives `failed`.
template <typename Result, typename Body>
Result RunOperation(const char* name, Result failed, Body body) noexcept {
    try {
        return body();
    } catch (...) {
        LogCaughtException(name);
        return failed;
    }
}

}  // namespace tarnwick

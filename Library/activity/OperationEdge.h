// The outer edge of the store's client operations, which raise nothing to their callers.
#pragma once

#include <string>
#include <string_view>

#include "common/Reports.h"
#include "Library/activity/SessionContext.h"

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

inline bool HasNoAccount(const SessionContext* session) {
    return session != nullptr && session->accountName.empty();
}

// What `operation` prints when it was called without an account.
inline void PrintNoAccount(const SessionContext* session, std::string_view operation) {
    std::string text = "[";
    text += std::to_string(session == nullptr ? 0 : session->sessionNumber);
    text.append("] ").append(operation);
    PrintStandardOutput(text.append(" was called with no AccountName specified\n"));
}

}  // namespace tarnwick

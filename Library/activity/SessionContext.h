// The client session on whose behalf an operation of the store runs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/Reports.h"

namespace tarnwick {

struct SessionContext {
    // Empty: no account.
    std::string accountName;
    // Printed in messages.
    std::int32_t sessionNumber = 0;
    // The server instance that holds the session's connection: notifications are addressed to it.
    std::int32_t instanceNumber = 0;
    // Empty: no folder is selected.
    std::string currentFolder;
    // DOS date (high half) and time (low half) of the activity file as this session last wrote it.
    std::uint32_t activityStamp = 0;
    // Where a server that delivers to its own sessions writes to this one.
    void* channel = nullptr;
};

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

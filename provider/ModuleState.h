// What the module holds for the life of the process: its folders, read from the registry when it is
// loaded, and the few plain values that all threads share.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace tarnwick {

// The notifications that a module receives from the loader. Attach reads the settings and takes the
// thread-local slot; false when no slot is left, and the module is then not loaded. Detach frees
// the slot. Other reasons, known or not, give true.
bool OnModuleNotification(std::uint32_t reason);

// The folder under which every postoffice lies, at most 1023 characters. Empty when the registry
// names none: paths then begin with a backslash and mean the root of the current drive.
std::string_view MailRoot();
// The same folder for block files and the swap, copied when the module is loaded.
std::string_view LockRoot();

// Read for whoever opens store indexes; the calendar does not use it.
std::uint32_t StoreEventNotificationMode();

// Number of the last line that this thread's enumeration examined; 0 in a new thread.
std::int32_t FindPosition();
void SetFindPosition(std::int32_t position);

// Shared by all threads without a lock, as callers know them: whoever reads items or waits for
// blocks on two threads sees the other's values.
struct SharedState {
    std::atomic<std::int32_t> itemReadOffset{-1};
    // Result of every reader's wait: 0 for good once one of them had to force a block away. Kept
    // for compatibility, as is the next.
    std::atomic<std::int16_t> readWaitResult{1};
    // 1 for good once any calendar's block file has been seen.
    std::atomic<std::int16_t> blockSeen{0};
};
SharedState& Shared();

}  // namespace tarnwick

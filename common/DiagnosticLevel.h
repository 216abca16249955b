// How much the process reports: one number for all rooms.
#pragma once

#include <atomic>

namespace tarnwick {

inline constexpr int kDefaultDiagnosticLevel = 5;

// The process-wide level; each gated message names the level above which it is written.
inline std::atomic<int>& DiagnosticLevel() {
    static std::atomic<int> level{kDefaultDiagnosticLevel};
    return level;
}

}  // namespace tarnwick

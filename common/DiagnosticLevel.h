// How much the process reports: one number for all rooms.
#pragma once

#include <atomic>

namespace tarnwick {

// One below what the report of a refused index block asks for, which is off so until a host asks.
inline constexpr int kDefaultDiagnosticLevel = 5;

// The process-wide level; each gated message names the level above which it is written.
inline std::atomic<int>& DiagnosticLevel() {
    static std::atomic<int> level{kDefaultDiagnosticLevel};
    return level;
}

}  // namespace tarnwick

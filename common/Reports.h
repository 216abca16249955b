// Everything the system tells somebody other than its caller, through one door that a test may
// watch: the process's standard output, the debug trace and the event log. And how much of it: one
// number for all rooms.
#pragma once

#include <atomic>
#include <string_view>

namespace tarnwick {

enum class ReportChannel {
    StandardOutput,  // the text as it stands
    Trace,           // the debugger's output
    EventLogInformation,
    EventLogWarning,
    EventLogError,  // source "Tarnwick"; "[" + executable name + "] " is put before the text
};

// Receives reports in place of the real channels. Called on the reporting thread; must not throw.
class ReportSink {
  public:
    virtual ~ReportSink() = default;
    virtual void Report(ReportChannel channel, std::string_view text) = 0;
};

// Replaces the sink of the process; null brings the real channels back. For tests and tools.
void SetReportSink(ReportSink* sink);

// Hands `text` to the sink, or to the real channel. Never throws; keeps the thread's last error.
void Report(ReportChannel channel, std::string_view text);

inline void PrintStandardOutput(std::string_view text) {
    Report(ReportChannel::StandardOutput, text);
}
inline void Trace(std::string_view text) {
    Report(ReportChannel::Trace, text);
}

// One below what the report of a refused index block asks for, which is off so until a host asks.
inline constexpr int kDefaultDiagnosticLevel = 5;

// The process-wide level; each gated message names the level above which it is written.
inline std::atomic<int>& DiagnosticLevel() {
    static std::atomic<int> level{kDefaultDiagnosticLevel};
    return level;
}

// The real channels of the platform (Reports reaches them; nobody else needs them).
namespace platform {
void WriteReport(ReportChannel channel, std::string_view text);
}

}  // namespace tarnwick

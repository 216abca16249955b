#include <cstdio>
#include <string>

#include "common/Reports.h"
#include "common/WindowsApi.h"

namespace tarnwick::platform {
namespace {

constexpr const char* kEventSource = "Tarnwick";
constexpr DWORD kReportEventId = 1;

std::string ExecutableName() {
    char path[MAX_PATH];
    const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
    const std::string full(path, length < sizeof path ? length : sizeof path);
    return full.substr(full.find_last_of("\\/") + 1);
}

WORD EventType(ReportChannel channel) {
    if (channel == ReportChannel::EventLogError) return EVENTLOG_ERROR_TYPE;
    if (channel == ReportChannel::EventLogWarning) return EVENTLOG_WARNING_TYPE;
    return EVENTLOG_INFORMATION_TYPE;
}

void WriteEventLog(ReportChannel channel, std::string_view text) {
    const HANDLE source = RegisterEventSourceA(nullptr, kEventSource);
    if (source == nullptr) return;
    const std::string message = "[" + ExecutableName() + "] " + std::string(text);
    const char* strings[] = {message.c_str()};
    ReportEventA(source, EventType(channel), 0, kReportEventId, nullptr, 1, 0, strings, nullptr);
    DeregisterEventSource(source);
}

}  // namespace

void WriteReport(ReportChannel channel, std::string_view text) {
    const DWORD lastError = GetLastError();
    try {
        if (channel == ReportChannel::StandardOutput) {
            std::fwrite(text.data(), 1, text.size(), stdout);
        } else if (channel == ReportChannel::Trace) {
            OutputDebugStringA(std::string(text).c_str());
        } else {
            WriteEventLog(channel, text);
        }
    } catch (...) {
        // A report that cannot be written is lost; whoever reports goes on.
    }
    SetLastError(lastError);
}

}  // namespace tarnwick::platform

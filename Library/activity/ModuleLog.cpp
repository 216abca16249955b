#include "Library/activity/ModuleLog.h"

#include "common/Reports.h"

namespace tarnwick {
namespace {

constexpr std::size_t kLogCapacity = 1024;  // terminator included

ReportChannel EventLogOf(std::string_view text) {
    if (text.starts_with("TW-E")) return ReportChannel::EventLogError;
    if (text.starts_with("TW-W")) return ReportChannel::EventLogWarning;
    return ReportChannel::EventLogInformation;
}

}  // namespace

void LogMessage(std::string_view text) {
    const std::string_view cut = text.substr(0, kLogCapacity - 1);
    Trace(cut);
    Report(EventLogOf(cut), cut);
}

}  // namespace tarnwick

#include "common/Reports.h"

#include <atomic>

namespace tarnwick {
namespace {

std::atomic<ReportSink*> reportSink{nullptr};

}  // namespace

void SetReportSink(ReportSink* sink) {
    reportSink = sink;
}

void Report(ReportChannel channel, std::string_view text) {
    if (ReportSink* sink = reportSink) {
        sink->Report(channel, text);
    } else {
        platform::WriteReport(channel, text);
    }
}

}  // namespace tarnwick

#ifndef _WIN32
#include <cstdio>

namespace tarnwick::platform {

// Away from Windows only the pure sources are built, for tests and benchmarks: what has no channel
// there is dropped.
void WriteReport(ReportChannel channel, std::string_view text) {
    if (channel == ReportChannel::StandardOutput) std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace tarnwick::platform
#endif

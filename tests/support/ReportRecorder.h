// Keeps what the system reports while it lives, byte for byte.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "common/Reports.h"

namespace tarnwick::testing {

class ReportRecorder : public ReportSink {
  public:
    ReportRecorder() { SetReportSink(this); }
    ~ReportRecorder() override { SetReportSink(nullptr); }

    void Report(ReportChannel channel, std::string_view text) override {
        const std::lock_guard lock(mutex_);
        reports_.emplace_back(channel, text);
    }

    // All texts of one channel so far, joined.
    std::string Joined(ReportChannel channel) const {
        const std::lock_guard lock(mutex_);
        std::string joined;
        for (const auto& [reportChannel, text] : reports_) {
            if (reportChannel == channel) joined += text;
        }
        return joined;
    }

    // All reports so far, and a fresh start.
    std::vector<std::pair<ReportChannel, std::string>> Take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(reports_, {});
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::pair<ReportChannel, std::string>> reports_;
};

// Keeps nothing and needs no memory; acts on each report if it is told how.
class ReportWatcher : public ReportSink {
  public:
    explicit ReportWatcher(std::function<void(std::string_view)> act = {}) : act_(std::move(act)) {
        SetReportSink(this);
    }
    ~ReportWatcher() override { SetReportSink(nullptr); }
    void Report(ReportChannel /*channel*/, std::string_view text) override {
        if (act_) act_(text);
    }

  private:
    std::function<void(std::string_view)> act_;
};

}  // namespace tarnwick::testing

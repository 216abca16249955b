// What every fuzz target is made of: a check of any bytes, which ends the process when it fails.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "common/Reports.h"

namespace tarnwick::fuzz {

// The target's own.
void Check(std::string_view input);

inline void Require(bool holds) {
    if (!holds) std::abort();
}

class NoReports : public ReportSink {
  public:
    void Report(ReportChannel /*channel*/, std::string_view /*text*/) override {}
};

}  // namespace tarnwick::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static tarnwick::fuzz::NoReports noReports;
    tarnwick::SetReportSink(&noReports);
    tarnwick::fuzz::Check({reinterpret_cast<const char*>(data), size});
    return 0;
}

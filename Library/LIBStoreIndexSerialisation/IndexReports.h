// Reports that operators must see as well as developers.
#pragma once

#include <string_view>

#include "common/Reports.h"

namespace tarnwick {

inline void ReportIndexProblem(std::string_view message) {
    Trace(message);
    Report(ReportChannel::EventLogError, message);
}

}  // namespace tarnwick

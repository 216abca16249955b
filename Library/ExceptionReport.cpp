#include "Library/ExceptionReport.h"

#include "common/CaughtException.h"
#include "common/Reports.h"

namespace tarnwick {

void ReportCaughtException(std::string_view operation) noexcept {
    try {
        const CaughtException caught = DescribeCaughtException(operation);
        Trace(caught.text);
        if (caught.kind == CaughtKind::Exception) {
            Report(ReportChannel::EventLogError, caught.text);
        }
    } catch (...) {
        // Memory is too short even for the report.
    }
}

}  // namespace tarnwick

#include "Library/activity/OperationEdge.h"

#include "common/CaughtException.h"
#include "Library/activity/ModuleLog.h"

namespace tarnwick {

void LogCaughtException(const char* operation) noexcept {
    try {
        const CaughtException caught = DescribeCaughtException(operation);
        LogMessage(caught.kind == CaughtKind::Other ? "%s\n" : "%s", {caught.text});
    } catch (...) {
        // Memory is too short for the text; this one needs none.
        LogMessage("%s raised an exception\n", {operation});
    }
}

}  // namespace tarnwick

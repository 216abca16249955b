#include "common/CallObserver.h"

#include <atomic>

#include "common/WindowsApi.h"

namespace tarnwick {
namespace {

std::atomic<CallObserver*> callObserver{nullptr};

}  // namespace

void SetCallObserver(CallObserver* observer) {
    callObserver = observer;
}

bool CallAllowed(std::string_view name, std::string_view path, std::string_view secondPath) {
    CallObserver* observer = callObserver.load(std::memory_order_relaxed);
    if (observer == nullptr) return true;
    const std::uint32_t error = observer->BeforeCall({name, path, secondPath});
    if (error == 0) return true;
    SetLastError(error);
    return false;
}

}  // namespace tarnwick

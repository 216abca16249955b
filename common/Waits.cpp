#include "common/Waits.h"

#include <atomic>

#include "common/WindowsApi.h"

namespace tarnwick {
namespace {

std::atomic<Sleeper*> installedSleeper{nullptr};

}  // namespace

void SetSleeper(Sleeper* sleeper) {
    installedSleeper = sleeper;
}

void WaitMilliseconds(std::uint32_t milliseconds) {
    if (Sleeper* sleeper = installedSleeper) {
        sleeper->Sleep(milliseconds);
    } else {
        Sleep(milliseconds);
    }
}

}  // namespace tarnwick

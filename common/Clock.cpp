#include "common/Clock.h"

#include <atomic>

#include "common/Files.h"

namespace tarnwick {
namespace {

std::atomic<std::uint64_t (*)()> installedClock{nullptr};

}  // namespace

void SetClock(std::uint64_t (*clock)()) {
    installedClock = clock;
}

std::uint64_t CurrentFileTime() {
    if (const auto clock = installedClock.load()) return clock();
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return ToUint64(now);
}

std::int64_t CurrentUnixTime() {
    return static_cast<std::int64_t>(CurrentFileTime() / kFileTimeUnitsPerSecond) -
           kSecondsFrom1601To1970;
}

}  // namespace tarnwick

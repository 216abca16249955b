#include "common/Clock.h"

#include <atomic>

#include "common/Files.h"

namespace tarnwick {
namespace {

constexpr std::uint64_t kUnitsPerSecond = 10'000'000;
constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

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
    return static_cast<std::int64_t>(CurrentFileTime() / kUnitsPerSecond) - kSecondsFrom1601To1970;
}

}  // namespace tarnwick

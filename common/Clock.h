// The present, replaceable for tests, and the units of time that the system counts in.
#pragma once

#include <cstdint>

namespace tarnwick {

inline constexpr std::int64_t kFileTimeUnitsPerSecond = 10'000'000;
// From 1601-01-01, where file times begin, to 1970-01-01.
inline constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

// 100 ns units since 1601-01-01 00:00 UTC.
std::uint64_t CurrentFileTime();

// Seconds since 1970-01-01 00:00 UTC.
std::int64_t CurrentUnixTime();

// Replaces the clock (a file time as above); null brings the system's back.
void SetClock(std::uint64_t (*clock)());

}  // namespace tarnwick

// The present, replaceable for tests.
#pragma once

#include <cstdint>

namespace tarnwick {

// 100 ns units since 1601-01-01 00:00 UTC.
std::uint64_t CurrentFileTime();

// Seconds since 1970-01-01 00:00 UTC.
std::int64_t CurrentUnixTime();

// Replaces the clock (a file time as above); null brings the system's back.
void SetClock(std::uint64_t (*clock)());

}  // namespace tarnwick

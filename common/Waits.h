// The functions in which the system sleeps.
#pragma once

#include <cstdint>

namespace tarnwick {

// One cycle of every wait for a block file.
inline constexpr std::uint32_t kPollMilliseconds = 1000;

class Sleeper {
  public:
    virtual ~Sleeper() = default;
    virtual void Sleep(std::uint32_t milliseconds) = 0;
};

// Replaces what sleeps, for tests that count waits or act in the middle of one; null brings the
// real sleep back.
void SetSleeper(Sleeper* sleeper);

void WaitMilliseconds(std::uint32_t milliseconds);

// Waits while the window messages of the calling thread are dispatched. Ends in time also when the
// C runtime's clock stands still.
void WaitDispatchingMessages(std::uint32_t milliseconds);

}  // namespace tarnwick

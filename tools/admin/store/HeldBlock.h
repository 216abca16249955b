// Holding a calendar's own block file while something is mended.
#pragma once

#include <cstdint>
#include <string>

#include "common/Handle.h"

namespace tarnwick::admin {

// Seconds beyond the patience of writers, after which whoever mends something gives up.
inline constexpr std::uint32_t kMoreWaits = 5;

// Waits for a holder as a writer does, and removes the block file of one that has ended. What ends
// this process ends the hold.
class HeldBlock {
  public:
    explicit HeldBlock(const std::string& path);
    HeldBlock(const HeldBlock&) = delete;
    HeldBlock& operator=(const HeldBlock&) = delete;

    bool IsHeld() const { return block_.IsValid(); }

  private:
    FileHandle block_;
};

// Removes a block file whose holder has ended, looking at it a second time before; false when it
// is not stale, is not there, or cannot be removed.
bool BreakBlock(const std::string& path);

}  // namespace tarnwick::admin

// How long the library's waits last by the settings of this moment, counted as the library does:
// one cycle of a second more than most limits say. docs/locking.md tells what is waited for.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

struct WaitTime {
    const char* wait;                      // stable name
    const char* what;                      // for people
    std::optional<std::uint64_t> seconds;  // none: without end
    const char* setting;                   // "" when nothing sets it
};

// `mailRoot` decides whether a writer that gives up waits once more: the name that it asks to
// delete then is no name at all below a drive letter, and names nothing on a share.
std::vector<WaitTime> WaitTimes(std::string_view mailRoot);

// The seconds for which one of them lasts.
std::optional<std::uint64_t> SecondsOfWait(const std::vector<WaitTime>& waits,
                                           std::string_view wait);

}  // namespace tarnwick::admin

#include "tools/admin/doctor/WaitTimes.h"

#include <algorithm>
#include <limits>

#include "remote/AdminProtocol.h"
#include "tools/admin/doctor/Settings.h"

namespace tarnwick::admin {
namespace {

constexpr std::uint32_t kWithoutEnd = std::numeric_limits<std::uint32_t>::max();
// The waits that nothing sets.
constexpr std::uint64_t kScanSeconds = 61;
constexpr std::uint64_t kScanRemovalSeconds = 80;
constexpr std::uint64_t kActivityRemovalSeconds = 81;
constexpr std::uint64_t kIndexOpenSeconds = 40;

std::int64_t Signed(const char* setting) {
    return static_cast<std::int32_t>(NumberOf(setting));
}

// A limit that is looked at after each wait: the last is in vain, and there is always one.
std::uint64_t LookedAtAfter(const char* setting) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(Signed(setting), 0) + 1);
}

// One that is looked at in front of each: less than no patience is no wait at all.
std::uint64_t LookedAtBefore(const char* setting) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(Signed(setting) + 1, 0));
}

std::optional<std::uint64_t> UnlessEndless(std::uint32_t number, std::uint64_t seconds) {
    if (number == kWithoutEnd) return std::nullopt;
    return seconds;
}

}  // namespace

std::vector<WaitTime> WaitTimes(std::string_view mailRoot) {
    constexpr const char* kActivity = "Store Notification Wait Timeout";
    constexpr const char* kNotified = "Index Notification Timeout";
    constexpr const char* kUnBlock = "UnBlock Timeout";
    const bool onDrive = mailRoot.size() > 1 && mailRoot[1] == ':';
    const std::uint64_t removal = LookedAtAfter(kUnBlock);
    const std::uint32_t activity = NumberOf(kActivity);
    const std::uint32_t notified = NumberOf(kNotified);
    const bool unblocks = NumberOf("Index Unblock Mode") != 0;
    return {
        {"reader-breaks", "a reader of a blocked calendar, until it deletes the block file",
         LookedAtAfter("Read Wait Timeout"), "Read Wait Timeout"},
        {"writer-gives-up", "a writer to a blocked calendar, until it gives up",
         LookedAtAfter("Write Wait Timeout"), "Write Wait Timeout"},
        {"writer-lingers", "the same writer, for a name that no file has", onDrive ? removal : 0,
         kUnBlock},
        {"block-removal", "deleting a calendar's block file that a program holds open", removal,
         kUnBlock},
        {"swap-step", "each of the two steps of replacing a calendar that a program holds open",
         LookedAtBefore("Apply Timeout"), "Apply Timeout"},
        {"scan-breaks", "a scan of a blocked folder, until it deletes the block file",
         unblocks ? 1 : kScanSeconds, unblocks ? "Index Unblock Mode" : ""},
        {"scan-removal", "deleting a folder's block file that a program holds open",
         kScanRemovalSeconds, ""},
        {"index-open", "opening an index that a program holds open", kIndexOpenSeconds, ""},
        {"notified-save", "a notified save, for its folder's mutex",
         UnlessEndless(notified, notified / 1000), kNotified},
        {"activity-breaks", "a waiter for the activity file, until it deletes the block file",
         UnlessEndless(activity, std::uint64_t{activity} + 1), kActivity},
        {"activity-removal", "deleting its block file that a program holds open",
         kActivityRemovalSeconds, ""},
        {"host-answer", "an answer of another server", kReceiveTimeoutMilliseconds / 1000, ""},
    };
}

std::optional<std::uint64_t> SecondsOfWait(const std::vector<WaitTime>& waits,
                                           std::string_view wait) {
    for (const WaitTime& each : waits) {
        if (wait == each.wait) return each.seconds;
    }
    return std::nullopt;
}

}  // namespace tarnwick::admin

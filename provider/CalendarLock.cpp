#include "provider/CalendarLock.h"

#include <cstdio>

#include "common/BlockFile.h"
#include "common/Files.h"
#include "common/Registry.h"
#include "common/Reports.h"
#include "common/Retry.h"
#include "common/Text.h"
#include "common/Waits.h"
#include "provider/ModuleState.h"

namespace tarnwick {
namespace {

struct TimeoutSetting {
    const char* name;
    std::uint32_t defaultSeconds;
};
constexpr TimeoutSetting kReadWaitTimeout{"Read Wait Timeout", 60};
constexpr TimeoutSetting kApplyTimeout{"Apply Timeout", 20};
constexpr TimeoutSetting kWriteWaitTimeout{"Write Wait Timeout", 80};
constexpr TimeoutSetting kUnBlockTimeout{"UnBlock Timeout", 80};

// Read at every use, so that an operator can cut a wait short that is under way. A stored 0 is no
// patience, and one too large for the sign is less than none: kept for compatibility.
std::int32_t SecondsOf(const TimeoutSetting& setting) {
    return static_cast<std::int32_t>(
        RegistryDwordOr(kProvidersKey, setting.name, setting.defaultSeconds));
}

std::string PathOf(const std::string& key, const char* format) {
    return FormatPath(format, {LockRoot(), key});
}

std::string BlockPath(const std::string& key) {
    return PathOf(key, "%s\\%s.BLK");
}

// A writer's patience: it takes every failure for somebody else's block.
struct WriterRule {
    static bool MayWait(DWORD /*error*/, std::uint32_t /*waits*/) { return true; }
    static BlockVerdict AfterWait(DWORD /*error*/, std::uint32_t waits) {
        return static_cast<std::int32_t>(waits) > SecondsOf(kWriteWaitTimeout)
                   ? BlockVerdict::GiveUp
                   : BlockVerdict::TryAgain;
    }
};

// Deletes the block file; needs no memory, since it is how a writer lets go when there is none.
bool RemoveBlockFile(const std::string& path) {
    const RetryOutcome outcome =
        RetryWhileRefused([&] { return RemoveFile(path); },
                          [] { return SecondsOf(kUnBlockTimeout); }, LastWait::InVain);
    if (outcome == RetryOutcome::GivenUp) {
        char message[kPathCapacity + 64];
        std::snprintf(message, sizeof message, "Unable to remove blocking file %s\n", path.c_str());
        PrintStandardOutput(message);
    }
    return outcome == RetryOutcome::Done;
}

// The swap's deletes and moves fail while a reader holds the calendar open. Kept for compatibility:
// one wait more than the setting says.
template <typename Attempt>
void TryUntilApplied(Attempt attempt) {
    RetryWhileRefused(attempt, [] { return std::int64_t{SecondsOf(kApplyTimeout)} + 1; });
}

}  // namespace

bool AcquireCalendarBlock(const std::string& key) {
    const std::string path = BlockPath(key);
    WriterRule rule;
    File block = WaitForBlockFile(path, rule);
    if (block.IsOpen()) {
        // The existence of a block file is the lock; nobody needs its handle.
        block.Close();
        return true;
    }
    // Asked for with the path in place of the key, another file than the block file: kept, since
    // only readers and operators may take a stale one away.
    if (!ReleaseCalendarBlock(path)) return false;
    // Whatever comes of it, the calendar counts as held: kept with the above.
    File(path, kCreateBlockFile).Close();
    return true;
}

bool ReleaseCalendarBlock(const std::string& key) {
    return RemoveBlockFile(BlockPath(key));
}

bool WaitForCalendarUnblocked(const std::string& key) {
    const std::string path = BlockPath(key);
    for (std::int32_t waits = 0; FileExistsQuickly(path);) {
        WaitMilliseconds(kPollMilliseconds);
        if (++waits <= SecondsOf(kReadWaitTimeout)) continue;
        // Tried again in every cycle from now on: with the writer gone nobody else will delete it.
        ReleaseCalendarBlock(key);
        Shared().readWaitResult = 0;
    }
    return Shared().readWaitResult != 0;
}

bool IsCalendarBlocked(const std::string& key) {
    // Never cleared, so that after the first block file of the process every calendar counts as
    // blocked: kept for compatibility.
    if (FileExists(BlockPath(key))) Shared().blockSeen = 1;
    return Shared().blockSeen != 0;
}

void ApplyCalendarUpdate(const std::string& key) {
    const std::string calendar = PathOf(key, "%s\\%s.CAL");
    const std::string replacement = PathOf(key, "%s\\%s.TMP");
    const std::string backup = PathOf(key, "%s\\%s.BAK");
    const std::string oldBackup = PathOf(key, "%s\\%s.OLD");
    const std::string block = BlockPath(key);
    // The writer's own block file is there, so the older backup is kept only when it vanished.
    if (!IsCalendarBlocked(key)) CopyOver(backup, oldBackup);
    CopyOver(calendar, backup);
    TryUntilApplied([&] { return RemoveFile(calendar); });
    TryUntilApplied([&] { return MoveToName(replacement, calendar); });
    RemoveFile(replacement);
    RemoveBlockFile(block);
}

CalendarBlock::CalendarBlock(const std::string& key)
    : key_(key), path_(BlockPath(key)), held_(AcquireCalendarBlock(key)) {}

CalendarBlock::~CalendarBlock() {
    if (held_) RemoveBlockFile(path_);
}

}  // namespace tarnwick

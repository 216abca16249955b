#include "provider/CalendarLock.h"

#include <new>
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

// The existence of a block file is the lock; nobody needs its handle.
bool CloseIfOpen(File block) {
    const bool wasOpen = block.IsOpen();
    block.Close();
    return wasOpen;
}

// The swap's deletes and moves fail while a reader holds the calendar open.
template <typename Attempt>
void TryUntilApplied(Attempt attempt) {
    RetryWhileRefused(
        attempt, [] { return SecondsOf(kApplyTimeout); }, GiveUpTest::BeforeWait);
}

}  // namespace

bool AcquireCalendarBlock(const std::string& key) {
    const std::string path = BlockPath(key);
    WriterRule rule;
    if (CloseIfOpen(WaitForBlockFile(path, rule))) return true;
    // The full path in place of the key names no file, so the stale block file survives here, and
    // only a reader's longer patience removes it.
    if (!ReleaseCalendarBlock(path)) return false;
    CloseIfOpen(File(path, kCreateBlockFile));
    return true;
}

bool ReleaseCalendarBlock(const std::string& key) {
    const std::string path = BlockPath(key);
    const RetryOutcome outcome =
        RetryWhileRefused([&] { return RemoveFile(path); },
                          [] { return SecondsOf(kUnBlockTimeout); }, GiveUpTest::AfterWait);
    if (outcome == RetryOutcome::GivenUp) {
        PrintStandardOutput("Unable to remove blocking file " + path + "\n");
    }
    return outcome == RetryOutcome::Done;
}

bool WaitForCalendarUnblocked(const std::string& key) {
    const std::string path = BlockPath(key);
    for (std::int32_t waits = 0; FileExistsQuickly(path);) {
        WaitMilliseconds(kPollMilliseconds);
        if (++waits <= SecondsOf(kReadWaitTimeout)) continue;
        ReleaseCalendarBlock(key);
        Shared().readWaitResult = 0;
    }
    return Shared().readWaitResult != 0;
}

bool IsCalendarBlocked(const std::string& key) {
    // Sticky on purpose: after the first block file of the process every calendar counts as
    // blocked.
    if (FileExists(BlockPath(key))) Shared().blockSeen = 1;
    return Shared().blockSeen != 0;
}

void ApplyCalendarUpdate(const std::string& key) {
    const std::string calendar = PathOf(key, "%s\\%s.CAL");
    const std::string replacement = PathOf(key, "%s\\%s.TMP");
    const std::string backup = PathOf(key, "%s\\%s.BAK");
    // The writer's own block file is there, so the older backup is kept only when it vanished.
    if (!IsCalendarBlocked(key)) CopyOver(backup, PathOf(key, "%s\\%s.OLD"));
    CopyOver(calendar, backup);
    TryUntilApplied([&] { return RemoveFile(calendar); });
    TryUntilApplied([&] { return MoveToName(replacement, calendar); });
    RemoveFile(replacement);
    ReleaseCalendarBlock(key);
}

CalendarBlock::CalendarBlock(const std::string& key)
    : key_(key), path_(BlockPath(key)), held_(AcquireCalendarBlock(key)) {}

CalendarBlock::~CalendarBlock() {
    if (!held_) return;
    try {
        ReleaseCalendarBlock(key_);
    } catch (const std::bad_alloc&) {
        // Without memory for retries and messages one try must do.
        RemoveFile(path_);
    }
}

}  // namespace tarnwick

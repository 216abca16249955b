#include <gtest/gtest.h>

#include "common/Registry.h"
#include "Library/activity/BlockFileLock.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::PathExists;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

void SetThreshold(std::uint32_t seconds) {
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey,
                              "Store Notification Wait Timeout", seconds);
}

// The messages, with this thread's number and the path put in for "%t" and "%p".
std::string Messages(const std::string& path, std::string text) {
    const std::string thread = std::to_string(static_cast<std::int32_t>(GetCurrentThreadId()));
    for (std::size_t at = 0; (at = text.find('%', at)) != std::string::npos;) {
        text.replace(at, 2, text[at + 1] == 't' ? thread : path);
    }
    return text;
}

const std::string kBlocking =
    "[Thread:%t] WaitForAccessToFile: Blocking on activity file: %p (80)\n";
const std::string kTimedOut =
    "[Thread:%t] WaitForAccessToFile: Blocking timed out on activity file: %p\n";
const std::string kUnblocked = "[Thread:%t] WaitForAccessToFile: Unblocked activity file: %p\n";

TEST(BlockFileLock, HoldsTheFileAsLongAsItLives) {
    const ScratchFolder folder;
    {
        const BlockFileLock lock(folder.Path("a.blk"), true, kWaitBeyondThreshold);
        EXPECT_TRUE(lock.IsLocked());
        EXPECT_FALSE(RemoveFile(folder.Path("a.blk")));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    }
    EXPECT_TRUE(folder.Names().empty());
    EXPECT_FALSE(BlockFileLock().IsLocked());
}

TEST(BlockFileLock, AMissingDirectoryFailsAtOnce) {
    const ScratchFolder folder;
    const std::string path = folder.Path("none\\a.blk");
    const CountingSleeper sleeper;
    ReportRecorder reports;
    EXPECT_FALSE(BlockFileLock(path, true, kWaitBeyondThreshold).IsLocked());
    EXPECT_EQ(sleeper.Count(), 0);
    EXPECT_EQ(reports.Joined(ReportChannel::EventLogError),
              Messages(path,
                       "TW-EXXXX: [Thread:%t] Serious Error: BlockFileLock Activity "
                       "notification handler (WaitForAccessToFile) failed to obtain a lock "
                       "on the blockfile (%p).\n"));
}

TEST(BlockFileLock, APathIsCutToItsBuffer) {
    CallRecorder calls;
    calls.FailAll("CreateFile", ERROR_PATH_NOT_FOUND);
    const BlockFileLock lock(std::string(2000, 'p'), true, kWaitBeyondThreshold);
    EXPECT_EQ(calls.Calls(), std::vector{"CreateFile " + std::string(1023, 'p')});
}

TEST(BlockFileLock, ADeadHoldersFileIsTakenAfterTheThreshold) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    const std::string path = folder.Path("a.blk");
    WriteBytesTo(path, "");
    const CountingSleeper sleeper;
    ReportRecorder reports;
    const BlockFileLock lock(path, true, kWaitBeyondThreshold);
    EXPECT_EQ(lock.State(), LockState::Held);
    EXPECT_EQ(sleeper.Count(), 101);
    EXPECT_EQ(sleeper.TotalMilliseconds(), 101'000U);
    std::string log = kTimedOut + kUnblocked;
    for (int told = 0; told < 11; ++told) log.insert(0, kBlocking);
    EXPECT_EQ(reports.Joined(ReportChannel::Trace), Messages(path, log));
}

TEST(BlockFileLock, AThresholdOfZeroWaitsOnce) {
    const ScratchRegistry registry;
    SetThreshold(0);
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("a.blk"), "");
    const CountingSleeper sleeper;
    EXPECT_TRUE(BlockFileLock(folder.Path("a.blk"), true, 0).IsLocked());
    EXPECT_EQ(sleeper.Count(), 1);
}

TEST(BlockFileLock, WaitsForTheHolderByItsThreshold) {
    const ScratchRegistry registry;
    SetThreshold(2);
    const std::string notObtained =
        "TW-WXXXX: Error: Activity file (%p) access could not be obtained within timeout "
        "threshold. Threshold=2 seconds.\n";
    const std::string vanished =
        "TW-WXXXX: Warning: Unblocking activity file (%p) succeeded with non-fatal errors... "
        "trying to get block again.\n";
    constexpr int kNever = 1000;
    struct Case {
        const char* name;
        bool living;
        std::uint32_t beyond;
        int freedAt;
        const char* refusedCall;
        std::uint32_t error;
        bool held;
        int waits;
        std::string warnings;
    };
    // 3 waits for the threshold, 81 for the removal; beyond it each wait tries the removal again.
    const Case cases[] = {
        {"freed, taken at the next try", false, 0, 2, "", 0, true, 2, ""},
        {"vanished at the threshold, taken", false, 0, 3, "", 0, true, 3, vanished},
        {"vanished and taken by another, counts again", false, 0, 5, "DeleteFile",
         ERROR_FILE_NOT_FOUND, true, 5, vanished},
        {"removed and taken by another, gives up", false, kWaitBeyondThreshold, kNever,
         "CreateFile", ERROR_FILE_EXISTS, false, 3, ""},
        {"living, gives up", true, 0, kNever, "", 0, false, 84, notObtained},
        {"living, goes on", true, 1, 85, "", 0, true, 85, notObtained},
        {"living, goes on and on", true, kWaitBeyondThreshold, 246, "", 0, true, 246,
         notObtained + notObtained},
    };
    for (const Case& row : cases) {
        const ScratchFolder folder;
        const std::string path = folder.Path("a.blk");
        File holder(path, kCreateBlockFile);
        if (!row.living) holder = File();
        const CountingSleeper sleeper([&](int count) {
            if (count != row.freedAt) return;
            holder = File();
            if (!row.living) DeleteFileA(path.c_str());
        });
        CallRecorder calls;
        calls.FailAll(row.refusedCall, row.error);
        ReportRecorder reports;
        File handle;
        EXPECT_EQ(WaitForAccessToFile(path, &handle, true, row.beyond), row.held) << row.name;
        EXPECT_EQ(sleeper.Count(), row.waits) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::EventLogWarning), Messages(path, row.warnings))
            << row.name;
    }
}

TEST(BlockFileLock, WithoutAKeptHandleTheFileAloneIsTheLock) {
    const ScratchFolder folder;
    const std::string path = folder.Path("a.blk");
    BlockFileLock lock(path, false, 0);
    EXPECT_TRUE(lock.IsLocked());
    EXPECT_TRUE(PathExists(path));
    lock.Release();
    EXPECT_FALSE(PathExists(path));
    CallRecorder calls;
    calls.FailAll("CloseHandle", ERROR_INVALID_HANDLE);
    ReportRecorder reports;
    EXPECT_TRUE(WaitForAccessToFile(path, nullptr, false, 0));
    EXPECT_EQ(reports.Joined(ReportChannel::Trace),
              Messages(path,
                       "WaitForAccessToFile: [Thread:%t] was unable to release temporary "
                       "blockfile handle for file %p. LastError=6\n"));
}

TEST(BlockFileLock, ReleaseTellsWhatItCouldNotDo) {
    const std::string stillOpen =
        "UnBlockIndexFileAccess_Notify: [Thread:%t] was unable to release blockfile lock for file "
        "%p. LastError=6\n";
    const std::string failed =
        "TW-EXXXX: [Thread:%t] ERROR BlockFileLock: Activity notification handler was able to "
        "obtain a lock to the file (%p) but was unable to gracefully unlock it.\n";
    struct Case {
        const char* name;
        const char* call;
        bool always;
        std::uint32_t error;
        LockState state;
        int waits;
        std::string messages;
    };
    const std::string released =
        "UnBlockIndexFileAccess_Notify: [Thread:%t] released blockfile lock for file %p\n";
    constexpr LockState kFailed = LockState::ReleaseFailed;
    const Case cases[] = {
        {"clean", "none", false, 0, LockState::NotHeld, 0, ""},
        {"already gone", "DeleteFile", true, ERROR_FILE_NOT_FOUND, LockState::NotHeld, 0, ""},
        {"directory gone", "DeleteFile", true, ERROR_PATH_NOT_FOUND, kFailed, 0, failed},
        {"held for a moment", "DeleteFile", false, ERROR_SHARING_VIOLATION, LockState::NotHeld, 1,
         ""},
        {"held for good", "DeleteFile", true, ERROR_SHARING_VIOLATION, kFailed, 81,
         stillOpen + failed},
        {"handle closes late", "CloseHandle", false, ERROR_INVALID_HANDLE, kFailed, 81,
         stillOpen + released + failed},
        {"handle never closes", "CloseHandle", true, ERROR_INVALID_HANDLE, kFailed, 81,
         stillOpen + stillOpen + failed},
    };
    for (const Case& row : cases) {
        const ScratchFolder folder;
        const std::string path = folder.Path("a.blk");
        const CountingSleeper sleeper;
        BlockFileLock lock(path, true, kWaitBeyondThreshold);
        CallRecorder calls;
        // The first call of a release closes the handle, the second deletes the file.
        if (row.always) calls.FailAll(row.call, row.error);
        if (!row.always) calls.FailCall(row.call[0] == 'C' ? 1 : 2, row.error);
        ReportRecorder reports;
        lock.Release();
        lock.Release();  // does nothing
        EXPECT_EQ(lock.State(), row.state) << row.name;
        EXPECT_EQ(lock.IsLocked(), row.state == kFailed) << row.name;
        EXPECT_EQ(sleeper.Count(), row.waits) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), Messages(path, row.messages)) << row.name;
    }
}

TEST(BlockFileLock, AHandleThatDidNotCloseIsClosedBehindAFileThatIsGone) {
    const ScratchFolder folder;
    BlockFileLock lock(folder.Path("a.blk"), true, kWaitBeyondThreshold);
    CallRecorder calls;
    calls.FailCall(1, ERROR_FILE_NOT_FOUND);
    calls.FailAll("DeleteFile", ERROR_FILE_NOT_FOUND);
    lock.Release();
    EXPECT_EQ(calls.Calls(),
              (std::vector<std::string>{"CloseHandle", "DeleteFile a.blk", "CloseHandle"}));
}

TEST(BlockFileLock, AFailedAcquisitionIsHeldNoMore) {
    const ScratchFolder folder;
    BlockFileLock lock(folder.Path("a.blk"), true, kWaitBeyondThreshold);
    CallRecorder calls;
    calls.FailAll("DeleteFile", ERROR_PATH_NOT_FOUND);
    lock.Release();
    calls.FailAll("CreateFile", ERROR_PATH_NOT_FOUND);
    lock.Acquire(folder.Path("a.blk"), true, kWaitBeyondThreshold);
    EXPECT_EQ(lock.State(), LockState::NotHeld);
}

bool IsLockingModeEnabledAt(std::uint32_t value) {
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Activity Locking Mode", value);
    return IsActivityLockingModeEnabled();
}

TEST(ActivityLockingMode, IsOffWithoutTheValue) {
    const ScratchRegistry registry;
    EXPECT_FALSE(IsActivityLockingModeEnabled());
}
TEST(ActivityLockingMode, IsOffAtTwo) {
    const ScratchRegistry registry;
    EXPECT_FALSE(IsLockingModeEnabledAt(2));
}
TEST(ActivityLockingMode, IsOnAtOneAndReadOnce) {
    const ScratchRegistry registry;
    EXPECT_TRUE(IsLockingModeEnabledAt(1));
    EXPECT_TRUE(IsLockingModeEnabledAt(0));
}

}  // namespace
}  // namespace tarnwick

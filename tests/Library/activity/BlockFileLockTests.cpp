#include <gtest/gtest.h>

#include "common/Registry.h"
#include "Library/activity/ActivityReplacement.h"
#include "Library/activity/BlockFileLock.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::ScratchFolder;
using testing::ScratchRegistry;

// Letters of a case: with which error the next calls fail, and how many do. All behind succeed.
struct Outcome {
    char letter;
    std::uint32_t error;
    std::size_t calls;
};
constexpr Outcome kOutcomes[] = {{'s', 0, 1},   {'e', 80, 1},  {'E', 80, 101}, {'a', 32, 1},
                                 {'b', 32, 15}, {'A', 32, 81}, {'f', 2, 1},    {'p', 3, 1}};

std::string path;

// What is called, waited and told, in order.
struct Events {
    explicit Events(const std::string& text) {
        for (const char letter : text) {
            for (const Outcome& each : kOutcomes) {
                if (each.letter == letter) errors.insert(errors.end(), each.calls, each.error);
            }
        }
    }
    std::uint32_t Call(std::string_view name) {
        events.append(name).append("\n");
        return next < errors.size() ? errors[next++] : 0;
    }
    void Wait(std::uint32_t milliseconds) {
        events += "wait " + std::to_string(milliseconds) + "\n";
    }
    std::vector<std::uint32_t> errors;
    std::size_t next = 0;
    std::string events;
};

// The product's, whose calls end as the case says.
struct Observed : Events, CallObserver, ReportSink, Sleeper {
    explicit Observed(const std::string& text) : Events(text) {
        SetCallObserver(this), SetReportSink(this), SetSleeper(this);
    }
    ~Observed() override { SetCallObserver(nullptr), SetReportSink(nullptr), SetSleeper(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        // A call that may succeed finds its files so that it does.
        if (call.name == "CreateFile" || call.name == "MoveFile") DeleteFileA(path.c_str());
        if (call.name == "DeleteFile") testing::WriteBytesTo(path, "");
        if (call.name == "MoveFile") testing::WriteBytesTo(path + "2", "");
        return Call(call.name);
    }
    void Report(ReportChannel channel, std::string_view text) override {
        if (channel == ReportChannel::Trace) events += text;
    }
    void Sleep(std::uint32_t milliseconds) override { Wait(milliseconds); }
};

// The same by the plain rules.
struct Plain : Events {
    using Events::Events;

    // "@" stands for the path, "#" for the thread, "%" for the error.
    void Tell(const std::string& text, std::uint32_t error = 0) {
        for (const char letter : text) {
            events +=
                letter == '@'   ? path
                : letter == '%' ? std::to_string(error)
                : letter == '#'
                    ? "[Thread:" + std::to_string(static_cast<int>(GetCurrentThreadId())) + "]"
                    : std::string(1, letter);
        }
    }
    void Unreleased(std::uint32_t error) {
        Tell(
            "UnBlockIndexFileAccess_Notify: # was unable to release blockfile lock for file @. "
            "LastError=%\n",
            error);
    }
    std::uint32_t Close() {
        const std::uint32_t error = open ? Call("CloseHandle") : 0;
        open = open && error != 0;
        return error;
    }
    std::uint32_t Delete() {
        const std::uint32_t error = Call("DeleteFile");
        return error == 0 && open ? 32 : error;
    }

    // `given`: with the lock's handle.
    int Unblock(bool given) {
        std::uint32_t error = given ? Close() : 0;
        if (error != 0) Unreleased(error);
        for (int waits = 0; waits <= 80; ++waits) {
            error = Delete();
            if (error == 0) return 1;
            if (error == 2 || error == 3) {
                const std::uint32_t closing = given ? Close() : 0;
                if (closing != 0) Unreleased(closing);
                return error == 2 ? 2 : 0;
            }
            Wait(1000);
        }
        if (!given) return 0;
        error = open ? Close() : 6;
        if (error != 0) Unreleased(error);
        if (error == 0)
            Tell("UnBlockIndexFileAccess_Notify: # released blockfile lock for file @\n");
        return 0;
    }

    bool WaitForAccess(bool keep, bool beyond) {
        std::uint32_t error = 0;
        for (int count = 0; (error = Call("CreateFile")) != 0;) {
            if (error == 3) return false;
            if (count % 10 == 0)
                Tell("# WaitForAccessToFile: Blocking on activity file: @ (%)\n", error);
            Wait(1000);
            if (++count <= 100) continue;
            Tell("# WaitForAccessToFile: Blocking timed out on activity file: @\n");
            const int unblocked = Unblock(false);
            if (unblocked == 1) {
                Tell("# WaitForAccessToFile: Unblocked activity file: @\n");
                if (Call("CreateFile") != 0) return false;
                break;
            }
            if (unblocked == 2) {
                Tell(
                    "TW-WXXXX: Warning: Unblocking activity file (@) succeeded with non-fatal "
                    "errors... trying to get block again.\n");
                count = 0;
                continue;
            }
            Tell(
                "TW-WXXXX: Error: Activity file (@) access could not be obtained within timeout "
                "threshold. Threshold=100 seconds.\n");
            if (!beyond) return false;
        }
        open = true;
        if (!keep && (error = Close()) != 0) {
            Tell(
                "WaitForAccessToFile: # was unable to release temporary blockfile handle for file "
                "@. LastError=%\n",
                error);
        }
        open = keep;
        return true;
    }

    std::string Lock(bool keep, bool beyond) {
        if (!WaitForAccess(keep, beyond)) {
            Tell(
                "TW-EXXXX: # Serious Error: BlockFileLock Activity notification handler "
                "(WaitForAccessToFile) failed to obtain a lock on the blockfile (@).\n");
            return "0 0";
        }
        if (Unblock(true) != 0) return "1 0";
        Tell(
            "TW-EXXXX: # ERROR BlockFileLock: Activity notification handler was able to obtain a "
            "lock to the file (@) but was unable to gracefully unlock it.\n");
        return "1 2";
    }

    bool DeleteWithRetry(bool retry, int most) {
        std::uint32_t error = Delete();
        for (int count = 0; error != 0; ++count) {
            if (error == 2 || error == 3) return true;
            if (count > most)
                Tell(
                    "TW-WXXXX: DeleteWithRetry Error:  Abandoning attempts to delete file @. "
                    "Error: %\n",
                    error);
            if (count > most) return false;
            if (count % 5 == 0)
                Tell(
                    "TW-WXXXX: DeleteWithRetry Warning: An error occurred when attempting to "
                    "delete file @. Error: %\n",
                    error);
            if (!retry) return false;
            error = Delete();
            Wait(1000);
        }
        return true;
    }

    bool MoveWithRetry(bool retry, int most) {
        std::uint32_t error = Call("MoveFile");
        for (int count = 0; error != 0; ++count) {
            if (error == 2 || error == 3) return false;
            if (count > most)
                Tell(
                    "TW-WXXXX: Warning: A Timeout occured when attempting to move @2 Activity File "
                    "to @. Error: %\n",
                    error);
            if (count > most) return false;
            if (count % 5 == 0)
                Tell(
                    "TW-WXXXX: Warning: Unable to move @2 Activity File to @ at this time (but "
                    "will keep retrying). Error: %\n",
                    error);
            if (!retry) return false;
            Wait(1000);
            error = Call("MoveFile");
        }
        return true;
    }

    bool open = false;
};

// What each version of a lock, a deletion, a move and a replacement gives.
std::string RunProduct(int variant) {
    const bool flag = variant % 2 == 0;
    const int most = variant / 2 % 4 * 8 - 1;
    if (variant < 4) {
        BlockFileLock lock(path, flag, variant / 2 == 0 ? 0 : 1);
        const auto held = static_cast<int>(lock.State());
        lock.Release();
        lock.Release();  // does nothing
        EXPECT_EQ(lock.IsLocked(), lock.State() != LockState::NotHeld);
        return std::to_string(held) + " " + std::to_string(static_cast<int>(lock.State()));
    }
    if (variant < 12) return std::to_string(DeleteWithRetry(path, flag, most));
    if (variant < 20) return std::to_string(MoveWithRetry(path + "2", path, flag, most));
    return std::to_string(ReplaceActivityFile(path + "2", path));
}
std::string RunPlain(int variant, Plain& plain) {
    const bool flag = variant % 2 == 0;
    const int most = variant / 2 % 4 * 8 - 1;
    if (variant < 4) return plain.Lock(flag, variant / 2 != 0);
    if (variant < 12) return std::to_string(plain.DeleteWithRetry(flag, most));
    if (variant < 20) return std::to_string(plain.MoveWithRetry(flag, most));
    plain.DeleteWithRetry(true, 15);
    return std::to_string(plain.MoveWithRetry(true, 15));
}

TEST(BlockFileLock, EveryCallIsMadeToldAndWaitedForAsByThePlainRules) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    path = folder.Path("a.blk");
    testing::CompareWithModel(
        "seaEAbfp"
        "EEA",
        2, 200, 8, [](const std::string& text) {
            for (int variant = 0; variant <= 20; ++variant) {
                Observed observed(text);
                const std::string result = RunProduct(variant);
                Plain plain(text);
                const std::string wanted = RunPlain(variant, plain);
                if (result + observed.events == wanted + plain.events) continue;
                return std::to_string(variant) + ": " + result + "\n" + observed.events +
                       "model: " + wanted + "\n" + plain.events;
            }
            return std::string();
        });
}

TEST(BlockFileLock, HoldsTheFileAsLongAsItLives) {
    const ScratchFolder folder;
    {
        const BlockFileLock lock(folder.Path("a.blk"), true, kWaitBeyondThreshold);
        EXPECT_FALSE(RemoveFile(folder.Path("a.blk")));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    }
    EXPECT_TRUE(folder.Names().empty());
    EXPECT_FALSE(BlockFileLock().IsLocked());
}

TEST(BlockFileLock, AFailedAcquisitionIsHeldNoMoreAndItsPathCutToItsBuffer) {
    const ScratchFolder folder;
    BlockFileLock lock(folder.Path("a.blk"), true, kWaitBeyondThreshold);
    CallRecorder calls;
    calls.FailAll("DeleteFile", ERROR_PATH_NOT_FOUND);
    lock.Release();
    EXPECT_EQ(lock.State(), LockState::ReleaseFailed);
    calls.Clear();
    calls.FailAll("CreateFile", ERROR_PATH_NOT_FOUND);
    lock.Acquire(std::string(2000, 'p'), true, kWaitBeyondThreshold);
    EXPECT_EQ(lock.State(), LockState::NotHeld);
    EXPECT_EQ(calls.Calls(), std::vector{"CreateFile " + std::string(1023, 'p')});
}

// Settings are read once, so these run in processes of their own.
TEST(BlockFileLockOwnProcess, AThresholdOfZeroWaitsOnce) {
    const ScratchRegistry registry;
    const char* const value = "Store Notification Wait Timeout";
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey, value, 0);
    const ScratchFolder folder;
    const CountingSleeper sleeper;
    for (const std::uint32_t later : {1U, 2U}) {
        testing::WriteBytesTo(folder.Path("a.blk"), "");
        EXPECT_TRUE(BlockFileLock(folder.Path("a.blk"), true, 0).IsLocked());
        EXPECT_EQ(sleeper.Count(), static_cast<int>(later)) << "not read again";
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey, value, 9);
    }
}

void ExpectLockingMode(std::uint32_t value, bool enabled) {
    const ScratchRegistry registry;
    for (const std::uint32_t later : {value, 1 - value % 2}) {
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Activity Locking Mode", later);
        EXPECT_EQ(IsActivityLockingModeEnabled(), enabled) << value;
    }
}
TEST(BlockFileLockOwnProcess, ActivityLockingModeIsOnAtOne) {
    ExpectLockingMode(1, true);
}
TEST(BlockFileLockOwnProcess, ActivityLockingModeIsOffAtTwo) {
    ExpectLockingMode(2, false);
}
TEST(BlockFileLockOwnProcess, ActivityLockingModeIsOffWithoutTheValue) {
    const ScratchRegistry registry;
    EXPECT_FALSE(IsActivityLockingModeEnabled());
}

}  // namespace
}  // namespace tarnwick

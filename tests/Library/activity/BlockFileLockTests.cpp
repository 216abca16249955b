// What the lock and the swap of an activity file call, tell and wait for, in order.
#include <gtest/gtest.h>

#include <sstream>

#include "common/Registry.h"
#include "common/Reports.h"
#include "Library/activity/ActivityStore.h"
#include "Library/activity/BlockFileLock.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::ScratchRegistry;

// A letter for each text, with "@" for the path, "#" for the thread and "%" for the error.
const std::pair<const char*, const char*> kTexts[] = {
    {"blocking", "# WaitForAccessToFile: Blocking on activity file: @ (%)\n"},
    {"timeout", "# WaitForAccessToFile: Blocking timed out on activity file: @\n"},
    {"unblocked", "# WaitForAccessToFile: Unblocked activity file: @\n"},
    {"gone",
     "TW-WXXXX: Warning: Unblocking activity file (@) succeeded with non-fatal errors... trying to "
     "get block again.\n"},
    {"threshold",
     "TW-WXXXX: Error: Activity file (@) access could not be obtained within timeout threshold. "
     "Threshold=11 seconds.\n"},
    {"closed",
     "UnBlockIndexFileAccess_Notify: # was unable to release blockfile lock for file @. "
     "LastError=6\n"},
    {"stuck",
     "UnBlockIndexFileAccess_Notify: # was unable to release blockfile lock for file @. "
     "LastError=%\n"},
    {"released", "UnBlockIndexFileAccess_Notify: # released blockfile lock for file @\n"},
    {"open",
     "WaitForAccessToFile: # was unable to release temporary blockfile handle for file @. "
     "LastError=%\n"},
    {"refused",
     "TW-EXXXX: # Serious Error: BlockFileLock Activity notification handler (WaitForAccessToFile) "
     "failed to obtain a lock on the blockfile (@).\n"},
    {"kept",
     "TW-EXXXX: # ERROR BlockFileLock: Activity notification handler was able to obtain a lock to "
     "the file (@) but was unable to gracefully unlock it.\n"},
    {"undeleted",
     "TW-WXXXX: DeleteWithRetry Warning: An error occurred when attempting to delete file @. "
     "Error: %\n"},
    {"abandoned",
     "TW-WXXXX: DeleteWithRetry Error:  Abandoning attempts to delete file @. Error: %\n"},
    {"unmoved",
     "TW-WXXXX: Warning: Unable to move @2 Activity File to @ at this time (but will keep "
     "retrying). Error: %\n"},
    {"unswapped",
     "TW-WXXXX: Warning: A Timeout occured when attempting to move @2 Activity File to @. Error: "
     "%\n"},
};

std::string Replaced(std::string text, const std::string& old, const char* by) {
    for (std::size_t at; (at = text.find(old)) != text.npos;) text.replace(at, old.size(), by);
    return text;
}

// Sees all that happens. Its calls fail with the errors of a script, "80*12 0 32", and succeed from
// there on.
struct Observed : CallObserver, ReportSink, Sleeper {
    Observed(const std::string& blockPath, const std::string& script) : path(blockPath) {
        SetCallObserver(this), SetReportSink(this), SetSleeper(this);
        std::istringstream words(script);
        for (std::string word; words >> word;) {
            const std::size_t star = word.find('*');
            errors.insert(errors.end(), star == word.npos ? 1 : std::stoul(word.substr(star + 1)),
                          static_cast<std::uint32_t>(std::stoul(word)));
        }
    }
    ~Observed() override { SetCallObserver(nullptr), SetReportSink(nullptr), SetSleeper(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        // A call that may succeed finds its files so that it does.
        if (call.name == "CreateFile" || call.name == "MoveFile") DeleteFileA(path.c_str());
        if (call.name == "DeleteFile") testing::WriteBytesTo(path, "");
        if (call.name == "MoveFile") testing::WriteBytesTo(path + "2", "");
        error = next < errors.size() ? errors[next++] : 0;
        events.push_back(Replaced(Replaced(std::string(call.name), "File", ""), "Handle", "") +
                         (error == 0 ? "" : std::to_string(error)));
        return error;
    }
    void Report(ReportChannel channel, std::string_view report) override {
        if (channel != ReportChannel::Trace) return;
        const std::string thread = "[Thread:" + std::to_string(GetCurrentThreadId()) + "]";
        const std::string text = Replaced(Replaced(std::string(report), path, "@"), thread, "#");
        events.push_back(text);
        for (const auto& [word, known] : kTexts) {
            if (text == Replaced(known, "%", std::to_string(error).c_str())) events.back() = word;
        }
    }
    void Sleep(std::uint32_t milliseconds) override {
        events.push_back(milliseconds == 1000 ? "wait" : std::to_string(milliseconds));
    }
    // What repeats, one by one or two by two, stands once: "12(Delete32 wait)"; "patience" are all
    // waits up to a threshold of 11.
    std::string Compact() const {
        std::string text;
        for (std::size_t at = 0; at < events.size();) {
            std::size_t period = 2, times = 1;
            const auto repeats = [&](std::size_t by) {
                std::size_t end = at + by;
                while (end < events.size() && events[end] == events[end - by]) ++end;
                return (end - at) / by;
            };
            if (repeats(1) > 1 || repeats(2) == 1) period = 1;
            times = repeats(period);
            text += (text.empty() ? "" : " ") + (times > 1 ? std::to_string(times) + "(" : "") +
                    events[at] + (period == 2 ? " " + events[at + 1] : "") + (times > 1 ? ")" : "");
            at += period * times;
        }
        return Replaced(text,
                        "Create80 blocking 10(wait Create80) blocking wait Create80 wait timeout",
                        "patience");
    }

    const std::string path;
    std::vector<std::uint32_t> errors;
    std::size_t next = 0;
    std::uint32_t error = 0;
    std::vector<std::string> events;
};

std::string Lock(const std::string& path, bool keep, std::uint32_t beyond) {
    BlockFileLock lock(path, keep, beyond);
    const auto held = static_cast<int>(lock.State());
    lock.Release();
    lock.Release();  // does nothing
    EXPECT_EQ(lock.IsLocked(), lock.State() != LockState::NotHeld);
    return std::to_string(held) + " " + std::to_string(static_cast<int>(lock.State()));
}

struct Case {
    std::string (*run)(const std::string& path);
    const char *script, *result, *events;
};
std::string Kept(const std::string& path) {
    return Lock(path, true, 0);
}
std::string Closed(const std::string& path) {
    return Lock(path, false, 0);
}
std::string Patient(const std::string& path) {
    return Lock(path, true, 2);
}
template <bool retry>
std::string Deleted(const std::string& path) {
    return std::to_string(DeleteWithRetry(path, retry, 7));
}
template <bool retry>
std::string Moved(const std::string& path) {
    return std::to_string(MoveWithRetry(path + "2", path, retry, 7));
}
std::string Swapped(const std::string& path) {
    return std::to_string(ReplaceActivityFile(path + "2", path));
}

const Case kCases[] = {
    {Kept, "", "1 0", "Create Close Delete"},
    {Kept, "3", "0 0", "Create3 refused"},
    {Kept, "80*11", "1 0", "Create80 blocking 10(wait Create80) blocking wait Create Close Delete"},
    {Kept, "80*12", "1 0", "patience Delete unblocked Create Close Delete"},
    {Kept, "80*12 0 80", "0 0", "patience Delete unblocked Create80 refused"},
    {Kept, "80*12 2 80*11", "1 0",
     "patience Delete2 gone Create80 blocking 10(wait Create80) blocking wait Create Close Delete"},
    {Kept, "80*12 3", "0 0", "patience Delete3 threshold refused"},
    {Kept, "80*12 32*81", "0 0", "patience 81(Delete32 wait) threshold refused"},
    {Patient, "80*12 32*81 80 32*81 5", "1 0",
     "patience 81(Delete32 wait) threshold Create80 wait timeout 81(Delete32 wait) threshold "
     "Create5 wait timeout Delete unblocked Create Close Delete"},
    {Closed, "", "1 0", "Create Close Delete"},
    {Closed, "0 6", "1 0", "Create Close6 open Delete"},
    {Kept, "0 6 2", "1 0", "Create Close6 stuck Delete2 Close"},
    {Kept, "0 0 2", "1 0", "Create Close Delete2"},
    {Kept, "0 0 3", "1 2", "Create Close Delete3 kept"},
    {Kept, "0 6 3 6", "1 2", "Create Close6 stuck Delete3 Close6 stuck kept"},
    {Kept, "0 0 32*80", "1 0", "Create Close 80(Delete32 wait) Delete"},
    {Kept, "0 0 32*81", "1 2", "Create Close 81(Delete32 wait) closed kept"},
    {Kept, "0 6 32*81", "1 2", "Create Close6 stuck 81(Delete32 wait) Close released kept"},
    {Kept, "0 6 32*81 6", "1 2", "Create Close6 stuck 81(Delete32 wait) Close6 stuck kept"},
    {Deleted<true>, "", "1", "Delete"},
    {Deleted<true>, "3", "1", "Delete3"},
    {Deleted<true>, "32 2", "1", "Delete32 undeleted Delete2 wait"},
    {Deleted<true>, "32*8", "1",
     "Delete32 undeleted 5(Delete32 wait) undeleted 2(Delete32 wait) Delete wait"},
    {Deleted<true>, "32*9", "0",
     "Delete32 undeleted 5(Delete32 wait) undeleted 3(Delete32 wait) abandoned"},
    {Deleted<false>, "32", "0", "Delete32 undeleted"},
    {Moved<true>, "2", "0", "Move2"},
    {Moved<true>, "32 3", "0", "Move32 unmoved wait Move3"},
    {Moved<true>, "32*8", "1", "Move32 unmoved 5(wait Move32) unmoved 2(wait Move32) wait Move"},
    {Moved<true>, "32*9", "0", "Move32 unmoved 5(wait Move32) unmoved 3(wait Move32) unswapped"},
    {Moved<false>, "32", "0", "Move32 unmoved"},
    {Swapped, "32*17", "1",
     "Delete32 undeleted 5(Delete32 wait) undeleted 5(Delete32 wait) undeleted 5(Delete32 wait) "
     "undeleted Delete32 wait abandoned Move"},
    {Swapped, "0 32*17", "0",
     "Delete Move32 unmoved 5(wait Move32) unmoved 5(wait Move32) unmoved 5(wait Move32) unmoved "
     "wait Move32 unswapped"},
};

// Settings are read once, so that these run in processes of their own.
void Use(std::uint32_t lockingMode) {
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey,
                              "Store Notification Wait Timeout", lockingMode == 1 ? 11 : 0);
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Activity Locking Mode",
                              lockingMode);
    EXPECT_EQ(IsActivityLockingModeEnabled(), lockingMode == 1);
}

TEST(BlockFileLockOwnProcess, CallsTellsAndWaitsForAllThisInOrder) {
    const ScratchRegistry registry;
    Use(1);
    const testing::ScratchFolder folder;
    for (const Case& row : kCases) {
        Observed observed(folder.Path("a.blk"), row.script);
        const std::string result = row.run(observed.path);
        EXPECT_EQ(result + ": " + observed.Compact(), row.result + std::string(": ") + row.events)
            << row.script;
        if (observed.error == 0) {
            EXPECT_EQ(observed.next, observed.errors.size()) << row.script;
        }
    }
}

TEST(BlockFileLockOwnProcess, AThresholdOfZeroWaitsOnceAndPathsAreCut) {
    const ScratchRegistry registry;
    Use(2);
    const testing::ScratchFolder folder;
    {
        Observed observed(folder.Path("a.blk"), "80");
        EXPECT_TRUE(BlockFileLock(observed.path, true, 0).IsLocked());
        EXPECT_EQ(observed.Compact(),
                  "Create80 blocking wait timeout Delete unblocked Create Close Delete");
    }
    testing::CallRecorder calls;
    calls.FailAll("CreateFile", ERROR_PATH_NOT_FOUND);
    EXPECT_FALSE(BlockFileLock(std::string(2000, 'p'), true, 0).IsLocked());
    EXPECT_EQ(calls.Calls(), std::vector{"CreateFile " + std::string(1023, 'p')});
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Activity Locking Mode", 1);
    EXPECT_FALSE(IsActivityLockingModeEnabled()) << "not read again";
}

TEST(BlockFileLockOwnProcess, TheLockingModeIsOffWithoutAValue) {
    const ScratchRegistry registry;
    EXPECT_FALSE(IsActivityLockingModeEnabled());
}

}  // namespace
}  // namespace tarnwick

// What the model of the activity file does not show: waits, and the stamp where the file is busy.
#include <gtest/gtest.h>

#include "common/Files.h"
#include "Library/activity/ActivityStore.h"
#include "Library/activity/ClientState.h"
#include "tests/Library/activity/ActivityFixtures.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::StampOnDisk;
using Names = std::vector<std::string>;

class ClientState : public ::testing::Test {
  protected:
    void Set() {
        SetClientState(&session_, folder_.Path(), "srv", "", 143, "IMAP", "bob", "Inbox", "run");
    }

    const testing::ScratchFolder folder_;
    const std::string tab_ = folder_.Path("_activity.tab");
    SessionContext session_{"bob", 12, 7, "Inbox", 99, nullptr};
    const testing::ReportRecorder reports_;
};

TEST_F(ClientState, ALivingHolderIsWaitedForHoweverLongItTakes) {
    File holder(folder_.Path("_activity.blk"), kCreateBlockFile);
    const CountingSleeper sleeper([&](int count) {
        if (count == 500) holder = File();
    });
    Set();
    EXPECT_EQ(sleeper.Count(), 500);
    EXPECT_EQ(session_.activityStamp, StampOnDisk(tab_));
}

// Whoever reads the file or its replacement meanwhile keeps them from being deleted or moved.
TEST_F(ClientState, AFileOrReplacementThatIsHeldForAMomentIsWaitedFor) {
    for (const auto& [held, waits] : {std::pair{"_activity.tab", 2}, {"_activity.tmp", 1}}) {
        Set();
        session_.activityStamp = 99;
        File holder(folder_.Path(held), {GENERIC_READ, kShareReadWrite, OPEN_ALWAYS});
        const CountingSleeper sleeper([&](int) { holder = File(); });
        EXPECT_EQ(CloseClientState(&session_, folder_.Path(), "srv", "", 144, "IMAP", "run"), 1);
        EXPECT_EQ(sleeper.Count(), waits) << held;
        EXPECT_EQ(session_.activityStamp, StampOnDisk(tab_)) << held;
        EXPECT_EQ(folder_.Names(), Names{"_activity.tab"}) << held;
    }
}

TEST_F(ClientState, AMoveThatNeverSucceedsIsAFailureAndLeavesTheReplacement) {
    Set();
    session_.activityStamp = 99;
    const CountingSleeper sleeper;
    CallRecorder calls;
    calls.FailAll("MoveFile", ERROR_ACCESS_DENIED);
    EXPECT_EQ(CloseClientState(&session_, folder_.Path(), "srv", "", 144, "IMAP", "run"), 0);
    EXPECT_EQ(sleeper.Count(), 16);
    EXPECT_EQ(session_.activityStamp, 99U);
    EXPECT_EQ(folder_.Names(), Names{"_activity.tmp"});
}

TEST_F(ClientState, TheStampComesFromTheDirectoryWhenTheFileDoesNotTell) {
    Set();
    CallRecorder calls;
    // The open for the times shares reading and deletion, not writing.
    const std::pair<DWORD, Names> holders[] = {
        {GENERIC_WRITE, {"CreateFile _activity.tab", "FindFirstFile _activity.tab"}},
        {DELETE, {"CreateFile _activity.tab", "GetFileTime"}},
    };
    for (const auto& [access, asked] : holders) {
        const File holder(tab_, {access, kShareReadWrite | FILE_SHARE_DELETE, OPEN_EXISTING});
        calls.Clear();
        EXPECT_EQ(ReadActivityStamp(tab_), StampOnDisk(tab_));
        EXPECT_EQ(calls.Calls(), asked) << access;
    }
    calls.FailAll("GetFileTime", ERROR_ACCESS_DENIED);
    EXPECT_EQ(ReadActivityStamp(tab_), StampOnDisk(tab_));
    calls.FailAll("FindFirstFile", ERROR_ACCESS_DENIED);
    EXPECT_EQ(ReadActivityStamp(folder_.Path("none")), 0U);
}

}  // namespace
}  // namespace tarnwick

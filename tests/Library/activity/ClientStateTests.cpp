#include <gtest/gtest.h>

#include "common/Clock.h"
#include "common/DiagnosticLevel.h"
#include "Library/activity/ActivityStore.h"
#include "Library/activity/ClientState.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::MakePath;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::WriteBytesTo;
using Names = std::vector<std::string>;

constexpr std::uint64_t kUnixTime9999999999 = (9'999'999'999 + 11'644'473'600) * 10'000'000;

const std::string kOwnEntry = "srv\tIMAP-2\tbob\t10.0.0.1\t143\t9999999999\tInbox\t7\trun2";
const std::string kOther = "far\tIMAP\tann\t10.0.0.9\t25\t5\tSent\t3\trun0";

const std::string kBreak = "\r\n";

// A directory, a session that watches it, and what is reported meanwhile.
struct World {
    World() {
        SetClock([] { return kUnixTime9999999999; });
        DiagnosticLevel() = 9;
    }

    std::string Tab() const { return folder.Path("_activity.tab"); }

    void Set(std::int32_t port = 143) {
        SetClientState(&session, folder.Path(), "srv", "10.0.0.1", port, "IMAP-2", "bob", "Inbox",
                       "run2");
    }
    int Close(std::int32_t port = 143) {
        return CloseClientState(&session, folder.Path(), "srv", "10.0.0.1", port, "IMAP-2", "run2");
    }

    // The stamp that the file has on disk; 0 without a file.
    std::uint32_t StampOnDisk() const {
        WIN32_FIND_DATAA found;
        const HANDLE search = FindFirstFileA(Tab().c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) return 0;
        FindClose(search);
        WORD date = 0;
        WORD time = 0;
        FileTimeToDosDateTime(&found.ftLastWriteTime, &date, &time);
        return (static_cast<std::uint32_t>(date) << 16) | time;
    }

    // "%b" and "%t" in a log stand for the paths of the file and of its replacement.
    std::string Log(std::string text) const {
        for (std::size_t at = 0; (at = text.find('%', at)) != std::string::npos;) {
            text.replace(at, 2, text[at + 1] == 'b' ? Tab() : folder.Path("_activity.tmp"));
        }
        return text;
    }

    ScratchFolder folder;
    SessionContext session{"bob", 12, 7, "Inbox", 99, nullptr};
    ReportRecorder reports;
};

constexpr int kSet = -1;  // instead of the result of closing
int SetNew(World& world) {
    world.Set();
    return kSet;
}
int SetOther(World& world) {
    world.Set(144);
    return kSet;
}
int Close(World& world) {
    return world.Close();
}
int CloseAnyPort(World& world) {
    return world.Close(-1);
}

// An operation on a file: what is left of it, what is told, and whether the session is stamped.
struct Case {
    const char* name;
    int level;
    std::string before;
    const char* folderThere;  // in place of one of the files
    int failedCall;
    int (*operation)(World&);
    int result;
    std::string after;
    std::string log;
    bool stamped;
};

const std::string kClient = "Protocol=IMAP-2, IPAddress=10.0.0.1, PortNumber=143,Folder=Inbox.\n";
const std::string kRemoved =
    "TW-IXXXX: Information: Removed Entry from activity file (%t). Protocol=IMAP-2, IP=10.0.0.1,"
    "Port=143.\n";
const std::string kNoOpen = "TW-EXXXX: Serious Error: Failed to open file ";
const Case kCases[] = {
    {"the first client makes the file of one line without a break", 9, "", "", 0, SetNew, kSet,
     kOwnEntry, "TW-IXXXX: Information: Adding connection to new activity file. " + kClient, true},
    {"a new file is told above level 8 alone", 8, "", "", 0, SetNew, kSet, kOwnEntry, "", true},
    {"setting keeps the order and narrows copied times", 8,
     "far\tIMAP\tann\t10.0.0.9\t25\t9999999999\tSent\t3\trun0\r\n" + kOwnEntry + "\r\nshort", "", 0,
     SetOther, kSet,
     "far\tIMAP\tann\t10.0.0.9\t25\t2147483647\tSent\t3\trun0\r\n"
     "srv\tIMAP-2\tbob\t10.0.0.1\t143\t2147483647\tInbox\t7\trun2\r\n"
     "srv\tIMAP-2\tbob\t10.0.0.1\t144\t9999999999\tInbox\t7\trun2",
     "TW-IXXXX: Information: Adding connection to existing activity file. "
     "Protocol=IMAP-2, IPAddress=10.0.0.1, PortNumber=144,Folder=Inbox.\n",
     true},
    {"setting without a replacement loses the file", 9, kOther, "", 3, SetNew, kSet, "", "", false},
    {"a replacement that cannot be written goes", 8, "", "", 4, SetNew, kSet, "", "", false},
    {"a new file that cannot be made is told at any level", 0, "", "", 3, SetNew, kSet, "",
     "TW-EXXXX: Error: Unable to add connection to new activity file. " + kClient, false},
    {"closing the last connection deletes the file", 9, kOwnEntry, "", 0, CloseAnyPort, 1, "",
     kRemoved +
         "TW-IXXXX: Information: Deleting activity file (%b). Existing 1, Removed 1 Items.\n",
     true},
    {"closing one of several rewrites it", 9, kOther + kBreak + kOwnEntry, "", 0, Close, 1, kOther,
     kRemoved +
         "TW-IXXXX: Information: Updating activity file (%b). Existing 2, Removed 1 Items.\n",
     true},
    {"what became of the file is told above level 8 alone", 8, kOther + kBreak + kOwnEntry, "", 0,
     Close, 1, kOther, kRemoved, true},
    {"closing without a file", 9, "", "", 0, Close, 0, "",
     "TW-EXXXX: Warning: Failed to access activity file (%b). Client connection already removed "
     "(2).\n",
     false},
    {"closing with a folder in place of the file", 9, "", "_activity.tab", 0, Close, 0, "",
     kNoOpen + "(%b). Error = 5.\n", false},
    {"closing without a replacement tells no error", 9, kOwnEntry, "_activity.tmp", 0, Close, 0,
     kOwnEntry, kNoOpen + "(%t). Error = 0.\n", false},
};

TEST(ClientState, EachOperationLeavesItsFileAndTellsIt) {
    for (const Case& row : kCases) {
        World world;
        DiagnosticLevel() = row.level;
        const std::string folderThere = row.folderThere;
        if (!row.before.empty()) WriteBytesTo(world.Tab(), row.before);
        if (!folderThere.empty()) MakePath(world.folder.Path(folderThere));
        {
            CallRecorder calls;
            if (row.failedCall != 0) calls.FailCall(row.failedCall, ERROR_ACCESS_DENIED);
            EXPECT_EQ(row.operation(world), row.result) << row.name;
        }
        EXPECT_EQ(ReadBytesOf(world.Tab()), row.after) << row.name;
        Names names = row.after.empty() ? Names{} : Names{"_activity.tab"};
        if (!folderThere.empty()) names.push_back(folderThere);
        EXPECT_EQ(world.folder.Names(), names) << row.name;
        EXPECT_EQ(world.reports.Joined(ReportChannel::Trace), world.Log(row.log)) << row.name;
        EXPECT_EQ(world.session.activityStamp, row.stamped ? world.StampOnDisk() : 99) << row.name;
    }
}

TEST(ClientState, WithoutASessionTheInstanceIsZeroAndNothingIsStamped) {
    const World world;
    SetClientState(nullptr, world.folder.Path(), "srv", "::1", -1, "POP3", "ann", "", "");
    EXPECT_EQ(ReadBytesOf(world.Tab()), "srv\tPOP3\tann\t::1\t-1\t9999999999\t\t0\t");
    EXPECT_EQ(CloseClientState(nullptr, world.folder.Path(), "srv", "::1", -1, "POP3", ""), 1);
    EXPECT_EQ(world.folder.Names(), Names{});
}

TEST(ClientState, WithoutAnAccountNothingIsTouched) {
    World world;
    CallRecorder calls;
    SetClientState(&world.session, world.folder.Path(), "srv", "", 1, "IMAP", "", "", "");
    SetClientState(nullptr, world.folder.Path(), "srv", "", 1, "IMAP", "", "", "");
    world.session.accountName.clear();
    world.Set();
    EXPECT_EQ(GetConnectionCount(&world.session, world.folder.Path()), 0);
    EXPECT_EQ(world.reports.Joined(ReportChannel::StandardOutput),
              "[12] SetClientState was called with no AccountName specified\n"
              "[0] SetClientState was called with no AccountName specified\n"
              "[12] SetClientState was called with no AccountName specified\n"
              "[12] GetConnectionCount was called with no AccountName specified\n");
    for (const int level : {5, 6}) {
        DiagnosticLevel() = level;
        EXPECT_EQ(world.Close(), 0);
    }
    EXPECT_EQ(world.reports.Joined(ReportChannel::Trace),
              "[12] CloseClientState was called with no AccountName specified\n");
    EXPECT_EQ(calls.Count(), 0);
}

TEST(ClientState, AFolderInPlaceOfTheFileOutlastsTheRetries) {
    World world;
    MakePath(world.Tab());
    const CountingSleeper sleeper;
    world.Set();
    EXPECT_EQ(sleeper.Count(), 32);
    EXPECT_EQ(world.folder.Names(), (Names{"_activity.tab", "_activity.tmp"}));
    EXPECT_EQ(ReadBytesOf(world.folder.Path("_activity.tmp")), kOwnEntry);
    EXPECT_EQ(world.session.activityStamp, 99U);
    RemoveDirectoryA(world.Tab().c_str());
    WriteBytesTo(world.Tab(), kOther);
    CallRecorder calls;
    calls.FailAll("MoveFile", ERROR_ACCESS_DENIED);
    EXPECT_EQ(world.Close(), 0) << "the move failed";
    EXPECT_EQ(world.session.activityStamp, 99U);
}

TEST(ClientState, ALivingHolderIsWaitedForHoweverLongItTakes) {
    World world;
    File holder(world.folder.Path("_activity.blk"), kCreateBlockFile);
    const CountingSleeper sleeper([&](int count) {
        if (count == 500) holder = File();
    });
    world.Set();
    EXPECT_EQ(sleeper.Count(), 500);
    EXPECT_EQ(ReadBytesOf(world.Tab()), kOwnEntry);
}

TEST(ClientState, ADirectoryThatIsNotThereIsLeftAlone) {
    World world;
    const std::string missing = world.folder.Path("none");
    CallRecorder calls;
    SetClientState(&world.session, missing, "srv", "", 1, "IMAP", "bob", "", "");
    EXPECT_EQ(CloseClientState(&world.session, missing, "srv", "", 1, "IMAP", ""), 0);
    EXPECT_EQ(GetConnectionCount(&world.session, missing), 0);
    EXPECT_EQ(calls.Calls(), Names(3, "CreateFile _activity.blk"));
}

TEST(ClientState, CountsTheConnectionsOfTheCurrentFolder) {
    World world;
    const std::string path = world.folder.Path();
    EXPECT_EQ(GetConnectionCount(&world.session, path), 0);
    WriteBytesTo(world.Tab(), kOther + "\r\n" + kOwnEntry + "\r\n\r\nshort\r\n" + kOwnEntry);
    for (const auto& [folder, count] : {std::pair{"Inbox", 2}, {"sENT", 1}, {"", 3}}) {
        world.session.currentFolder = folder;
        EXPECT_EQ(GetConnectionCount(&world.session, path), count) << folder;
    }
    EXPECT_EQ(GetConnectionCount(nullptr, path), 3);
    EXPECT_EQ(world.folder.Names(), Names{"_activity.tab"});
}

TEST(ClientState, TheStampComesFromTheDirectoryWhenTheFileDoesNotTell) {
    World world;
    world.Set();
    CallRecorder calls;
    world.Set();
    // Behind them the lock's handle is closed and its file deleted.
    const int opening = calls.Count() - 3;
    EXPECT_EQ(calls.Calls()[static_cast<std::size_t>(opening) - 1], "CreateFile _activity.tab");
    EXPECT_EQ(calls.Calls()[static_cast<std::size_t>(opening)], "GetFileTime");
    for (const int call : {opening, opening + 1}) {
        calls.Clear();
        calls.FailCall(call, ERROR_ACCESS_DENIED);
        world.session.activityStamp = 99;
        world.Set();
        EXPECT_EQ(world.session.activityStamp, world.StampOnDisk()) << call;
    }
    // The open for the times shares reading and deletion, not writing.
    const std::pair<DWORD, Names> holders[] = {
        {GENERIC_WRITE, {"CreateFile _activity.tab", "FindFirstFile _activity.tab"}},
        {DELETE, {"CreateFile _activity.tab", "GetFileTime"}},
    };
    for (const auto& [access, asked] : holders) {
        const File holder(world.Tab(),
                          {access, kShareReadWrite | FILE_SHARE_DELETE, OPEN_EXISTING});
        calls.Clear();
        EXPECT_EQ(ReadActivityStamp(world.Tab()), world.StampOnDisk());
        EXPECT_EQ(calls.Calls(), asked) << access;
    }
}

}  // namespace
}  // namespace tarnwick

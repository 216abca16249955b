#include <gtest/gtest.h>

#include "common/Clock.h"
#include "common/DiagnosticLevel.h"
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

// A directory, a session that watches it, and what is reported meanwhile.
class ClientState : public ::testing::Test {
  protected:
    ClientState() {
        SetClock([] { return kUnixTime9999999999; });
        DiagnosticLevel() = 9;
        session_ = {"bob", 12, 7, "Inbox", 99, nullptr};
    }

    void Write(const std::string& bytes) { WriteBytesTo(Tab(), bytes); }
    std::string Read() const { return ReadBytesOf(Tab()); }
    std::string Tab() const { return folder_.Path("_activity.tab"); }
    std::string Tmp() const { return folder_.Path("_activity.tmp"); }

    void Set(const std::string& protocol = "IMAP-2", std::int32_t port = 143) {
        SetClientState(&session_, folder_.Path(), "srv", "10.0.0.1", port, protocol, "bob", "Inbox",
                       "run2");
    }
    int Close(std::int32_t port = 143) {
        return CloseClientState(&session_, folder_.Path(), "srv", "10.0.0.1", port, "IMAP-2",
                                "run2");
    }

    // The stamp that the file has on disk.
    std::uint32_t StampOnDisk() const {
        WIN32_FIND_DATAA found;
        FindClose(FindFirstFileA(Tab().c_str(), &found));
        WORD date = 0;
        WORD time = 0;
        FileTimeToDosDateTime(&found.ftLastWriteTime, &date, &time);
        return (static_cast<std::uint32_t>(date) << 16) | time;
    }

    ScratchFolder folder_;
    SessionContext session_;
    ReportRecorder reports_;
};

TEST_F(ClientState, TheFirstClientMakesTheFileOfOneLineWithoutABreak) {
    Set();
    EXPECT_EQ(Read(), kOwnEntry);
    EXPECT_EQ(folder_.Names(), Names{"_activity.tab"});
    EXPECT_EQ(session_.activityStamp, StampOnDisk());
    EXPECT_NE(session_.activityStamp, 0U);
    EXPECT_EQ(reports_.Joined(ReportChannel::EventLogInformation),
              "TW-IXXXX: Information: Adding connection to new activity file. Protocol=IMAP-2, "
              "IPAddress=10.0.0.1, PortNumber=143,Folder=Inbox.\n");
}

TEST_F(ClientState, ASecondProtocolOfOneClientReplacesItsEntry) {
    Set("POP3");
    Set("IMAP-2");
    EXPECT_EQ(Read(), kOwnEntry);
}

TEST_F(ClientState, SettingKeepsTheOrderAndNarrowsCopiedTimes) {
    Write("far\tIMAP\tann\t10.0.0.9\t25\t9999999999\tSent\t3\trun0\r\n" + kOwnEntry + "\r\nshort");
    Set("IMAP-2", 144);
    EXPECT_EQ(Read(),
              "far\tIMAP\tann\t10.0.0.9\t25\t2147483647\tSent\t3\trun0\r\n"
              "srv\tIMAP-2\tbob\t10.0.0.1\t143\t2147483647\tInbox\t7\trun2\r\n"
              "srv\tIMAP-2\tbob\t10.0.0.1\t144\t9999999999\tInbox\t7\trun2");
    EXPECT_EQ(session_.activityStamp, StampOnDisk());
}

TEST_F(ClientState, WithoutASessionTheInstanceIsZeroAndNothingIsStamped) {
    SetClientState(nullptr, folder_.Path(), "srv", "::1", -1, "POP3", "ann", "", "");
    EXPECT_EQ(Read(), "srv\tPOP3\tann\t::1\t-1\t9999999999\t\t0\t");
    EXPECT_EQ(CloseClientState(nullptr, folder_.Path(), "srv", "::1", -1, "POP3", ""), 1);
    EXPECT_EQ(folder_.Names(), Names{});
}

TEST_F(ClientState, WithoutAnAccountNothingIsTouched) {
    CallRecorder calls;
    SetClientState(&session_, folder_.Path(), "srv", "", 1, "IMAP", "", "", "");
    SetClientState(nullptr, folder_.Path(), "srv", "", 1, "IMAP", "", "", "");
    session_.accountName.clear();
    Set();
    EXPECT_EQ(GetConnectionCount(&session_, folder_.Path()), 0);
    EXPECT_EQ(reports_.Joined(ReportChannel::StandardOutput),
              "[12] SetClientState was called with no AccountName specified\n"
              "[0] SetClientState was called with no AccountName specified\n"
              "[12] SetClientState was called with no AccountName specified\n"
              "[12] GetConnectionCount was called with no AccountName specified\n");
    EXPECT_EQ(Close(), 0);
    const std::string closing = "[12] CloseClientState was called with no AccountName specified\n";
    EXPECT_EQ(reports_.Joined(ReportChannel::Trace), closing);
    DiagnosticLevel() = 6;
    Close();
    DiagnosticLevel() = 5;
    Close();
    EXPECT_EQ(reports_.Joined(ReportChannel::Trace), closing + closing);
    EXPECT_EQ(calls.Count(), 0);
}

TEST_F(ClientState, ClosingTheLastConnectionDeletesTheFiles) {
    Write(kOwnEntry);
    EXPECT_EQ(Close(-1), 1);
    EXPECT_EQ(folder_.Names(), Names{});
    EXPECT_EQ(session_.activityStamp, 0U);
    EXPECT_EQ(reports_.Joined(ReportChannel::Trace),
              "TW-IXXXX: Information: Removed Entry from activity file (" + Tmp() +
                  "). Protocol=IMAP-2, IP=10.0.0.1,Port=143.\n"
                  "TW-IXXXX: Information: Deleting activity file (" +
                  Tab() + "). Existing 1, Removed 1 Items.\n");
}

TEST_F(ClientState, ClosingOneOfSeveralRewritesTheFile) {
    Write(kOther + "\r\n" + kOwnEntry);
    EXPECT_EQ(Close(), 1);
    EXPECT_EQ(Read(), kOther);
    EXPECT_EQ(folder_.Names(), Names{"_activity.tab"});
    EXPECT_EQ(session_.activityStamp, StampOnDisk());
    EXPECT_EQ(reports_.Joined(ReportChannel::Trace),
              "TW-IXXXX: Information: Removed Entry from activity file (" + Tmp() +
                  "). Protocol=IMAP-2, IP=10.0.0.1,Port=143.\n"
                  "TW-IXXXX: Information: Updating activity file (" +
                  Tab() + "). Existing 2, Removed 1 Items.\n");
}

TEST_F(ClientState, ChangesAreToldAboveLevelEightAlone) {
    DiagnosticLevel() = 8;
    Set();
    Set("IMAP-2", 144);
    Close();
    EXPECT_EQ(reports_.Joined(ReportChannel::Trace),
              "TW-IXXXX: Information: Adding connection to existing activity file. "
              "Protocol=IMAP-2, IPAddress=10.0.0.1, PortNumber=144,Folder=Inbox.\n"
              "TW-IXXXX: Information: Removed Entry from activity file (" +
                  Tmp() + "). Protocol=IMAP-2, IP=10.0.0.1,Port=143.\n");
}

TEST_F(ClientState, ClosingWithoutAFileToldByItsError) {
    EXPECT_EQ(Close(), 0);
    EXPECT_EQ(reports_.Joined(ReportChannel::EventLogError),
              "TW-EXXXX: Warning: Failed to access activity file (" + Tab() +
                  "). Client connection already removed (2).\n");
    reports_.Take();
    MakePath(Tab());
    EXPECT_EQ(Close(), 0);
    EXPECT_EQ(reports_.Joined(ReportChannel::EventLogError),
              "TW-EXXXX: Serious Error: Failed to open file (" + Tab() + "). Error = 5.\n");
    EXPECT_EQ(folder_.Names(), Names{"_activity.tab"});
    EXPECT_EQ(session_.activityStamp, 99U);
}

TEST_F(ClientState, ClosingWithoutAReplacementTellsNoError) {
    Write(kOwnEntry);
    MakePath(Tmp());
    EXPECT_EQ(Close(), 0);
    EXPECT_EQ(reports_.Joined(ReportChannel::EventLogError),
              "TW-EXXXX: Serious Error: Failed to open file (" + Tmp() + "). Error = 0.\n");
    EXPECT_EQ(Read(), kOwnEntry);
}

TEST_F(ClientState, SettingWithoutAReplacementLosesTheFile) {
    Write(kOther);
    CallRecorder calls;
    calls.FailCall(3, ERROR_ACCESS_DENIED);
    Set();
    EXPECT_EQ(folder_.Names(), Names{});
    EXPECT_EQ(reports_.Joined(ReportChannel::Trace), "");
    EXPECT_EQ(session_.activityStamp, 99U);
    EXPECT_EQ(calls.Calls()[2], "CreateFile _activity.tmp");
}

TEST_F(ClientState, SettingInANewFileWithoutAReplacementIsToldAtAnyLevel) {
    DiagnosticLevel() = 0;
    CallRecorder calls;
    calls.FailCall(3, ERROR_ACCESS_DENIED);
    Set();
    EXPECT_EQ(folder_.Names(), Names{});
    EXPECT_EQ(reports_.Joined(ReportChannel::EventLogError),
              "TW-EXXXX: Error: Unable to add connection to new activity file. Protocol=IMAP-2, "
              "IPAddress=10.0.0.1, PortNumber=143,Folder=Inbox.\n");
}

TEST_F(ClientState, AFolderInPlaceOfTheFileOutlastsTheRetries) {
    MakePath(Tab());
    const CountingSleeper sleeper;
    Set();
    EXPECT_EQ(sleeper.Count(), 32);
    EXPECT_EQ(folder_.Names(), (Names{"_activity.tab", "_activity.tmp"}));
    EXPECT_EQ(ReadBytesOf(Tmp()), kOwnEntry);
    EXPECT_EQ(session_.activityStamp, 99U);
}

TEST_F(ClientState, ADirectoryThatIsNotThereIsLeftAlone) {
    const std::string missing = folder_.Path("none");
    CallRecorder calls;
    SetClientState(&session_, missing, "srv", "", 1, "IMAP", "bob", "", "");
    EXPECT_EQ(CloseClientState(&session_, missing, "srv", "", 1, "IMAP", ""), 0);
    EXPECT_EQ(GetConnectionCount(&session_, missing), 0);
    EXPECT_EQ(calls.Calls(), Names(3, "CreateFile _activity.blk"));
}

TEST_F(ClientState, CountsTheConnectionsOfTheCurrentFolder) {
    EXPECT_EQ(GetConnectionCount(&session_, folder_.Path()), 0);
    Write(kOther + "\r\n" + kOwnEntry + "\r\n\r\nshort\r\n" + kOwnEntry);
    EXPECT_EQ(GetConnectionCount(&session_, folder_.Path()), 2);
    session_.currentFolder = "sENT";
    EXPECT_EQ(GetConnectionCount(&session_, folder_.Path()), 1);
    session_.currentFolder.clear();
    EXPECT_EQ(GetConnectionCount(&session_, folder_.Path()), 3);
    EXPECT_EQ(GetConnectionCount(nullptr, folder_.Path()), 3);
    EXPECT_EQ(folder_.Names(), Names{"_activity.tab"});
}

TEST_F(ClientState, TheStampComesFromTheDirectoryWhenTheFileDoesNotTell) {
    Set();
    CallRecorder calls;
    Set();
    // Behind them the lock's handle is closed and its file deleted.
    const int opening = calls.Count() - 3;
    EXPECT_EQ(calls.Calls()[static_cast<std::size_t>(opening) - 1], "CreateFile _activity.tab");
    EXPECT_EQ(calls.Calls()[static_cast<std::size_t>(opening)], "GetFileTime");
    for (const int call : {opening, opening + 1}) {
        calls.Clear();
        calls.FailCall(call, ERROR_ACCESS_DENIED);
        session_.activityStamp = 99;
        Set();
        EXPECT_EQ(session_.activityStamp, StampOnDisk()) << call;
    }
}

}  // namespace
}  // namespace tarnwick

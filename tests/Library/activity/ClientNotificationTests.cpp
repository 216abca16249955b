#include "common/WindowsApi.h"

#include <comdef.h>

#include <gtest/gtest.h>

#include <stdexcept>

#include "common/Registry.h"
#include "Library/activity/ClientNotification.h"
#include "Library/activity/NotifyRemote.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::MakePath;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;
using Names = std::vector<std::string>;

std::string sent;
int (*nextSender)() = nullptr;

int RecordingSender(const char* server, const char* protocol, const char* text) {
    sent += std::string(server) + "|" + protocol + "|" + text + "\n";
    return nextSender == nullptr ? 0 : nextSender();
}

std::string OwnHost() {
    char name[256] = {};
    DWORD length = sizeof name;
    GetComputerNameA(name, &length);
    return name;
}

int Failing() {
    return 1;
}

std::string Entry(const std::string& server, const char* protocol, const char* instanceAndRun) {
    return server + "\t" + protocol + "\tann\t10.0.0.9\t143\t5\tInbox\t" + instanceAndRun;
}

const std::string kFar = Entry("far", "IMAP", "3\trun0");
const std::string kNear = Entry(OwnHost(), "IMAP-2", "7\trun2");
const std::string kBefore = Entry(OwnHost(), "IMAP-2", "7\trun1");
const std::string kToFar = "far|IMAP|[TW_NOTIFY]\t3\trun0\tnews\r\n\r\n\n";
const std::string kBreak = "\r\n";
const std::string kShort = "\t10\r\n\r\nshort\r\n";

std::string OrphanLog(const std::string& server) {
    return "Warning: Removing orphaned connection from activity connection file. Server=" + server +
           ", Port=143\n";
}

class ClientNotification : public ::testing::Test {
  protected:
    ClientNotification() {
        SetRemoteNotifySender(RecordingSender);
        sent.clear();
    }

    void Write(const std::string& bytes) { WriteBytesTo(folder_.Path("_activity.tab"), bytes); }
    std::string Read() const { return ReadBytesOf(folder_.Path("_activity.tab")); }
    int Notify(const char* local, const char* remote, const char* server = "") {
        return NotifyClients(&session_, folder_.Path(), server, "", -1, "IMAP-5", 0, 0, "/inbox",
                             "run2", local, local == nullptr ? 0 : -1, remote,
                             remote == nullptr ? 0 : -1);
    }

    ScratchFolder folder_;
    SessionContext session_{"bob", 12, 7, "", 0, nullptr};
    ReportRecorder reports_;
};

TEST_F(ClientNotification, WalksOverTheFile) {
    struct Case {
        const char* name;
        std::string before;
        const char* local;
        const char* remote;
        std::string after;
        std::string sent;
        std::string log;
        const char* server = "";
        int (*sender)() = nullptr;
    };
    const std::string failed =
        "Warning: NotifyRemote function failed. Unable to notify server (far) from server () with "
        "protocol (IMAP) from protocol (IMAP)\n" +
        OrphanLog("far");
    const std::string pop = Entry(OwnHost(), "POP3", "7\trun2");
    const std::string toPop = OwnHost() + "|POP3|[TW_NOTIFY]\t7\trun2\tnews\r\n\r\n\n";
    const std::string otherInstance = Entry(OwnHost(), "IMAP", "8\trun2");
    const std::string named = Entry("srv", "IMAP", "7\trun2");
    const std::string two = kFar + kBreak + kNear;
    const std::string ownOrphan = OrphanLog(OwnHost());
    const Case cases[] = {
        {"another server, and the own process without a local message", two, nullptr, "news", two,
         kToFar, ""},
        {"another server, nothing to send", kFar, "hi", "", kFar, "", "", "", Failing},
        {"another server, failed", kFar, nullptr, "news", "", kToFar, failed, "", Failing},
        {"the stub of local delivery makes orphans", two, "hi", nullptr, kFar, "", ownOrphan},
        {"both", kNear + kBreak + kFar, "hi", "news", kFar, kToFar, ownOrphan},
        {"own host, another protocol", pop, "hi", "news", pop, toPop, ""},
        {"another instance of the own host", otherInstance, "hi", "news", otherInstance, "", ""},
        {"the named server counts as own host", named + kBreak + kFar, "hi", "news", kFar, "",
         OrphanLog("srv"), "srv"},
        {"the last entry takes the file along", kNear, "hi", nullptr, "", "", ownOrphan},
        {"an unchanged file is not rewritten", kFar + kShort, nullptr, "news", kFar + kShort,
         kToFar, ""},
        {"a changed one is", kNear + kBreak + kFar + kShort, "hi", nullptr, kFar, "", ownOrphan},
        {"without texts the earlier run still goes", kBefore + kBreak + kFar, "", nullptr, kFar, "",
         ""},
    };
    for (const Case& row : cases) {
        Write(row.before);
        sent.clear();
        reports_.Take();
        nextSender = row.sender;
        EXPECT_EQ(Notify(row.local, row.remote, row.server), 1) << row.name;
        EXPECT_EQ(Read(), row.after) << row.name;
        EXPECT_EQ(folder_.Names(), row.after.empty() ? Names{} : Names{"_activity.tab"})
            << row.name;
        EXPECT_EQ(sent, row.sent) << row.name;
        EXPECT_EQ(reports_.Joined(ReportChannel::Trace), row.log) << row.name;
    }
}

TEST_F(ClientNotification, AnswersWithoutAWalk) {
    CallRecorder calls;
    const std::string none = folder_.Path("none");
    EXPECT_EQ(NotifyClients(&session_, none, "", "", -1, "IMAP", 0, 0, "", "", "hi", 0, "news", 0),
              1);
    // A local message alone for the caller's own session number is delivered at once.
    EXPECT_EQ(NotifyClients(&session_, none, "", "", 12, "IMAP", 0, 0, "", "", "hi", -1, "", 5), 0);
    SessionContext nobody;
    EXPECT_EQ(NotifyClients(&nobody, none, "", "", -1, "IMAP", 0, 0, "", "", "hi", 2, nullptr, 0),
              0);
    EXPECT_EQ(reports_.Joined(ReportChannel::StandardOutput),
              "[0] NotifyClients was called with no AccountName specified\n");
    EXPECT_EQ(calls.Count(), 0);
    EXPECT_EQ(Notify(nullptr, "news"), 2);
    EXPECT_EQ(calls.Calls(), Names{"FindFirstFile _activity.tab"});
    Write(kFar);
    calls.FailAll("CreateFile", ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(Notify(nullptr, "news"), 0);
    EXPECT_EQ(sent, "");
}

TEST_F(ClientNotification, WithoutAReplacementNobodyIsTold) {
    Write(kNear);
    CallRecorder calls;
    calls.FailCall(4, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Notify("hi", "news"), 1);
    EXPECT_EQ(reports_.Joined(ReportChannel::StandardOutput), "problem with outfile\n");
    EXPECT_EQ(Read(), kNear);
    EXPECT_EQ(folder_.Names(), Names{"_activity.tab"});
}

TEST_F(ClientNotification, ASenderThatThrowsEndsTheWalkAndFreesTheLock) {
    struct Case {
        int (*sender)();
        std::string log;
    };
    const std::string meaning = _com_error(E_OUTOFMEMORY).ErrorMessage();
    const Case cases[] = {
        {[]() -> int { throw _com_error(E_OUTOFMEMORY); },
         "NotifyClients_Ex handled a COM error.\nCode = 0x8007000e\nCode meaning = " + meaning +
             "\nSource = \nEror Description = \n"},
        {[]() -> int { throw std::runtime_error("no route"); },
         "NotifyClients_Ex handled an exception; session will be dropped.\n"
         "The exception was: no route\n"},
        {[]() -> int { throw 7; }, "NotifyClients_Ex raised an exception\n"},
    };
    for (const auto& [sender, log] : cases) {
        Write(kFar);
        reports_.Take();
        nextSender = sender;
        EXPECT_EQ(Notify(nullptr, "news"), 0);
        EXPECT_EQ(reports_.Joined(ReportChannel::Trace), log);
        EXPECT_EQ(Read(), kFar);
        nextSender = nullptr;
        const CountingSleeper sleeper;
        EXPECT_EQ(Notify(nullptr, "news"), 1);
        EXPECT_EQ(sleeper.Count(), 0);
        EXPECT_EQ(folder_.Names(), Names{"_activity.tab"});
    }
}

// A lock whose release failed is not held: the walk takes it anew. Senders run under it.
TEST_F(ClientNotification, AHeldLockIsUsedAndAnyOtherTaken) {
    static std::string block;
    block = folder_.Path("_activity.blk");
    nextSender = [] { return PathExists(block) ? 0 : 1; };
    NotifyRequest request;
    request.protocol = "IMAP";
    request.remote = {"news", 4};
    for (const bool releaseFailed : {false, true}) {
        Write(kFar);
        BlockFileLock lock(block, true, kWaitBeyondThreshold);
        if (releaseFailed) {
            CallRecorder calls;
            calls.FailAll("DeleteFile", ERROR_PATH_NOT_FOUND);
            lock.Release();
            DeleteFileA(block.c_str());
        }
        EXPECT_EQ(NotifyClients_Ex(lock, nullptr, folder_.Path(), request), 1);
        EXPECT_EQ(lock.State(), LockState::Held);
        EXPECT_EQ(Read(), kFar) << "told under the lock";
        EXPECT_EQ(folder_.Names(), (Names{"_activity.blk", "_activity.tab"}));
    }
}

TEST_F(ClientNotification, TheTextIsCutToItsBufferAndEndsInAnEmptyLine) {
    const std::string prefix = "[TW_NOTIFY]\t3\trun0\t";
    const std::string end = "\r\n\r\n";
    Write(kFar);
    for (const std::int32_t length : {1, 100}) {
        const std::string full(511 + static_cast<std::size_t>(length) - prefix.size(), 'x');
        const std::pair<std::string, std::string> cases[] = {
            {"news", "news" + end},
            {"a" + end + "b", "a" + end + "b"},
            {"a\r\n", "a\r\n" + end},
            {full + full, full + end},
        };
        for (const auto& [message, text] : cases) {
            sent.clear();
            NotifyClients(nullptr, folder_.Path(), "", "", -1, "IMAP", 0, 0, "", "", nullptr, 0,
                          message.c_str(), length);
            EXPECT_EQ(sent, "far|IMAP|" + prefix + text + "\n") << length;
        }
    }
}

TEST_F(ClientNotification, WithoutASenderEveryServerCountsAsTold) {
    SetRemoteNotifySender(nullptr);
    Write(kFar);
    EXPECT_EQ(Notify(nullptr, "news"), 1);
    EXPECT_EQ(Read(), kFar);
}

// Which directory holds the activity file that the folder's notification goes to.
void ExpectDirectory(const ScratchFolder& root, const char* folder, const std::string& directory) {
    const std::string path = root.Path("PO\\" + directory);
    MakePath(path);
    WriteBytesTo(path + "\\_activity.tab", "far\tIMAP\tann\t10.0.0.9\t25\t5\t\t3\trun0");
    sent.clear();
    EXPECT_EQ(NotifyAllClients("PO", "BOB", folder, "IMAP", 0, "news", -1), 1) << folder;
    EXPECT_EQ(sent, kToFar) << folder;
    RemoveFile(path + "\\_activity.tab");
    EXPECT_EQ(NotifyAllClients("PO", "BOB", folder, "IMAP", 0, "news", -1), 2) << folder;
}

TEST_F(ClientNotification, AllClientsAreFoundByTheFoldersName) {
    const ScratchRegistry registry;
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", folder_.Path());
    const std::pair<const char*, const char*> cases[] = {
        {"Inbox", "MAILROOT\\BOB\\Inbox"},
        {"Public", "PUBROOT"},
        {"public/News", "PUBROOT\\News"},
        {"\\Public\\News", "PUBROOT"},
        {"xPublic", "PUBROOT"},
        {"Publican", "MAILROOT\\BOB\\Publican"},
        {"xyPublic", "MAILROOT\\BOB\\xyPublic"},
        {"$FILEROOT", "$FILEROOT"},
        {"$fileroot\\a\\b", "$FILEROOT\\a\\b"},
        {"/$FILEROOT/a", "$FILEROOT\\a"},
        {"$FILEROOTS", "MAILROOT\\BOB\\$FILEROOTS"},
    };
    for (const auto& [folder, directory] : cases) ExpectDirectory(folder_, folder, directory);
    EXPECT_EQ(NotifyAllClients("", "BOB", "Inbox", "IMAP", 0, "news", 4), 0);
}

// There is no originator to be left out, so that the request names every connection.
TEST_F(ClientNotification, AllClientsButTheNamedOnesAreNone) {
    const ScratchRegistry registry;
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", folder_.Path());
    MakePath(folder_.Path("PO\\MAILROOT\\BOB\\Inbox"));
    WriteBytesTo(folder_.Path("PO\\MAILROOT\\BOB\\Inbox\\_activity.tab"), kFar);
    EXPECT_EQ(NotifyAllClients("PO", "BOB", "Inbox", "IMAP", 2, "news", -1), 1);
    EXPECT_EQ(sent, "");
}

TEST_F(ClientNotification, PublicFoldersCanBeTurnedOff) {
    const ScratchRegistry registry;
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", folder_.Path());
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Public Folders Enabled", 0);
    ExpectDirectory(folder_, "Public\\News", "MAILROOT\\BOB\\Public\\News");
}

}  // namespace
}  // namespace tarnwick

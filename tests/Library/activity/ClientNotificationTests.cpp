// What the model of the activity file does not show: the calls that are not made, what a sender
// meets, and which directory a folder's name leads to.
#include "common/WindowsApi.h"

#include <comdef.h>

#include <gtest/gtest.h>

#include <stdexcept>

#include "Library/activity/ClientNotification.h"
#include "Library/activity/NotifyRemote.h"
#include "tests/Library/activity/ActivityFixtures.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::PathExists;
using testing::Postoffice;
using testing::ReadBytesOf;
using testing::WriteBytesTo;
using Names = std::vector<std::string>;

const std::string kFar = "far\tIMAP\tann\t10.0.0.9\t143\t5\tInbox\t3\trun0";

std::string sent;
int (*nextSender)() = nullptr;

class ClientNotification : public ::testing::Test {
  protected:
    ClientNotification() {
        SetRemoteNotifySender([](const char* server, const char* protocol, const char* text) {
            sent.append(server).append("|").append(protocol).append("|").append(text);
            return nextSender == nullptr ? 0 : nextSender();
        });
        sent.clear();
        nextSender = nullptr;
    }

    std::string Read() const { return ReadBytesOf(folder_.Path("_activity.tab")); }
    int Notify(std::int32_t port = -1, const char* local = nullptr, const char* remote = "news") {
        return NotifyClients(&session_, folder_.Path(), "", "", port, "IMAP", 0, 0, "", "", local,
                             -1, remote, remote == nullptr ? 0 : -1);
    }

    const testing::ScratchFolder folder_;
    SessionContext session_{"bob", 12, 7, "", 0, nullptr};
    testing::ReportRecorder reports_;
};

TEST_F(ClientNotification, AnswersWithoutAWalk) {
    CallRecorder calls;
    EXPECT_EQ(Notify(12, "hi", nullptr), 0) << "the own session";
    session_.accountName.clear();
    EXPECT_EQ(Notify(), 0);
    session_.accountName = "bob";
    EXPECT_EQ(calls.Calls(), Names{});
    EXPECT_EQ(Notify(), 2);
    EXPECT_EQ(calls.Calls(), Names{"FindFirstFile _activity.tab"});
}

TEST_F(ClientNotification, ASenderThatThrowsEndsTheWalkAndFreesTheLock) {
    const std::string meaning = _com_error(E_OUTOFMEMORY).ErrorMessage();
    const std::pair<int (*)(), std::string> cases[] = {
        {[]() -> int { throw _com_error(E_OUTOFMEMORY); },
         "NotifyClients_Ex handled a COM error.\nCode = 0x8007000e\nCode meaning = " + meaning +
             "\nSource = \nEror Description = \n"},
        {[]() -> int { throw std::runtime_error("no route"); },
         "NotifyClients_Ex handled an exception; session will be dropped.\n"
         "The exception was: no route\n"},
        {[]() -> int { throw 7; }, "NotifyClients_Ex raised an exception\n"},
    };
    for (const auto& [sender, log] : cases) {
        WriteBytesTo(folder_.Path("_activity.tab"), kFar);
        reports_.Take();
        nextSender = sender;
        EXPECT_EQ(Notify(), 0);
        EXPECT_EQ(reports_.Joined(ReportChannel::Trace), log);
        nextSender = nullptr;
        const CountingSleeper sleeper;
        EXPECT_EQ(Notify(), 1);
        EXPECT_EQ(sleeper.Count(), 0);
        EXPECT_EQ(Read(), kFar);
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
    WriteBytesTo(folder_.Path("_activity.tab"), kFar);
    for (const bool releaseFailed : {false, true}) {
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

TEST_F(ClientNotification, WithoutASenderEveryServerCountsAsTold) {
    SetRemoteNotifySender(nullptr);
    WriteBytesTo(folder_.Path("_activity.tab"), kFar);
    EXPECT_EQ(Notify(), 1);
    EXPECT_EQ(Read(), kFar);
}

// Which directory holds the activity file that the folder's notification goes to. Match mode 2
// leaves the named connections out; there is no originator, so that it leaves out all.
void ExpectDirectory(const Postoffice& office, const char* folder, const std::string& directory) {
    const std::string tab = office.In(directory) + "\\_activity.tab";
    testing::MakePath(office.In(directory));
    WriteBytesTo(tab, "far\tIMAP\tann\t10.0.0.9\t25\t5\t\t3\trun0");
    for (const auto& [mode, told] :
         {std::pair{0, "far|IMAP|[TW_NOTIFY]\t3\trun0\tnews\r\n\r\n"}, {2, ""}}) {
        sent.clear();
        EXPECT_EQ(NotifyAllClients(office.Name(), "BOB", folder, "IMAP", mode, "news", -1), 1)
            << folder;
        EXPECT_EQ(sent, told) << folder;
    }
    RemoveFile(tab);
    EXPECT_EQ(NotifyAllClients(office.Name(), "BOB", folder, "IMAP", 0, "news", -1), 2) << folder;
}

TEST_F(ClientNotification, AllClientsAreFoundByTheFoldersName) {
    const Postoffice office;
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
    for (const auto& [folder, directory] : cases) ExpectDirectory(office, folder, directory);
    EXPECT_EQ(NotifyAllClients("", "BOB", "Inbox", "IMAP", 0, "news", 4), 0);
}

using ClientNotificationOwnProcess = ClientNotification;
TEST_F(ClientNotificationOwnProcess, PublicFoldersCanBeTurnedOff) {
    const Postoffice office(false);
    ExpectDirectory(office, "Public\\News", "MAILROOT\\BOB\\Public\\News");
}

}  // namespace
}  // namespace tarnwick

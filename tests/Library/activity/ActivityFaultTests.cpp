#include <gtest/gtest.h>

#include <algorithm>

#include "common/Clock.h"
#include "common/Files.h"
#include "Library/activity/ClientNotification.h"
#include "Library/activity/ClientState.h"
#include "Library/activity/NotifyRemote.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::Environment;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::RunSelf;
using testing::ScratchFolder;
using testing::WriteBytesTo;

constexpr const char* kChildFolder = "TARNWICK_FAULT_FOLDER";
constexpr const char* kChildOperation = "TARNWICK_FAULT_OPERATION";
constexpr const char* kChildCall = "TARNWICK_FAULT_CALL";

const std::string kOther = "far\tIMAP\tann\t10.0.0.9\t25\t5\tSent\t3\trun0";
const std::string kMine = "srv\tIMAP\tbob\t10.0.0.1\t143\t7\tInbox\t7\trun2";
const std::string kBreak = "\r\n";

struct Operation {
    const char* name;
    void (*run)(const std::string& directory);
    std::string before;
    std::string after;
    // What else may be left when opening the file failed: it then counts as a new one.
    std::string whenUnreadable;
};

void SetMine(const std::string& directory) {
    SessionContext session{"bob", 1, 7, "Inbox", 0, nullptr};
    SetClientState(&session, directory, "srv", "10.0.0.1", 143, "IMAP", "bob", "Inbox", "run2");
}

void CloseMine(const std::string& directory) {
    CloseClientState(nullptr, directory, "srv", "10.0.0.1", 143, "IMAP", "run2");
}

int FailingSender(const char*, const char*, const char*) {
    return 1;
}

// The sender fails for every server, and the notification is for "srv" alone.
void NotifyMine(const std::string& directory) {
    SetRemoteNotifySender(FailingSender);
    NotifyClients(nullptr, directory, "srv", "", -1, "POP3", 0, 0, "", "", nullptr, 0, "news", -1);
}

const Operation kOperations[] = {
    {"set a new client", SetMine, kOther, kOther + kBreak + kMine, kMine},
    {"set a client again", SetMine, kMine + kBreak + kOther, kMine + kBreak + kOther, kMine},
    {"close one of two", CloseMine, kMine + kBreak + kOther, kOther, kOther},
    {"close the last", CloseMine, kMine, "", ""},
    {"notify and drop one of two", NotifyMine, kMine + kBreak + kOther, kOther, kOther},
    {"notify and drop the last", NotifyMine, kMine, "", ""},
};

void PrepareClock() {
    SetClock([]() -> std::uint64_t { return (7 + 11'644'473'600) * 10'000'000; });
}

std::string Tab(const ScratchFolder& folder) {
    return folder.Path("_activity.tab");
}

// After whatever happened the next client gets the lock, at the latest when the old one counts as
// abandoned, and leaves no block file.
void ExpectLockCanBeTaken(const ScratchFolder& folder, int longestWait, const std::string& where) {
    const CountingSleeper sleeper;
    SetMine(folder.Path());
    EXPECT_LE(sleeper.Count(), longestWait) << where;
    EXPECT_FALSE(PathExists(folder.Path("_activity.blk"))) << where;
    EXPECT_NE(ReadBytesOf(Tab(folder)).find(kMine), std::string::npos) << where;
}

// The contents that a failure of `call` may leave.
std::vector<std::string> AllowedAfter(const Operation& operation, const std::string& call,
                                      bool isFirstOpen) {
    std::vector<std::string> allowed{operation.before, operation.after};
    if (call == "CreateFile _activity.tab" && isFirstOpen) {
        allowed.push_back(operation.whenUnreadable);
    }
    // Setting a client deletes the old file though there is no new one.
    if (call == "CreateFile _activity.tmp" && operation.run == SetMine) allowed.emplace_back();
    return allowed;
}

TEST(ActivityFaults, EachCallFailingOnceLosesOnlyWhatMustBeLost) {
    PrepareClock();
    const ReportRecorder reports;
    for (const Operation& operation : kOperations) {
        bool hasOpened = false;
        for (int number = 1;; ++number) {
            const ScratchFolder folder;
            WriteBytesTo(Tab(folder), operation.before);
            std::string call;
            {
                const CountingSleeper sleeper;
                CallRecorder calls;
                calls.FailCall(number, ERROR_ACCESS_DENIED);
                operation.run(folder.Path());
                if (calls.Count() < number) break;
                call = calls.Calls()[static_cast<std::size_t>(number) - 1];
            }
            const std::string where =
                std::string(operation.name) + ", call " + std::to_string(number) + " " + call;
            const auto allowed = AllowedAfter(operation, call, !hasOpened);
            hasOpened = hasOpened || call == "CreateFile _activity.tab";
            EXPECT_NE(std::find(allowed.begin(), allowed.end(), ReadBytesOf(Tab(folder))),
                      allowed.end())
                << where << ": " << ReadBytesOf(Tab(folder));
            // A handle that did not close keeps its block file until the next client's patience
            // ends.
            ExpectLockCanBeTaken(folder, call == "CloseHandle" ? 101 : 0, where);
        }
    }
}

// Runs in a process of its own, which ends at the chosen call.
TEST(ActivityFaults, ChildThatDies) {
    const std::string folder = Environment(kChildFolder);
    if (folder.empty()) return;
    PrepareClock();
    const ReportRecorder reports;
    CallRecorder calls;
    calls.DieAtCall(std::stoi(Environment(kChildCall)));
    kOperations[std::stoi(Environment(kChildOperation))].run(folder);
}

TEST(ActivityFaults, ADeadHolderLeavesOneWholeContentAndItsLockIsTakenOver) {
    PrepareClock();
    const ReportRecorder reports;
    for (std::size_t at = 0; at < std::size(kOperations); at += 2) {
        const Operation& operation = kOperations[at];
        unsigned status = testing::kDiedAtCall;
        for (int number = 1; status == testing::kDiedAtCall; ++number) {
            const ScratchFolder folder;
            WriteBytesTo(Tab(folder), operation.before);
            status = RunSelf("ActivityFaults.ChildThatDies",
                             {std::string(kChildFolder) + "=" + folder.Path(),
                              std::string(kChildOperation) + "=" + std::to_string(at),
                              std::string(kChildCall) + "=" + std::to_string(number)});
            const std::string where =
                std::string(operation.name) + ", died at call " + std::to_string(number);
            // Between delete and move the new content is whole under the replacement's name.
            const bool isThere = PathExists(Tab(folder));
            const std::string left =
                ReadBytesOf(isThere ? Tab(folder) : folder.Path("_activity.tmp"));
            EXPECT_TRUE(left == operation.after || (isThere && left == operation.before))
                << where << ": " << left;
            ExpectLockCanBeTaken(folder, 101, where);
        }
        EXPECT_EQ(status, 0U) << operation.name;
    }
}

// The directory is gone from the second call on.
class VanishingDirectory : public CallObserver {
  public:
    VanishingDirectory() { SetCallObserver(this); }
    ~VanishingDirectory() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall&) override {
        return ++count_ == 1 ? 0 : ERROR_PATH_NOT_FOUND;
    }

  private:
    int count_ = 0;
};

TEST(ActivityFaults, ADirectoryThatVanishesBehindTheLockEndsWithoutAWait) {
    PrepareClock();
    for (const Operation& operation : kOperations) {
        const ScratchFolder folder;
        const CountingSleeper sleeper;
        const ReportRecorder reports;
        {
            const VanishingDirectory vanishing;
            operation.run(folder.Path());
        }
        EXPECT_EQ(sleeper.Count(), 0) << operation.name;
        // No handle stays open on the block file.
        RemoveFile(folder.Path("_activity.blk"));
        EXPECT_TRUE(folder.Names().empty()) << operation.name;
    }
}

}  // namespace
}  // namespace tarnwick

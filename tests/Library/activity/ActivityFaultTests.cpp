// The operations on an activity file with calls and allocations failing, with the process dying,
// and with another process or machine at work on the same file.
#include <gtest/gtest.h>

#include <algorithm>

#include "common/Clock.h"
#include "common/Registry.h"
#include "common/Reports.h"
#include "Library/activity/ClientNotification.h"
#include "Library/activity/ClientState.h"
#include "Library/activity/NotifyRemote.h"
#include "tests/support/FaultSweep.h"

namespace tarnwick {
namespace {

using testing::CountingSleeper;
using testing::Environment;
using testing::FaultyOperation;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ScratchFolder;
using testing::WriteBytesTo;

const std::string kOther = "far\tIMAP\tann\t10.0.0.9\t25\t5\tInbox\t3\trun0";
const std::string kMine = "srv\tIMAP\tbob\t10.0.0.1\t143\t7\tInbox\t7\trun2";
const std::string kBoth = kMine + "\r\n" + kOther;

// Keeps nothing but the name under which an operation told what it caught, which needs no memory.
struct CaughtReports : ReportSink {
    CaughtReports() { SetReportSink(this); }
    ~CaughtReports() override { SetReportSink(nullptr); }
    void Report(ReportChannel, std::string_view text) override {
        const std::size_t end = text.find(' ');
        const std::string_view rest = text.substr(end == text.npos ? text.size() : end);
        if (rest.starts_with(" handled an exception; session will be dropped.\nThe exc") ||
            rest == " raised an exception\n") {
            name[text.copy(name, std::min(end, sizeof name - 1))] = '\0';
        }
    }
    char name[32] = "";
};
CaughtReports* reports = nullptr;

std::string Set(const std::string& folder) {
    SessionContext session{"bob", 1, 7, "Inbox", 99, nullptr};
    SetClientState(&session, folder, "srv", "10.0.0.1", 143, "IMAP", "bob", "Inbox", "run2");
    return session.activityStamp != 99 ? "1" : "0";
}
std::string Close(const std::string& folder) {
    return std::to_string(
        CloseClientState(nullptr, folder, "srv", "10.0.0.1", 143, "IMAP", "run2"));
}
std::string Count(const std::string& folder) {
    return std::to_string(GetConnectionCount(nullptr, folder));
}
// The sender fails for every server, and the notification is for "srv" alone.
std::string Notify(const std::string& folder) {
    SetRemoteNotifySender([](const char*, const char*, const char*) { return 1; });
    return std::to_string(NotifyClients(nullptr, folder, "srv", "", -1, "POP3", 0, 0, "", "",
                                        nullptr, 0, "news", -1));
}

FaultyOperation Operation(const char* name, const std::string& before,
                          std::string (*run)(const std::string&), const char* failed,
                          const char* died) {
    return {
        name,
        [before](const std::string& folder) { WriteBytesTo(folder + "\\_activity.tab", before); },
        run, failed, died};
}

// A word holds the result; m and o for the client's own entry and the other one, in order, or "-"
// for no file; what else is left, t and content for the replacement, b for the block file; and how
// often the next client had to wait for the lock.
const std::vector<FaultyOperation>& Operations() {
    static const std::vector<FaultyOperation> operations = {
        Operation("SetClientState-new", kOther, Set,
                  "1om 1m 0- 1om 0o 0o 0o 1om 1om 1om 1om 1omb101 1om", ""),
        Operation("SetClientState-again", kBoth, Set,
                  "1mo 1m 0- 1mo 0mo 0mo 0mo 1mo 1mo 1mo 1mo 1mob101 1mo",
                  "mo mob101 mob101 motb101 motb101 motb101 motmob101 motmob101 -tmob101 mob101 "
                  "mob101 mob101 mob101"),
        Operation("CloseClientState-one", kBoth, Close, "1o 0mo 0mo 1o 0mo 0mo 0mo 1o 1o 1ob101 1o",
                  "mo mob101 mob101 motb101 motb101 motb101 motob101 motob101 -tob101 ob101 ob101"),
        Operation("CloseClientState-last", kMine, Close, "1- 0m 0m 1- 0m 0m 1- 1- 1-b101 1-",
                  "m mb101 mb101 mtb101 mtb101 mtb101 mtb101 -tb101 -b101 -b101"),
        Operation("NotifyClients_Ex-one", kBoth, Notify,
                  "2mo 1o 1mo 1mo 1o 1mo 1mo 1mo 1o 1o 1ob101 1o",
                  "mo mo mob101 mob101 motb101 motb101 motb101 motob101 motob101 -tob101 ob101 "
                  "ob101"),
        Operation("NotifyClients_Ex-last", kMine, Notify, "2m 1- 1m 1m 1- 1m 1m 1- 1- 1-b101 1-",
                  ""),
        Operation("GetConnectionCount", kMine, Count, "1m 0m 1m 0m 1mb101 1m", ""),
    };
    return operations;
}

std::string Letters(std::string bytes) {
    for (const auto& [text, letter] :
         {std::pair{kMine, "m"}, {kOther, "o"}, {std::string("\r\n"), ""}}) {
        for (std::size_t at; (at = bytes.find(text)) != bytes.npos;)
            bytes.replace(at, text.size(), letter);
    }
    return bytes;
}

std::string Describe(const FaultyOperation&, const std::string& result,
                     const ScratchFolder& folder) {
    const auto in = [&](const char* name) { return folder.Path(std::string("_activity.") + name); };
    std::string word = result + (PathExists(in("tab")) ? Letters(ReadBytesOf(in("tab"))) : "-");
    if (PathExists(in("tmp"))) word += "t" + Letters(ReadBytesOf(in("tmp")));
    if (PathExists(in("blk"))) word += "b";
    // The next client gets the lock, at the latest when the old holder counts as dead.
    const CountingSleeper sleeper;
    Set(folder.Path());
    EXPECT_FALSE(PathExists(in("blk")));
    EXPECT_NE(ReadBytesOf(in("tab")).find(kMine), std::string::npos);
    return word + (sleeper.Count() == 0 ? "" : std::to_string(sleeper.Count()));
}

class ActivityFaults : public ::testing::Test {
  protected:
    ActivityFaults() {
        SetClock([]() -> std::uint64_t { return (7 + 11'644'473'600) * 10'000'000; });
        reports = &reports_;
    }
    CaughtReports reports_;
};

TEST_F(ActivityFaults, EachCallFailingLosesOnlyWhatMustBeLost) {
    testing::FailEachCall(Operations(), ERROR_ACCESS_DENIED, Describe);
}

TEST_F(ActivityFaults, ADeadHolderLeavesOneWholeContentAndItsLockIsTakenOver) {
    testing::DieAtEachCall("ActivityFaults.ADeadHolderLeavesOneWholeContentAndItsLockIsTakenOver",
                           Operations(), Describe);
}

TEST_F(ActivityFaults, WithoutMemoryAnOperationTellsItAndGivesTheLockUp) {
    const auto describe = [](const FaultyOperation& operation, const std::string& result,
                             const ScratchFolder& folder) {
        const std::string told = reports->name;
        reports->name[0] = '\0';
        if (PathExists(folder.Path("_activity.blk"))) return std::string("locked");
        return told == operation.name.substr(0, operation.name.find('-')) ? "told" : result + told;
    };
    testing::FailEachAllocationOf(Operations(), "told", describe);
}

}  // namespace
}  // namespace tarnwick

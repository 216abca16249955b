// Operations that run out of memory in the middle.
#include <gtest/gtest.h>

#include "common/Reports.h"
#include "Library/activity/ClientNotification.h"
#include "Library/activity/ClientState.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::FailingAllocations;
using testing::PathExists;
using testing::ScratchFolder;
using testing::WriteBytesTo;

// Keeps nothing but whether an operation told under its name what it caught.
class CaughtReports : public ReportSink {
  public:
    CaughtReports() { SetReportSink(this); }
    ~CaughtReports() override { SetReportSink(nullptr); }
    void Report(ReportChannel, std::string_view text) override {
        if (!text.starts_with(operation)) return;
        text.remove_prefix(operation.size());
        told |= text.starts_with(" handled an exception") || text == " raised an exception\n";
    }
    std::string_view operation;
    bool told = false;
};

SessionContext session{"bob", 1, 7, "Inbox", 0, nullptr};

struct Operation {
    const char* name;
    void (*run)(const std::string& directory);
};

const Operation kOperations[] = {
    {"SetClientState",
     [](const std::string& directory) {
         SetClientState(&session, directory, "srv", "10.0.0.1", 143, "IMAP", "bob", "Inbox", "run");
     }},
    {"CloseClientState",
     [](const std::string& directory) {
         CloseClientState(&session, directory, "srv", "10.0.0.1", 143, "IMAP", "run");
     }},
    {"GetConnectionCount",
     [](const std::string& directory) { GetConnectionCount(&session, directory); }},
    {"NotifyClients_Ex",
     [](const std::string& directory) {
         NotifyClients(&session, directory, "srv", "", -1, "IMAP", 0, 0, "", "", "hi", -1, nullptr,
                       0);
     }},
};

TEST(ActivityMemory, AnOperationWithoutMemoryTellsItAndGivesTheLockUp) {
    CaughtReports reports;
    for (const Operation& operation : kOperations) {
        reports.operation = operation.name;
        testing::FailEachAllocation([&](int number, bool andAllAfter) {
            const ScratchFolder folder;
            WriteBytesTo(folder.Path("_activity.tab"),
                         "srv\tIMAP\tann\t10.0.0.9\t25\t5\tInbox\t3\trun\r\n"
                         "srv\tIMAP\tbob\t10.0.0.1\t143\t5\tInbox\t7\trun");
            reports.told = false;
            {
                const FailingAllocations failing(number, andAllAfter);
                operation.run(folder.Path());
            }
            EXPECT_EQ(reports.told, FailingAllocations::Any()) << operation.name << " " << number;
            EXPECT_FALSE(PathExists(folder.Path("_activity.blk")))
                << operation.name << " " << number;
            return reports.told;
        });
    }
}

}  // namespace
}  // namespace tarnwick

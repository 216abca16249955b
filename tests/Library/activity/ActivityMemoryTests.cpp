// Operations that run out of memory in the middle.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <new>

#include "Library/activity/ClientNotification.h"
#include "Library/activity/ClientState.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace {

// How many allocations succeed before all fail.
int allocationsLeft = std::numeric_limits<int>::max();

}  // namespace

void* operator new(std::size_t size) {
    void* memory = allocationsLeft > 0 ? std::malloc(size == 0 ? 1 : size) : nullptr;
    if (memory == nullptr) throw std::bad_alloc();
    --allocationsLeft;
    return memory;
}

namespace tarnwick {
namespace {

using testing::PathExists;
using testing::ScratchFolder;
using testing::WriteBytesTo;

class Silence : public ReportSink {
  public:
    Silence() { SetReportSink(this); }
    ~Silence() override { SetReportSink(nullptr); }
    void Report(ReportChannel, std::string_view) override {}
};

SessionContext session{"bob", 1, 7, "Inbox", 0, nullptr};

struct Operation {
    const char* name;
    void (*run)(const std::string& directory);
};

const Operation kOperations[] = {
    {"set",
     [](const std::string& directory) {
         SetClientState(&session, directory, "srv", "10.0.0.1", 143, "IMAP", "bob", "Inbox", "run");
     }},
    {"close",
     [](const std::string& directory) {
         CloseClientState(&session, directory, "srv", "10.0.0.1", 143, "IMAP", "run");
     }},
    {"count", [](const std::string& directory) { GetConnectionCount(&session, directory); }},
    {"notify",
     [](const std::string& directory) {
         NotifyClients(&session, directory, "srv", "", -1, "IMAP", 0, 0, "", "", "hi", -1, nullptr,
                       0);
     }},
};

TEST(ActivityMemory, AnOperationWithoutMemoryReturnsAndGivesTheLockUp) {
    const Silence silence;
    for (const Operation& operation : kOperations) {
        bool ranOut = true;
        for (int allocations = 0; ranOut; ++allocations) {
            const ScratchFolder folder;
            const std::string path = folder.Path();
            WriteBytesTo(folder.Path("_activity.tab"),
                         "srv\tIMAP\tann\t10.0.0.9\t25\t5\tInbox\t3\trun\r\n"
                         "srv\tIMAP\tbob\t10.0.0.1\t143\t5\tInbox\t7\trun");
            allocationsLeft = allocations;
            operation.run(path);
            ranOut = allocationsLeft == 0;
            allocationsLeft = std::numeric_limits<int>::max();
            EXPECT_FALSE(PathExists(folder.Path("_activity.blk")))
                << operation.name << " with " << allocations << " allocations";
        }
    }
}

}  // namespace
}  // namespace tarnwick

#include <gtest/gtest.h>

#include "Library/activity/ActivityReplacement.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::WriteBytesTo;

const std::string kDeleteWarning =
    "TW-WXXXX: DeleteWithRetry Warning: An error occurred when attempting to delete file %p. "
    "Error: 32\n";
const std::string kDeleteAbandoned =
    "TW-WXXXX: DeleteWithRetry Error:  Abandoning attempts to delete file %p. Error: 32\n";
const std::string kMoveWarning =
    "TW-WXXXX: Warning: Unable to move %p Activity File to %p2 at this time (but will keep "
    "retrying). Error: 32\n";
const std::string kMoveAbandoned =
    "TW-WXXXX: Warning: A Timeout occured when attempting to move %p Activity File to %p2. Error: "
    "32\n";

std::string Messages(const std::string& path, std::string text) {
    for (std::size_t at = 0; (at = text.find("%p", at)) != std::string::npos;) {
        text.replace(at, 2, path);
    }
    return text;
}

std::string Times4(const std::string& text) {
    return text + text + text + text;
}

struct Case {
    const char* name;
    bool always;  // refused every time, or only the first time
    std::uint32_t error;
    bool retry;
    int maxAttempts;
    bool result;
    int tries;
    int waits;
    int triesBeforeFirstWait;
    std::string messages;
};

template <typename Operation>
void Check(const Case& row, const char* call, Operation operation) {
    const ScratchFolder folder;
    const std::string path = folder.Path("a");
    WriteBytesTo(path, "x");
    CallRecorder calls;
    if (row.always) calls.FailAll(call, row.error);
    if (!row.always) calls.FailCall(1, row.error);
    int triesBeforeFirstWait = 0;
    const CountingSleeper sleeper([&](int count) {
        if (count == 1) triesBeforeFirstWait = calls.Count();
    });
    ReportRecorder reports;
    EXPECT_EQ(operation(path), row.result) << row.name;
    EXPECT_EQ(calls.Count(), row.tries) << row.name;
    EXPECT_EQ(sleeper.Count(), row.waits) << row.name;
    EXPECT_EQ(triesBeforeFirstWait, row.triesBeforeFirstWait) << row.name;
    EXPECT_EQ(reports.Joined(ReportChannel::EventLogWarning), Messages(path, row.messages))
        << row.name;
}

TEST(DeleteWithRetry, PausesAfterTheNewTryEvenWhenThatSucceeded) {
    const Case cases[] = {
        {"at once", false, 0, true, 15, true, 1, 0, 0, ""},
        {"not there", true, 2, true, 15, true, 1, 0, 0, ""},
        {"no folder", true, 3, true, 15, true, 1, 0, 0, ""},
        {"at the second try", false, 32, true, 15, true, 2, 1, 2, kDeleteWarning},
        {"never", true, 32, true, 15, false, 17, 16, 2, Times4(kDeleteWarning) + kDeleteAbandoned},
        {"without retry", true, 32, false, 15, false, 1, 0, 0, kDeleteWarning},
        {"one retry", true, 32, true, 0, false, 2, 1, 2, kDeleteWarning + kDeleteAbandoned},
        {"fewer than none", true, 32, true, -1, false, 1, 0, 0, kDeleteAbandoned},
    };
    for (const Case& row : cases) {
        Check(row, "DeleteFile", [&](const std::string& path) {
            return DeleteWithRetry(path, row.retry, row.maxAttempts);
        });
    }
}

TEST(MoveWithRetry, PausesBeforeTheNewTry) {
    const Case cases[] = {
        {"at once", false, 0, true, 15, true, 1, 0, 0, ""},
        {"not there", true, 2, true, 15, false, 1, 0, 0, ""},
        {"no folder", true, 3, true, 15, false, 1, 0, 0, ""},
        {"at the second try", false, 32, true, 15, true, 2, 1, 1, kMoveWarning},
        {"never", true, 32, true, 15, false, 17, 16, 1, Times4(kMoveWarning) + kMoveAbandoned},
        {"without retry", true, 32, false, 15, false, 1, 0, 0, kMoveWarning},
        {"one retry", true, 32, true, 0, false, 2, 1, 1, kMoveWarning + kMoveAbandoned},
    };
    for (const Case& row : cases) {
        Check(row, "MoveFile", [&](const std::string& path) {
            return MoveWithRetry(path, path + "2", row.retry, row.maxAttempts);
        });
    }
}

TEST(ReplaceActivityFile, DeletesThenMoves) {
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("a.tab"), "old");
    WriteBytesTo(folder.Path("a.tmp"), "new");
    CallRecorder calls;
    EXPECT_TRUE(ReplaceActivityFile(folder.Path("a.tmp"), folder.Path("a.tab")));
    EXPECT_EQ(calls.Calls(),
              (std::vector<std::string>{"DeleteFile a.tab", "MoveFile a.tmp -> a.tab"}));
    EXPECT_EQ(ReadBytesOf(folder.Path("a.tab")), "new");
    EXPECT_FALSE(ReplaceActivityFile(folder.Path("a.tmp"), folder.Path("a.tab")));
    EXPECT_TRUE(folder.Names().empty());
}

}  // namespace
}  // namespace tarnwick

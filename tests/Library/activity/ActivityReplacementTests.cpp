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

// Whether a call is refused, and what comes of it.
struct Case {
    const char* name;
    bool always;  // refused every time, or only the first time
    std::uint32_t error;
    bool retry;
    int maxAttempts;
    bool result;
    int tries;
    int waits;
    std::string messages;
};

// `triesBeforeFirstWait`: whether the pause comes before or after the second try.
template <typename Operation>
void Check(const Case& row, const char* call, int triesBeforeFirstWait, Operation operation) {
    const ScratchFolder folder;
    const std::string path = folder.Path("a");
    WriteBytesTo(path, "x");
    CallRecorder calls;
    if (row.always) calls.FailAll(call, row.error);
    if (!row.always) calls.FailCall(1, row.error);
    const CountingSleeper sleeper([&](int count) {
        EXPECT_TRUE(count > 1 || calls.Count() == triesBeforeFirstWait) << row.name;
    });
    ReportRecorder reports;
    EXPECT_EQ(operation(path), row.result) << row.name;
    EXPECT_EQ(calls.Count(), row.tries) << row.name;
    EXPECT_EQ(sleeper.Count(), row.waits) << row.name;
    EXPECT_EQ(reports.Joined(ReportChannel::EventLogWarning), Messages(path, row.messages))
        << row.name;
}

std::vector<Case> Cases(bool missingIsFine, const std::string& warning, const std::string& given) {
    const std::string four = warning + warning + warning + warning;
    return {
        {"at once", false, 0, true, 15, true, 1, 0, ""},
        {"not there", true, 2, true, 15, missingIsFine, 1, 0, ""},
        {"no folder", true, 3, true, 15, missingIsFine, 1, 0, ""},
        {"at the second try", false, 32, true, 15, true, 2, 1, warning},
        {"never", true, 32, true, 15, false, 17, 16, four + given},
        {"without retry", true, 32, false, 15, false, 1, 0, warning},
        {"one retry", true, 32, true, 0, false, 2, 1, warning + given},
        {"fewer than none", true, 32, true, -1, false, 1, 0, given},
    };
}

TEST(DeleteWithRetry, PausesAfterTheNewTryEvenWhenThatSucceeded) {
    for (const Case& row : Cases(true, kDeleteWarning, kDeleteAbandoned)) {
        Check(row, "DeleteFile", 2, [&](const std::string& path) {
            return DeleteWithRetry(path, row.retry, row.maxAttempts);
        });
    }
}

TEST(MoveWithRetry, PausesBeforeTheNewTry) {
    for (const Case& row : Cases(false, kMoveWarning, kMoveAbandoned)) {
        Check(row, "MoveFile", 1, [&](const std::string& path) {
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

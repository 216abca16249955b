#include <gtest/gtest.h>

#include "common/BlockFile.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CountingSleeper;
using testing::ScratchFolder;
using testing::WriteBytesTo;

// Notes what it is asked and answers with one verdict after the second wait.
struct ScriptedRule {
    BlockVerdict verdict;
    std::string path;
    bool freesFile;
    std::string asked;

    bool MayWait(DWORD error, std::uint32_t waits) {
        asked += std::to_string(error) + "?" + std::to_string(waits) + " ";
        return waits < 4 && asked.size() < 40;
    }
    BlockVerdict AfterWait(DWORD error, std::uint32_t waits) {
        asked += std::to_string(error) + "!" + std::to_string(waits) + " ";
        if (waits != 2) return BlockVerdict::TryAgain;
        if (freesFile) RemoveFile(path);
        return verdict;
    }
};

TEST(BlockFile, FollowsItsRule) {
    const struct {
        const char* name;
        BlockVerdict verdict;
        bool freesFile;
        bool held;
        int waits;
        const char* asked;
    } cases[] = {
        {"freed", BlockVerdict::TryAgain, true, true, 2, "80?0 80!1 80?1 80!2 "},
        {"never freed", BlockVerdict::TryAgain, false, false, 4,
         "80?0 80!1 80?1 80!2 80?2 80!3 80?3 80!4 80?4 "},
        {"starts over", BlockVerdict::StartOver, false, false, 4,
         "80?0 80!1 80?1 80!2 80?0 80!1 80?1 80!2 80?0 "},
        {"last try held", BlockVerdict::TryLast, true, true, 2, "80?0 80!1 80?1 80!2 "},
        {"last try refused", BlockVerdict::TryLast, false, false, 2, "80?0 80!1 80?1 80!2 "},
        {"gives up", BlockVerdict::GiveUp, true, false, 2, "80?0 80!1 80?1 80!2 "},
    };
    for (const auto& row : cases) {
        const ScratchFolder folder;
        const CountingSleeper sleeper;
        ScriptedRule rule{row.verdict, folder.Path("a.blk"), row.freesFile, {}};
        WriteBytesTo(rule.path, "");
        EXPECT_EQ(WaitForBlockFile(rule.path, rule).IsOpen(), row.held) << row.name;
        EXPECT_EQ(sleeper.Count(), row.waits) << row.name;
        EXPECT_EQ(sleeper.TotalMilliseconds(), row.waits * 1000U) << row.name;
        EXPECT_EQ(rule.asked, row.asked) << row.name;
    }
}

}  // namespace
}  // namespace tarnwick

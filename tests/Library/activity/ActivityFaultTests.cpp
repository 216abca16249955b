// The operations on an activity file with calls and allocations failing, with the process dying,
// and with another process or machine at work on the same file.
#include <gtest/gtest.h>

#include <algorithm>

#include "common/Clock.h"
#include "common/Registry.h"
#include "tests/Library/activity/ActivityOperations.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::PathExists;
using testing::ReadBytesOf;
using testing::ScratchRegistry;

TEST(ActivityFaults, LoseOnlyWhatMustBeLost) {
    SetClock([]() -> std::uint64_t { return (7 + 11'644'473'600) * 10'000'000; });
    testing::ExpectOutcomes(testing::ActivityOperations());
}

constexpr int kRounds = 600;
constexpr int kRoundsPerCount = 8;

// Gives the processor to whoever holds the lock instead of sleeping.
class YieldingSleeper : public Sleeper {
  public:
    YieldingSleeper() { SetSleeper(this); }
    ~YieldingSleeper() override { SetSleeper(nullptr); }
    void Sleep(std::uint32_t) override { SwitchToThread(); }
};

// Sets and closes a client of its own again and again; nobody but the actor changes its entry.
void SetAndClose(const std::string& folder, const std::string& actor) {
    const testing::ScratchRegistry registry;
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey,
                              "Store Notification Wait Timeout", 0xFFFFFFF0);
    const YieldingSleeper sleeper;
    testing::ReportRecorder reports;
    SessionContext session{actor, 1, 7, actor, 0, nullptr};
    for (int round = 0; round < kRounds; ++round) {
        SetClientState(&session, folder, actor, "10.0.0.1", 143, "IMAP", actor, actor, "run");
        if (round % kRoundsPerCount == 0) {
            ASSERT_EQ(GetConnectionCount(&session, folder), 1) << actor << ", round " << round;
        }
        ASSERT_EQ(CloseClientState(&session, folder, actor, "10.0.0.1", 143, "IMAP", "run"), 1)
            << actor << " close, round " << round;
        reports.Take();
    }
    SetClientState(&session, folder, actor, "10.0.0.1", 143, "IMAP", actor, actor, "run");
}

// The entries without their times, sorted.
std::vector<std::string> EntriesIn(const std::string& bytes) {
    std::vector<std::string> entries;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = std::min(bytes.find("\r\n", at), bytes.size());
        std::string entry = bytes.substr(at, end - at);
        const std::size_t time = entry.find("143\t") + 4;
        entries.push_back(entry.replace(time, entry.find('\t', time) - time, "TIME"));
        at = end + 2;
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

void Judge(const std::string& folder) {
    EXPECT_EQ(EntriesIn(ReadBytesOf(folder + "\\_activity.tab")),
              (std::vector<std::string>{"1\tIMAP\t1\t10.0.0.1\t143\tTIME\t1\t7\trun",
                                        "2\tIMAP\t2\t10.0.0.1\t143\tTIME\t2\t7\trun"}));
    EXPECT_FALSE(PathExists(folder + "\\_activity.blk"));
    EXPECT_FALSE(PathExists(folder + "\\_activity.tmp"));
}

TEST(ActivityContention, TwoLoseAndDoubleNothing) {
    testing::TwoAtOnce(SetAndClose, Judge);
}

}  // namespace
}  // namespace tarnwick

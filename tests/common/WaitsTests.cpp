#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <thread>

#include "common/Waits.h"
#include "common/WindowsApi.h"
#include "tests/support/WindowsFixtures.h"

namespace {

bool clockStandsStill = false;

}  // namespace

// In place of the C runtime's, which gives -1 in a process that is too old for it.
extern "C" std::clock_t clock() {
    return clockStandsStill ? -1 : static_cast<std::clock_t>(GetTickCount64() % 1'000'000'000);
}

namespace tarnwick {
namespace {

using testing::CountingSleeper;

bool IsQueueEmpty() {
    MSG message;
    return PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE) == FALSE;
}

// Messages to the thread itself: a window would start Wine's desktop and outlive the test.
TEST(Waits, MessagesOfTheThreadAreTakenFromItsQueueMeanwhile) {
    ASSERT_TRUE(IsQueueEmpty());
    const CountingSleeper sleeper(
        [](int) { PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0); });
    WaitDispatchingMessages(1000);
    EXPECT_TRUE(IsQueueEmpty());
    EXPECT_EQ(sleeper.TotalMilliseconds(), 1000U);
    SetSleeper(nullptr);
    PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
    EXPECT_FALSE(IsQueueEmpty());
    WaitDispatchingMessages(20);
    EXPECT_TRUE(IsQueueEmpty());
}

int timersSeen = 0;
void CALLBACK SeeTimer(HWND /*window*/, UINT /*message*/, UINT_PTR timer, DWORD /*time*/) {
    KillTimer(nullptr, timer);
    ++timersSeen;
}

TEST(Waits, MessagesAreDispatchedNotJustTaken) {
    for (int seen = 1; seen < 3; ++seen) {
        SetTimer(nullptr, 0, USER_TIMER_MINIMUM, SeeTimer);
        for (int tries = 0; tries < 100 && timersSeen < seen; ++tries) WaitDispatchingMessages(20);
        EXPECT_EQ(timersSeen, seen);
    }
}

TEST(Waits, AClockThatStandsStillKeepsNobody) {
    clockStandsStill = true;
    WaitDispatchingMessages(20);
    std::atomic<bool> ended = false;
    std::thread poster([&ended, thread = GetCurrentThreadId()] {
        while (!ended) PostThreadMessageA(thread, WM_APP, 0, 0);
    });
    WaitDispatchingMessages(20);
    ended = true;
    poster.join();
}

}  // namespace
}  // namespace tarnwick

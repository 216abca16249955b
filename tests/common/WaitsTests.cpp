#include <gtest/gtest.h>

#include "common/Waits.h"
#include "common/WindowsApi.h"
#include "tests/support/WindowsFixtures.h"

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

}  // namespace
}  // namespace tarnwick

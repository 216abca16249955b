// Trying a file call again while something else holds the file.
#pragma once

#include <cstdint>

#include "common/Waits.h"
#include "common/WindowsApi.h"

namespace tarnwick {

// Errors that mean that the file, or the folder it lay in, is not there (any more).
inline bool IsGone(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

enum class RetryOutcome { Done, Gone, GivenUp };

// Where a loop looks whether it has waited too often: a test after the wait makes its last wait in
// vain, one before it does not.
enum class GiveUpTest { BeforeWait, AfterWait };

// Calls `attempt` (true on success, else the reason is the thread's last error) until it succeeds,
// fails because the file is gone, or the count of one-second waits exceeds `limit()`, which is
// asked afresh each time. A limit of n makes n + 1 attempts with the test after the wait, n + 2
// with the test before it. The last error is that of the last attempt.
template <typename Attempt, typename Limit>
RetryOutcome RetryWhileRefused(Attempt attempt, Limit limit, GiveUpTest test) {
    for (std::int32_t waits = 0;;) {
        if (attempt()) return RetryOutcome::Done;
        const DWORD error = GetLastError();
        if (IsGone(error)) return RetryOutcome::Gone;
        if (test == GiveUpTest::AfterWait || waits <= limit()) {
            WaitMilliseconds(kPollMilliseconds);
            ++waits;
            if (test == GiveUpTest::BeforeWait || waits <= limit()) continue;
        }
        SetLastError(error);
        return RetryOutcome::GivenUp;
    }
}

}  // namespace tarnwick

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

// Whether an attempt follows the last wait too.
enum class LastWait { BeforeAttempt, InVain };

// Calls `attempt` (true on success, else the reason is the thread's last error) until it succeeds,
// fails because the file is gone, or fails behind `waitsAllowed()` waits of a second, which is
// asked afresh for each failure: n waits make n + 1 attempts. With LastWait::InVain there is a wait
// behind each of these, and the question comes after it. The last error is that of the last
// attempt.
//
// Activity files have a loop of their own (ActivityStore.cpp): that one says in the log what
// it waits for, and its deletes wait behind a try that succeeded.
template <typename Attempt, typename WaitsAllowed>
RetryOutcome RetryWhileRefused(Attempt attempt, WaitsAllowed waitsAllowed,
                               LastWait last = LastWait::BeforeAttempt) {
    for (std::int64_t waits = 0;; ++waits) {
        if (attempt()) return RetryOutcome::Done;
        const DWORD error = GetLastError();
        if (IsGone(error)) return RetryOutcome::Gone;
        if (last == LastWait::InVain) WaitMilliseconds(kPollMilliseconds);
        if (waits >= waitsAllowed()) {
            SetLastError(error);
            return RetryOutcome::GivenUp;
        }
        if (last == LastWait::BeforeAttempt) WaitMilliseconds(kPollMilliseconds);
    }
}

}  // namespace tarnwick

// An operation with each of its calls failing in turn, or its process ending there. The same for
// its allocations is FailEachAllocation's (FailingAllocations.h).
#pragma once

#include <string>
#include <vector>

#include "tests/support/WindowsFixtures.h"

namespace tarnwick::testing {

// `run` gives the outcome in letters. The result is "number outcome|" for each call, from 1, after
// whose failure the outcome differs from that of the call before, and for 0, when none fails.
template <typename Prepare, typename Run>
std::string OutcomesOfFailures(std::uint32_t error, Prepare prepare, Run run) {
    std::string outcomes;
    std::string last;
    for (int number = 0;; ++number) {
        prepare();
        CallRecorder calls;
        calls.FailCall(number, error);
        const std::string outcome = run();
        if (calls.Count() < number) return outcomes;
        if (outcome == last) continue;
        outcomes += std::to_string(number) + " " + outcome + "|";
        last = outcome;
    }
}

// Starts this program again with `filter`, which is to run the operation through DieWhereAsked, for
// each of its calls; `check` looks at what is left and is given the call's number.
template <typename Prepare, typename Check>
void DieAtEachCall(const std::string& filter, std::vector<std::string> environment, Prepare prepare,
                   Check check) {
    environment.emplace_back();
    for (int number = 1;; ++number) {
        prepare();
        environment.back() = "TARNWICK_DIE_AT=" + std::to_string(number);
        const unsigned status = RunSelf(filter, environment);
        if (status == 0 && number > 1) return;
        ASSERT_EQ(status, kDiedAtCall) << number;
        check(number);
    }
}
template <typename Run>
void DieWhereAsked(Run run) {
    CallRecorder calls;
    calls.DieAtCall(std::stoi(Environment("TARNWICK_DIE_AT")));
    run();
}

}  // namespace tarnwick::testing

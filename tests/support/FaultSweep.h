// Operations on the files of a folder under every fault there is: each file call failing, the
// process dying before each, each allocation failing, and two processes at work at once. For
// programs that link test_support and failing_allocations.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/FailingAllocations.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick::testing {

struct FaultyOperation {
    std::string name;
    std::function<void(const std::string& folder)> prepare;
    // Gives a word for the result.
    std::function<std::string(const std::string& folder)> run;
    // A word for each file call of a clean run: what came of it when that call failed, and what
    // was there when the process had died before it. Empty: not to be tried.
    std::string failed;
    std::string died;
};

// A word for what came of an operation: of its result (empty when it died) and its folder.
using Describe =
    std::function<std::string(const FaultyOperation&, const std::string&, const ScratchFolder&)>;

inline void AppendWord(std::string& words, const std::string& word) {
    words.append(words.empty() ? "" : " ").append(word);
}

// Lets each call of each operation fail with `error`. Waits take no time.
inline void FailEachCall(const std::vector<FaultyOperation>& operations, std::uint32_t error,
                         const Describe& describe) {
    for (const FaultyOperation& operation : operations) {
        std::string words;
        std::string names;
        for (int number = 1;; ++number) {
            const ScratchFolder folder;
            operation.prepare(folder.Path());
            const CountingSleeper sleeper;
            std::string result;
            {
                CallRecorder calls;
                calls.FailCall(number, error);
                result = operation.run(folder.Path());
                if (calls.Count() < number) break;
                names += "\n" + calls.Calls()[static_cast<std::size_t>(number) - 1];
            }
            AppendWord(words, describe(operation, result, folder));
        }
        EXPECT_EQ(words, operation.failed) << operation.name << ", with each failing of" << names;
    }
}

// Lets the process die before each call of each operation. The body of the test `self` calls this
// alone: it runs again in every process that is to die.
inline void DieAtEachCall(const std::string& self, const std::vector<FaultyOperation>& operations,
                          const Describe& describe) {
    const std::string victim = Environment("TARNWICK_VICTIM");
    for (const FaultyOperation& operation : operations) {
        if (operation.name == victim) {
            CallRecorder calls;
            calls.DieAtCall(std::stoi(Environment("TARNWICK_VICTIM_CALL")));
            operation.run(Environment("TARNWICK_VICTIM_FOLDER"));
        }
        if (!victim.empty() || operation.died.empty()) continue;
        std::string words;
        for (int number = 1;; ++number) {
            const ScratchFolder folder;
            operation.prepare(folder.Path());
            const unsigned status = RunSelf(self, {"TARNWICK_VICTIM=" + operation.name,
                                                   "TARNWICK_VICTIM_CALL=" + std::to_string(number),
                                                   "TARNWICK_VICTIM_FOLDER=" + folder.Path()});
            if (status != kDiedAtCall) break;
            AppendWord(words, describe(operation, "", folder));
        }
        EXPECT_EQ(words, operation.died) << operation.name << ", dead before each call";
    }
}

// Lets each allocation of each operation fail, alone and with all behind it; `describe` then gives
// `promised`. Whatever is told meanwhile must need no memory.
inline void FailEachAllocationOf(const std::vector<FaultyOperation>& operations,
                                 const std::string& promised, const Describe& describe) {
    for (const FaultyOperation& operation : operations) {
        const int count = FailEachAllocation([&](int number, bool andAllAfter) {
            const ScratchFolder folder;
            operation.prepare(folder.Path());
            std::string result;
            {
                const FailingAllocations failing(number, andAllAfter);
                result = operation.run(folder.Path());
            }
            if (!FailingAllocations::Any()) return false;
            EXPECT_EQ(describe(operation, result, folder), promised)
                << operation.name << ", allocation " << number;
            return true;
        });
        EXPECT_GT(count, 0) << operation.name;
    }
}

// Runs the test `worker` in two processes at once, as the script two-machines does on two machines:
// TARNWICK_SHARED_FOLDER is their folder, TARNWICK_MACHINE is 1 or 2.
inline void RunTwoWorkers(const std::string& worker, const std::string& folder) {
    const std::string shared = "TARNWICK_SHARED_FOLDER=" + folder;
    const ObjectHandle first = StartSelf(worker, {shared, "TARNWICK_MACHINE=1"});
    const ObjectHandle second = StartSelf(worker, {shared, "TARNWICK_MACHINE=2"});
    EXPECT_EQ(WaitForExit(first), 0U);
    EXPECT_EQ(WaitForExit(second), 0U);
}

}  // namespace tarnwick::testing

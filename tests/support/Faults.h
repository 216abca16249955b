// Operations on the files of a folder, as data, under every fault there is, and two at work at
// once. For programs that link test_support and failing_allocations.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>

#include "common/Reports.h"
#include "common/WindowsApi.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick::testing {

// A system call that fails once, with all like it from there on, or with all others from there on;
// a process that dies in front of a call; an allocation that fails, alone and with all behind it.
enum class Fault { Call, CallsLikeIt, AllCalls, Death, Memory };

using Files = std::map<std::string, std::string>;  // bytes by name

struct Trial {
    Fault fault;
    int number = 0;         // of the call, from 1 (0: none fails), or twice that of the allocation
    std::string call = {};  // its name and file; none with Death and Memory
    std::string result = {};        // none of the dead
    std::string report = {};        // the beginning of the last one
    Files before = {}, after = {};  // without the fault
};

struct Operation {
    std::string name;
    std::function<void(const std::string& folder)> prepare;  // fills the empty folder
    // Gives a short word for the result. What it allocates besides the product may fail as well.
    std::function<std::string(const std::string& folder)> run;
    // What is to come of each fault that is tried: "number outcome|" for each call with another one
    // than the call before; with Memory "outcome|" for each there is.
    std::map<Fault, std::string> outcomes;
    std::function<std::string(const Trial&)> outcome = {};  // OutcomeOf unless given
};

// Keeps the beginning of the last report, without memory of its own.
struct LastReport : ReportSink {
    LastReport() { SetReportSink(this); }
    ~LastReport() override { SetReportSink(nullptr); }
    void Report(ReportChannel, std::string_view report) override {
        text[report.copy(text, sizeof text - 1)] = '\0';
    }
    char text[100] = "";
};

// Where all operations run, those of a process that is to die too.
inline const std::string& FaultFolder() {
    static const std::string victims = Environment("TARNWICK_VICTIM_FOLDER");
    static const auto home = victims.empty() ? std::make_unique<ScratchFolder>() : nullptr;
    static const std::string folder = home ? home->Path("folder") : victims;
    return folder;
}

inline Files FilesIn(const std::string& folder) {
    Files files;
    for (const std::string& name : NamesIn(folder)) files[name] = ReadBytesOf(folder + "\\" + name);
    return files;
}

// The result, then "old" or "new" when all files are as before or as after a run without a fault,
// else each by the end of its name and its content.
inline std::string OutcomeOf(const Trial& trial) {
    const Files files = FilesIn(FaultFolder());
    std::string words = trial.result + (trial.result.empty() ? "" : " ");
    if (files == trial.before) return words + "old";
    if (files == trial.after) return words + "new";
    for (const auto& [name, bytes] : files) {
        std::string content = bytes.size() < 64 ? bytes : "part";
        for (const auto& file : trial.after) content = file.second == bytes ? "new" : content;
        for (const auto& file : trial.before) content = file.second == bytes ? "old" : content;
        words += name.substr(name.find('.') + 1) + "=" + content + " ";
    }
    return words.substr(0, words.find_last_not_of(' ') + 1);
}

// Starts the calling test again with more environment, in which it plays another part.
inline ObjectHandle StartThisTest(const std::vector<std::string>& environment) {
    const ::testing::TestInfo& test = *::testing::UnitTest::GetInstance()->current_test_info();
    return StartSelf(std::string(test.test_suite_name()) + "." + test.name(), environment);
}

// Runs the operation in its folder with the trial's fault. Whether it came that far.
inline bool Try(const Operation& operation, std::uint32_t error, Trial& trial) {
    std::filesystem::remove_all(FaultFolder());
    MakePath(FaultFolder());
    operation.prepare(FaultFolder());
    trial.result.clear();
    if (trial.number == 0) trial.before = FilesIn(FaultFolder());
    if (trial.number > 0 && trial.fault == Fault::Death) {
        return WaitForExit(StartThisTest({"TARNWICK_VICTIM=" + operation.name,
                                          "TARNWICK_VICTIM_CALL=" + std::to_string(trial.number),
                                          "TARNWICK_VICTIM_FOLDER=" + FaultFolder()})) ==
               kDiedAtCall;
    }
    const CountingSleeper sleeper;
    const LastReport last;
    if (trial.number > 0 && trial.fault == Fault::Memory) {
        {
            const FailingAllocations failing((trial.number + 1) / 2, trial.number % 2 == 0);
            trial.result = operation.run(FaultFolder());
        }
        trial.report = last.text;
        return FailingAllocations::Any();
    }
    CallRecorder calls;
    calls.onCall = [&](const SystemCall&) -> std::uint32_t {
        constexpr int kForEver = 1000;  // whoever waits for as long as it takes goes on then
        const int past = calls.Count() - trial.number;
        if (trial.number == 0 || past < 0 || past > kForEver) return 0;
        if (past == 0) trial.call = calls.Calls().back();
        const bool isLike = trial.fault == Fault::CallsLikeIt && calls.Calls().back() == trial.call;
        return past == 0 || isLike || trial.fault == Fault::AllCalls ? error : 0;
    };
    trial.result = operation.run(FaultFolder());
    trial.report = last.text;
    if (trial.number == 0) trial.after = FilesIn(FaultFolder());
    return calls.Count() >= trial.number;
}

// Puts its faults to each call or allocation of each operation. With Death the test that calls this
// is also the process that dies.
inline void ExpectOutcomes(const std::vector<Operation>& operations,
                           std::uint32_t error = ERROR_ACCESS_DENIED) {
    const std::string victim = Environment("TARNWICK_VICTIM");
    for (const Operation& operation : operations) {
        if (!victim.empty() && victim == operation.name) {
            CallRecorder calls;
            calls.DieAtCall(std::stoi(Environment("TARNWICK_VICTIM_CALL")));
            operation.run(FaultFolder());
        }
        for (const auto& [fault, expected] : operation.outcomes) {
            if (!victim.empty()) continue;
            std::string outcomes, last, calls;
            std::set<std::string> seen;
            for (Trial trial{fault}; Try(operation, error, trial); ++trial.number) {
                if (trial.number == 0 && fault >= Fault::Death) continue;
                const std::string outcome =
                    operation.outcome ? operation.outcome(trial) : OutcomeOf(trial);
                const std::string number = std::to_string(trial.number) + " ";
                const bool isNews =
                    fault == Fault::Memory ? seen.insert(outcome).second : outcome != last;
                if (isNews) outcomes += (fault == Fault::Memory ? "" : number) + outcome + "|";
                last = outcome;
                calls += "\n" + number + trial.call;
            }
            EXPECT_EQ(outcomes, expected)
                << operation.name << ", fault " << static_cast<int>(fault) << calls;
        }
    }
}

// Two processes that run the calling test at once, or two machines with the script two-machines:
// each does `work(folder, "1" or "2")`, and in the end `judge(folder)` looks at the folder.
template <typename Work, typename Judge>
void TwoAtOnce(Work work, Judge judge) {
    const std::string shared = Environment("TARNWICK_SHARED_FOLDER");
    const std::string machine = Environment("TARNWICK_MACHINE");
    if (!machine.empty()) return work(shared, machine);
    if (!shared.empty()) return judge(shared);
    const ScratchFolder folder;
    const std::string here = "TARNWICK_SHARED_FOLDER=" + folder.Path();
    const ObjectHandle first = StartThisTest({here, "TARNWICK_MACHINE=1"});
    const ObjectHandle second = StartThisTest({here, "TARNWICK_MACHINE=2"});
    EXPECT_EQ(WaitForExit(first), 0U);
    EXPECT_EQ(WaitForExit(second), 0U);
    judge(folder.Path());
}

}  // namespace tarnwick::testing

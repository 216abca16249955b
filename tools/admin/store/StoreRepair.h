// Mending what the store's own files tell how to mend. Nothing is lost: what a repair replaces or
// takes away stays beside it under its name and ".kept".
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/admin/store/Problem.h"
#include "tools/admin/store/StoreCheck.h"

namespace tarnwick::admin {

// What became of one problem.
struct RepairStep {
    Problem problem;
    std::string file;
    bool done;         // or, in a dry run, would be
    std::string text;  // what was done and why, or why it was not
};

using StepReport = std::function<void(const RepairStep& step)>;
// Told before a wait of seconds begins: for what and how long at most.
using WaitReport = std::function<void(const std::string& text)>;

// Mends what can be mended at the folder and below it, each calendar, index and activity file under
// its own lock. With `dryRun` nothing is written. The result is what is left for a person to mend.
std::vector<Finding> RecoverStore(const std::string& folder, const std::string& root, bool dryRun,
                                  const StepReport& report, const WaitReport& wait,
                                  const WalkProgress& progress = {});

}  // namespace tarnwick::admin

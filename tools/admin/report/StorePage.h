// The state of a store as one page for a browser.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/admin/doctor/Examination.h"
#include "tools/admin/store/BlockRule.h"
#include "tools/admin/store/Problem.h"
#include "tools/admin/store/StoreCensus.h"

namespace tarnwick::admin {

struct StoreReport {
    std::string folder;  // what was looked at
    std::string root;    // of the command line; empty: the mail root
    std::int64_t time = 0;
    std::chrono::year year{};
    std::vector<Finding> findings;
    StoreCensus census;
    std::vector<BlockState> blocks;
    Facts facts;
    std::vector<Advice> advice;

    std::size_t Mailboxes() const;
    std::size_t MachineProblems() const;
};

// UTF-8. Nothing in it asks for another file, and nothing runs.
std::string StorePage(const StoreReport& report);

}  // namespace tarnwick::admin

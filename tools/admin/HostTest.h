// Whether a host's service would run this tool's calls, step by step.
#pragma once

#include <string>
#include <vector>

#include "tools/admin/HostEntries.h"

namespace tarnwick::admin {

struct TestStep {
    const char* name;   // "address", "connect", "AUTH", "LOAD" or "PING"
    std::string fault;  // empty: it went well
};

// The steps in their order, up to the first that failed.
std::vector<TestStep> TestHost(const HostEntry& entry);

}  // namespace tarnwick::admin

// What is wrong with a machine's settings and surroundings, and what is merely worth knowing.
#pragma once

#include <string>
#include <vector>

#include "tools/admin/doctor/Facts.h"

namespace tarnwick::admin {

struct Advice {
    bool isProblem;     // or a risk: the system works, but not as well as it could
    const char* code;   // stable
    const char* about;  // "setting", "file", "host" or "clock"
    std::string place;  // which one
    std::string means;
    std::string mend;  // a command
};

// Problems first.
std::vector<Advice> Examine(const Facts& facts);

}  // namespace tarnwick::admin

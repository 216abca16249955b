// What is wrong with the lines of an activity file. docs/activity-file.md has the rules.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/admin/store/CalendarInspection.h"

namespace tarnwick::admin {

// The lines that the next rewrites drop or damage, in their order, and why.
std::vector<LineProblem> InspectActivity(std::string_view bytes);

// The file without them.
std::string KeptActivity(std::string_view bytes);

}  // namespace tarnwick::admin

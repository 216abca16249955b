// The days of a mailbox's year, shaded by the number of entries that take place on each.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "tools/admin/DayCounts.h"
#include "tools/admin/report/Html.h"

namespace tarnwick::admin {

// "9 Apr 2026"
std::string ShortDate(std::chrono::sys_days date);
// "9 Apr 2026: 3 entries"
std::string DayTitle(std::chrono::sys_days date, std::size_t entries);
// "213 entries on 94 days; most on 9 Apr 2026 (7)"
std::string YearInWords(const DayCounts& counts);

// The year as twelve pictures of weeks, and the same in a table by months.
void AddYearStrip(Html& html, const std::string& mailbox, const DayCounts& counts);
// What the shades stand for.
void AddShadeLegend(Html& html);

}  // namespace tarnwick::admin

// A month of free and busy days as a page that a person reads at a glance.
#pragma once

#include <chrono>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

// The days of a month, from the texts that a free/busy scan gives; what is no day number of two
// digits (calendars of other names) is left out.
std::set<unsigned> BusyDays(const std::vector<std::string>& scanned);

// Weeks begin on Monday and carry their ISO 8601 number; busy days stand in brackets.
std::string MonthGrid(std::chrono::year_month month, const std::set<unsigned>& busyDays,
                      std::string_view title);

// "March 2025"
std::string MonthTitle(std::chrono::year_month month);
unsigned LastDayOf(std::chrono::year_month month);

// Number of the week in which the date lies by ISO 8601: 1 to 53.
unsigned IsoWeek(std::chrono::sys_days date);

}  // namespace tarnwick::admin

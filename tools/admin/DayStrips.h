// The free and busy days of several mailboxes, a line each, and the days on which all are free.
#pragma once

#include <chrono>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

// The busy days of a mailbox, a set for each month of a page.
struct BusyMonths {
    std::string mailbox;
    std::vector<std::set<unsigned>> days;
};

// The days of the month, the one at `at` of a page, on which no mailbox is busy.
std::vector<unsigned> DaysFreeForAll(std::chrono::year_month month, std::size_t at,
                                     const std::vector<BusyMonths>& mailboxes);

// A strip for each of the months, which are of one year: days in columns of weekdays, a line for
// each mailbox, and the days free for all.
std::string DayStrips(const std::vector<std::chrono::year_month>& months,
                      const std::vector<BusyMonths>& mailboxes);

}  // namespace tarnwick::admin

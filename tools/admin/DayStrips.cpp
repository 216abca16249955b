#include "tools/admin/DayStrips.h"

#include <algorithm>
#include <cstddef>

#include "tools/admin/MonthGrid.h"

namespace tarnwick::admin {
namespace {

using std::chrono::year_month;

constexpr unsigned kDaysPerWeek = 7;
constexpr unsigned kLongestMonthInWeeks = 6;

std::string Line(std::string_view label, std::size_t width, const std::string& cells) {
    std::string line(label);
    line.resize(std::max(width, label.size()), ' ');
    line += "  " + cells;
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

// The cells of a month, each below its weekday; weeks stand a blank apart.
template <typename CellOf>
std::string Cells(year_month month, CellOf cellOf) {
    const std::chrono::weekday first(std::chrono::sys_days(month / 1));
    unsigned at = static_cast<unsigned>((first - std::chrono::Monday).count());
    std::string cells(at, ' ');
    for (unsigned day = 1; day <= LastDayOf(month); ++day, ++at) {
        if (at == kDaysPerWeek) {
            cells += ' ';
            at = 0;
        }
        cells += cellOf(day);
    }
    return cells;
}

// "2, 6-13"
std::string Ranges(const std::vector<unsigned>& days) {
    std::string text;
    for (std::size_t at = 0; at < days.size();) {
        std::size_t last = at;
        while (last + 1 < days.size() && days[last + 1] == days[last] + 1) ++last;
        text += (text.empty() ? "" : ", ") + std::to_string(days[at]);
        if (last != at) text += "-" + std::to_string(days[last]);
        at = last + 1;
    }
    return text.empty() ? "no day" : text;
}

}  // namespace

std::vector<unsigned> DaysFreeForAll(year_month month, std::size_t at,
                                     const std::vector<BusyMonths>& mailboxes) {
    std::vector<unsigned> free;
    for (unsigned day = 1; day <= LastDayOf(month); ++day) {
        const auto isFree = [at, day](const BusyMonths& busy) {
            return !busy.days[at].contains(day);
        };
        if (std::ranges::all_of(mailboxes, isFree)) free.push_back(day);
    }
    return free;
}

std::string DayStrips(const std::vector<year_month>& months,
                      const std::vector<BusyMonths>& mailboxes) {
    std::size_t width = std::string_view("free for all:").size();
    for (const BusyMonths& busy : mailboxes) width = std::max(width, busy.mailbox.size());
    std::string weekdays;
    for (unsigned week = 0; week < kLongestMonthInWeeks; ++week) weekdays += "MTWTFSS ";
    std::string text = Line("# busy", width, weekdays);
    for (std::size_t at = 0; at < months.size(); ++at) {
        const year_month month = months[at];
        text += "\n" + Line(MonthTitle(month), width, Cells(month, [](unsigned day) {
                                return static_cast<char>('0' + day % 10);
                            }));
        for (const BusyMonths& busy : mailboxes) {
            text += Line(busy.mailbox, width, Cells(month, [&busy, at](unsigned day) {
                             return busy.days[at].contains(day) ? '#' : '.';
                         }));
        }
        text += Line("free for all:", width, Ranges(DaysFreeForAll(month, at, mailboxes)));
    }
    return text;
}

}  // namespace tarnwick::admin

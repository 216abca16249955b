#include "tools/admin/MonthGrid.h"

#include <array>
#include <cstdio>

#include "common/Text.h"

namespace tarnwick::admin {
namespace {

using std::chrono::days;
using std::chrono::Monday;
using std::chrono::sys_days;
using std::chrono::year_month;
using std::chrono::year_month_day;

constexpr unsigned kDaysPerWeek = 7;

sys_days MondayOf(sys_days date) {
    return date - (std::chrono::weekday(date) - Monday);
}

std::string Cell(unsigned day, bool busy) {
    char text[16];
    std::snprintf(text, sizeof text, busy ? " [%2u]" : "  %2u ", day);
    return text;
}

std::string WeekRow(sys_days monday, year_month month, const std::set<unsigned>& busyDays) {
    char number[16];
    std::snprintf(number, sizeof number, "  %2u |", IsoWeek(monday));
    std::string row = number;
    for (unsigned at = 0; at < kDaysPerWeek; ++at) {
        const year_month_day date(monday + days(at));
        const auto day = static_cast<unsigned>(date.day());
        const bool inMonth = year_month(date.year(), date.month()) == month;
        row += inMonth ? Cell(day, busyDays.contains(day)) : "     ";
    }
    row.erase(row.find_last_not_of(' ') + 1);
    return row + "\n";
}

}  // namespace

std::set<unsigned> BusyDays(const std::vector<std::string>& scanned) {
    std::set<unsigned> busy;
    for (const std::string& text : scanned) {
        if (text.size() != 2 || text.find_first_not_of("0123456789") != text.npos) continue;
        const auto day = static_cast<unsigned>(ParseInt32(text));
        if (day >= 1 && day <= 31) busy.insert(day);
    }
    return busy;
}

std::string MonthTitle(year_month month) {
    static constexpr std::array<const char*, 12> kMonths{
        "January", "February", "March",     "April",   "May",      "June",
        "July",    "August",   "September", "October", "November", "December"};
    return std::string(kMonths.at(static_cast<unsigned>(month.month()) - 1)) + " " +
           std::to_string(static_cast<int>(month.year()));
}

unsigned LastDayOf(year_month month) {
    return static_cast<unsigned>((month / std::chrono::last).day());
}

unsigned IsoWeek(sys_days date) {
    // A week belongs to the year that holds its Thursday.
    const sys_days thursday = MondayOf(date) + days(3);
    const sys_days newYear = year_month_day(thursday).year() / 1 / 1;
    return static_cast<unsigned>((thursday - newYear).count()) / kDaysPerWeek + 1;
}

std::string MonthGrid(year_month month, const std::set<unsigned>& busyDays,
                      std::string_view title) {
    std::string text = MonthTitle(month) + "  " + std::string(title) + "\n\n";
    text += "week |  Mo   Tu   We   Th   Fr   Sa   Su\n";
    text += "-----+-----------------------------------\n";
    const sys_days last = month / std::chrono::last;
    for (sys_days monday = MondayOf(month / 1); monday <= last; monday += days(kDaysPerWeek)) {
        text += WeekRow(monday, month, busyDays);
    }
    return text + "\n[ ] busy: " + std::to_string(busyDays.size()) + " of " +
           std::to_string(LastDayOf(month)) + " days\n";
}

}  // namespace tarnwick::admin

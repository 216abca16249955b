#include "tools/admin/report/YearStrip.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "tools/admin/EntryText.h"
#include "tools/admin/MonthGrid.h"

namespace tarnwick::admin {
namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month;
using std::chrono::year_month_day;

// Of the squares in a picture of a month, in its own units.
constexpr unsigned kSide = 11;
constexpr unsigned kPitch = 13;
constexpr unsigned kDaysPerWeek = 7;

// The least number of entries of each shade; the classes "d0" to "d4" of the style sheet.
struct Shade {
    std::size_t least;
    const char* style;
    const char* text;
};
constexpr std::array<Shade, 5> kShades{{{0, "d0", "none"},
                                        {1, "d1", "1"},
                                        {2, "d2", "2 or 3"},
                                        {4, "d3", "4 to 7"},
                                        {8, "d4", "8 and more"}}};

const char* ShadeOf(std::size_t entries) {
    const auto above = std::ranges::find_if(
        kShades, [entries](const Shade& shade) { return shade.least > entries; });
    return std::prev(above)->style;
}

std::string MonthName(year_month month) {
    const std::string title = MonthTitle(month);
    return title.substr(0, title.find(' '));
}

// The square of a day; weeks are columns, Monday on top.
void AddSquare(Html& html, unsigned column, unsigned row, const char* style,
               const std::string& title) {
    const Html::Element square = html.Open("rect", {{"x", std::to_string(column * kPitch)},
                                                    {"y", std::to_string(row * kPitch)},
                                                    {"width", std::to_string(kSide)},
                                                    {"height", std::to_string(kSide)},
                                                    {"class", style}});
    html.Add("title", title);
}

// `counts` begin with the first of the month.
void AddMonth(Html& html, year_month month, const std::size_t* counts) {
    const sys_days first = month / 1;
    const auto offset =
        static_cast<unsigned>((std::chrono::weekday(first) - std::chrono::Monday).count());
    const unsigned last = LastDayOf(month);
    const unsigned weeks = (offset + last + kDaysPerWeek - 1) / kDaysPerWeek;
    const std::string width = std::to_string(weeks * kPitch - (kPitch - kSide));
    const std::string height = std::to_string(kDaysPerWeek * kPitch - (kPitch - kSide));
    const Html::Element box = html.Open("div", {{"class", "month"}});
    html.Add("span", MonthName(month).substr(0, 3));
    const Html::Element picture = html.Open(
        "svg", {{"viewBox", "0 0 " + width + " " + height}, {"width", width}, {"height", height}});
    for (unsigned at = 0; at < last; ++at) {
        AddSquare(html, (offset + at) / kDaysPerWeek, (offset + at) % kDaysPerWeek,
                  ShadeOf(counts[at]), DayTitle(first + days(at), counts[at]));
    }
}

// Calls `take` with each month and the counts of its days.
template <typename Take>
void ForEachMonth(std::chrono::year year, const std::vector<std::size_t>& counts, Take take) {
    const std::size_t* of = counts.data();
    for (unsigned number = 1; number <= 12; ++number) {
        const year_month month = year / std::chrono::month(number);
        take(month, of);
        of += LastDayOf(month);
    }
}

void AddMonthTable(Html& html, const std::string& label, const DayCounts& counts,
                   const std::vector<std::size_t>& all) {
    const Html::Element details = html.Open("details");
    html.Add("summary", "The same by months");
    std::vector<std::vector<std::string>> rows;
    ForEachMonth(counts.Year(), all, [&rows](year_month month, const std::size_t* of) {
        const std::size_t* const end = of + LastDayOf(month);
        const auto used = (end - of) - std::count(of, end, std::size_t{0});
        rows.push_back(
            {MonthName(month), std::to_string(used), std::to_string(*std::max_element(of, end))});
    });
    AddTable(html, label, {{"Month"}, {"Days with entries", true}, {"Most on a day", true}}, rows);
}

}  // namespace

std::string ShortDate(sys_days date) {
    const year_month_day parts(date);
    return std::to_string(static_cast<unsigned>(parts.day())) + " " +
           MonthName(parts.year() / parts.month()).substr(0, 3) + " " +
           std::to_string(static_cast<int>(parts.year()));
}

std::string DayTitle(sys_days date, std::size_t entries) {
    return ShortDate(date) + ": " +
           (entries == 0 ? "no entries" : Counted(entries, "entry", "entries"));
}

std::string YearInWords(const DayCounts& counts) {
    const std::vector<std::size_t> all = counts.Days();
    const auto used = static_cast<std::size_t>(
        std::ranges::count_if(all, [](std::size_t count) { return count != 0; }));
    if (used == 0) return "no entries";
    const auto most = std::ranges::max_element(all);
    return Counted(counts.Entries(), "entry", "entries") + " on " + Counted(used, "day", "days") +
           "; most on " + ShortDate(sys_days(counts.Year() / 1 / 1) + days(most - all.begin())) +
           " (" + std::to_string(*most) + ")";
}

void AddYearStrip(Html& html, const std::string& mailbox, const DayCounts& counts) {
    const std::vector<std::size_t> all = counts.Days();
    const std::string words = YearInWords(counts);
    const Html::Element figure = html.Open("figure", {{"class", "year"}});
    {
        const Html::Element caption = html.Open("figcaption");
        html.Add("strong", mailbox);
        html.Text(" " + words);
    }
    const std::string label = mailbox + " in " + std::to_string(static_cast<int>(counts.Year()));
    {
        const Html::Element months = html.Open(
            "div", {{"class", "months"}, {"role", "img"}, {"aria-label", label + ": " + words}});
        ForEachMonth(counts.Year(), all, [&html](year_month month, const std::size_t* of) {
            AddMonth(html, month, of);
        });
    }
    AddMonthTable(html, label + " by months", counts, all);
}

void AddShadeLegend(Html& html) {
    const Html::Element list = html.Open("ul", {{"class", "legend"}});
    for (const Shade& shade : kShades) {
        const Html::Element item = html.Open("li");
        {
            const std::string side = std::to_string(kSide);
            const Html::Element picture =
                html.Open("svg", {{"width", side}, {"height", side}, {"aria-hidden", "true"}});
            const Html::Element square =
                html.Open("rect", {{"width", side}, {"height", side}, {"class", shade.style}});
        }
        html.Text(shade.text);
    }
}

}  // namespace tarnwick::admin

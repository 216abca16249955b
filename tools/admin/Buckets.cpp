#include "tools/admin/Buckets.h"

#include <algorithm>
#include <array>
#include <limits>

#include "provider/CalendarBucketName.h"
#include "tools/admin/MonthGrid.h"
#include "twaicp.h"

namespace tarnwick::admin {
namespace {

using std::chrono::year;
using std::chrono::year_month;

constexpr std::int32_t kFirstSecond = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kLastSecond = std::numeric_limits<std::int32_t>::max();

void AppendIfUsed(std::vector<std::string>& names, const MailboxStore& store,
                  const std::string& name) {
    if (store.HasEntries(name)) names.push_back(name);
}

// In the first and the last year of 32-bit seconds one month is all there is, and the year's own
// bucket is that of the month: each name is taken once.
void AppendNew(std::vector<std::string>& names, const std::vector<std::string>& more) {
    for (const std::string& name : more) {
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
}

// What the names of all month and day buckets of a year have in common: "Y25M".
std::string MonthsPrefix(year wanted) {
    const std::string january = BucketName(PeriodOf(wanted / 1));
    return january.substr(0, january.find('M') + 1);
}

}  // namespace

std::string BucketName(const Period& period) {
    std::array<char, TWAICP_ID_SIZE> name{};
    MakeCalendarBucketName(period.start, period.end, name);
    return name.data();
}

std::set<unsigned> BusyDaysOf(const MailboxStore& store, year_month month) {
    return BusyDays(store.Scan(BucketName(PeriodOf(month))).value_or(std::vector<std::string>{}));
}

std::vector<std::string> BucketsOfMonth(const MailboxStore& store, year_month month) {
    std::vector<std::string> names;
    AppendIfUsed(names, store, BucketName(PeriodOf(month)));
    for (const unsigned day : BusyDaysOf(store, month)) {
        const std::chrono::year_month_day date = month / std::chrono::day(day);
        if (date.ok()) names.push_back(BucketName(DaysFrom(date, date)));
    }
    return names;
}

std::vector<std::string> BucketsOfYear(const MailboxStore& store, year wanted) {
    std::vector<std::string> names;
    AppendIfUsed(names, store, BucketName(DaysFrom(wanted / 1 / 1, wanted / 12 / 31)));
    if (!store.Scan(MonthsPrefix(wanted))) return names;
    for (unsigned month = 1; month <= 12; ++month) {
        const year_month at = wanted / std::chrono::month(month);
        if (IsCalendarMonth(at)) AppendNew(names, BucketsOfMonth(store, at));
    }
    return names;
}

std::vector<std::string> AllBuckets(const MailboxStore& store) {
    std::vector<std::string> names;
    AppendIfUsed(names, store, BucketName({kFirstSecond, kLastSecond}));
    for (year at = YearOf(kFirstSecond); at <= YearOf(kLastSecond); ++at) {
        AppendNew(names, BucketsOfYear(store, at));
    }
    return names;
}

}  // namespace tarnwick::admin

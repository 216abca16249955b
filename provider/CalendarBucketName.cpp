#include "provider/CalendarBucketName.h"

#include <chrono>
#include <cstdio>

#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr int kFirstYear = 2000;

std::chrono::year_month_day DateOf(std::int32_t seconds) {
    const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
    return std::chrono::floor<std::chrono::days>(time);
}

std::string BucketOf(std::chrono::year_month_day first, std::chrono::year_month_day last) {
    if (first.year() != last.year()) return "Y";
    const int year = static_cast<int>(first.year()) - kFirstYear;
    // A whole year's number is not padded, unlike all others: "Y5" beside "Y05M01". Kept, since
    // calendars are looked for under these names.
    if (first.month() != last.month()) return "Y" + std::to_string(year);
    char name[32];
    const auto month = static_cast<unsigned>(first.month());
    if (first.day() != last.day()) {
        std::snprintf(name, sizeof name, "Y%02dM%02u", year, month);
    } else {
        std::snprintf(name, sizeof name, "Y%02dM%02uD%02u", year, month,
                      static_cast<unsigned>(first.day()));
    }
    return name;
}

}  // namespace

void MakeCalendarBucketName(std::int32_t start, std::int32_t end, std::span<char> name) {
    StoreField(name, BucketOf(DateOf(start), DateOf(end)));
}

}  // namespace tarnwick

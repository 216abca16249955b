#include "tools/admin/DayCounts.h"

#include <algorithm>

namespace tarnwick::admin {
namespace {

using std::chrono::days;
using std::chrono::floor;
using std::chrono::January;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;

sys_days FirstDayOf(std::chrono::year year) {
    return year / January / 1;
}

}  // namespace

DayCounts::DayCounts(std::chrono::year year) : year_(year) {
    const days length = FirstDayOf(year + std::chrono::years(1)) - FirstDayOf(year);
    steps_.resize(static_cast<std::size_t>(length.count()) + 1);
}

void DayCounts::Take(std::int32_t start, std::int32_t end) {
    const auto dayOf = [this](std::int32_t time) {
        return (floor<days>(sys_seconds(seconds(time))) - FirstDayOf(year_)).count();
    };
    const auto length = static_cast<std::int64_t>(steps_.size()) - 1;
    const std::int64_t first = std::max<std::int64_t>(dayOf(start), 0);
    const std::int64_t last = std::min<std::int64_t>(dayOf(std::max(start, end)), length - 1);
    if (first > last) return;
    ++entries_;
    ++steps_[static_cast<std::size_t>(first)];
    --steps_[static_cast<std::size_t>(last) + 1];
}

std::vector<std::size_t> DayCounts::Days() const {
    std::vector<std::size_t> counts;
    std::int64_t count = 0;
    for (std::size_t at = 0; at + 1 < steps_.size(); ++at) {
        count += steps_[at];
        counts.push_back(static_cast<std::size_t>(count));
    }
    return counts;
}

}  // namespace tarnwick::admin

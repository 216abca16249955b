#include "Library/convert/Schedule.h"

namespace tarnwick {

std::int64_t ZonedTime::ToUtc() const {
    return zone ? zone->offsets.ToUtc(date.seconds) : date.seconds;
}

Occurrences OccurrencesOf(std::span<const Schedule* const> schedules,
                          const OccurrenceWindow& window) {
    Occurrences occurrences;
    for (std::size_t number = 0; number < schedules.size(); ++number) {
        const Schedule& schedule = *schedules[number];
        if (!schedule.start) continue;
        const std::int64_t start = schedule.start->ToUtc();
        if (start >= window.until || (window.from && start < *window.from)) continue;
        const std::int64_t end = schedule.end ? schedule.end->ToUtc() : start;
        occurrences.within.push_back({start, end, number});
    }
    return occurrences;
}

}  // namespace tarnwick

// Local times of a zone to UTC and back, a null zone being UTC.
#pragma once

#include <cstdint>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/Schedule.h"

namespace tarnwick {

// By which a time on clocks may lie from the one in UTC, and a little.
inline constexpr std::int64_t kMostOffset = 2 * kSecondsPerDay;

inline std::int64_t ToUtc(const Zone* zone, std::int64_t local) {
    return zone != nullptr ? zone->offsets.ToUtc(local) : local;
}

// ToUtc for times that mostly follow one another.
class ZoneClock {
  public:
    explicit ZoneClock(const Zone* zone) : zone_(zone) {}

    std::int64_t ToUtc(std::int64_t local) {
        if (zone_ == nullptr) return local;
        if (local < from_ || local >= until_) {
            from_ = local;
            until_ = zone_->offsets.SameUntil(local);
            offset_ = local - zone_->offsets.ToUtc(local);
        }
        return local - offset_;
    }

  private:
    const Zone* zone_;
    std::int64_t from_ = 0;  // local times from here to `until_` have the offset
    std::int64_t until_ = 0;
    std::int64_t offset_ = 0;
};

// What clocks in a zone show at a time in UTC. The second of two times that they show alike, which
// no local time stands for, gives one that does not lead back to it.
inline std::int64_t ToLocal(const Zone* zone, std::int64_t utc) {
    // From behind: a skipped time has the same instant as the one that the clocks show instead.
    std::int64_t local = utc + kSecondsPerDay;
    for (int guess = 0; guess < 3; ++guess) local += utc - ToUtc(zone, local);
    return local;
}

inline std::int64_t LocalIn(const Zone* zone, const ZonedTime& time) {
    const bool isSame = time.zone.get() == zone && (zone == nullptr || !time.date.isUtc);
    return isSame || time.date.isDate ? time.date.seconds : ToLocal(zone, time.ToUtc());
}

}  // namespace tarnwick

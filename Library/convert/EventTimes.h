// The times of one event on the clocks of its zone, one after another, and those clocks: times of a
// zone to UTC and back, a null zone being UTC.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/PatternOccurrences.h"
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

// Times that are looked at for one event: two years of minutes, which a count may make necessary.
inline constexpr int kMostTimes = 1'000'000;

// One RRULE or EXRULE, its next time at hand.
class RuleTimes {
  public:
    RuleTimes(RecurrencePattern pattern, const ZonedTime& start, bool countsStart);

    // Before anything else; as PatternOccurrences has it.
    void SkipTo(std::int64_t local) { times_->SkipTo(local); }
    void Advance();
    std::optional<std::int64_t> Current() const { return next_; }
    bool IsEndless() const { return isEndless_; }

  private:
    ZoneClock clock_;
    bool isEndless_;
    std::optional<std::int64_t> untilInUtc_;
    std::optional<PatternOccurrences> times_;
    std::optional<std::int64_t> next_;
};

// A time of an event on the clocks of its zone.
struct EventTime {
    std::int64_t local = 0;
    const AddedTime* addition = nullptr;  // which gives it, if one does
    bool isEndless = false;               // a rule without end gives it
};

// The times of an event: its start, its rules and additions together, less its exception rules.
class EventTimes {
  public:
    // Times before `from` need not come.
    EventTimes(const Schedule& event, std::int64_t from);

    std::optional<EventTime> Next();

    EventTimes(const EventTimes&) = delete;
    EventTimes& operator=(const EventTimes&) = delete;

    // Whether there may be more that were not looked at.
    bool IsCut() const { return isCut_; }

  private:
    using Addition = std::pair<std::int64_t, const AddedTime*>;

    static void AddRules(std::vector<RuleTimes>& rules, std::span<const std::string> texts,
                         const ZonedTime& start, std::int64_t from, bool countsStart);

    std::optional<EventTime> NextOfAll();

    bool IsExcepted(std::int64_t local);

    AddedTime start_;
    std::vector<RuleTimes> rules_;
    std::vector<RuleTimes> exceptions_;
    std::vector<Addition> additions_;  // in their order
    std::size_t addition_ = 0;
    int left_ = kMostTimes;
    bool isCut_ = false;
};

}  // namespace tarnwick

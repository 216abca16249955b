#include "Library/convert/Schedule.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/PatternOccurrences.h"

namespace tarnwick {
namespace {

// No event has more; each costs every occurrence some time.
constexpr std::size_t kMostRules = 64;
// Times that are looked at for one event: two years of minutes, which a count may make necessary.
constexpr int kMostTimes = 1'000'000;
// By which a time on clocks may lie from the one in UTC, and a little.
constexpr std::int64_t kMostOffset = 2 * kSecondsPerDay;
// Farther than any time of a text, and far from overflow.
constexpr std::int64_t kFarAway = std::int64_t{1} << 50;

std::int64_t ToUtc(const Zone* zone, std::int64_t local) {
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
std::int64_t ToLocal(const Zone* zone, std::int64_t utc) {
    // From behind: a skipped time has the same instant as the one that the clocks show instead.
    std::int64_t local = utc + kSecondsPerDay;
    for (int guess = 0; guess < 3; ++guess) local += utc - ToUtc(zone, local);
    return local;
}

std::int64_t LocalIn(const Zone* zone, const ZonedTime& time) {
    const bool isSame = time.zone.get() == zone && (zone == nullptr || !time.date.isUtc);
    return isSame || time.date.isDate ? time.date.seconds : ToLocal(zone, time.ToUtc());
}

// Days move the date on the zone's clocks, the rest is exact. There are no lengths below 0.
Occurrence OccurrenceAt(ZoneClock& clock, std::int64_t local, const DurationValue& length,
                        std::size_t schedule) {
    const std::int64_t start = clock.ToUtc(local);
    const std::int64_t moved =
        length.days == 0 ? start : clock.ToUtc(local + length.days * kSecondsPerDay);
    return {start, std::max(start, moved + length.seconds), schedule};
}

DurationValue LengthOf(const ZonedTime& start, const std::optional<ZonedTime>& end,
                       const std::optional<DurationValue>& length) {
    if (end) return {0, end->ToUtc() - start.ToUtc()};
    return length.value_or(DurationValue{start.date.isDate ? 1 : 0, 0});
}

// One RRULE or EXRULE, its next time at hand.
class RuleTimes {
  public:
    RuleTimes(RecurrencePattern pattern, const ZonedTime& start, bool countsStart)
        : clock_(start.zone.get()), isEndless_(!pattern.count && !pattern.until) {
        if (pattern.until && pattern.until->isUtc && start.zone) {
            untilInUtc_ = pattern.until->seconds;
            pattern.until->seconds += kMostOffset;
        }
        if (pattern.count && countsStart) {
            const auto first = PatternOccurrences(pattern, start.date).Next();
            if (first != start.date.seconds) --*pattern.count;
        }
        times_.emplace(pattern, start.date);
    }

    // Before anything else; as PatternOccurrences has it.
    void SkipTo(std::int64_t local) { times_->SkipTo(local); }
    void Advance() {
        do {
            next_ = times_->Next();
        } while (next_ && untilInUtc_ && clock_.ToUtc(*next_) > *untilInUtc_);
    }
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
    EventTimes(const Schedule& event, std::int64_t from) : start_{*event.start, {}, {}} {
        const Zone* zone = event.start->zone.get();
        isCut_ = event.rules.size() > kMostRules || event.exceptionRules.size() > kMostRules;
        additions_.emplace_back(event.start->date.seconds, &start_);
        for (const AddedTime& addition : event.additions) {
            additions_.emplace_back(LocalIn(zone, addition.start), &addition);
        }
        std::ranges::stable_sort(additions_, {}, &Addition::first);
        AddRules(rules_, event.rules, *event.start, from, true);
        AddRules(exceptions_, event.exceptionRules, *event.start, from, false);
    }

    std::optional<EventTime> Next() {
        while (left_ > 0) {
            --left_;
            const std::optional<EventTime> time = NextOfAll();
            if (!time) return time;
            // With nothing left the exceptions may not have been looked at.
            if (!IsExcepted(time->local) && left_ > 0) return time;
        }
        isCut_ = true;
        return std::nullopt;
    }

    EventTimes(const EventTimes&) = delete;
    EventTimes& operator=(const EventTimes&) = delete;

    // Whether there may be more that were not looked at.
    bool IsCut() const { return isCut_; }

  private:
    using Addition = std::pair<std::int64_t, const AddedTime*>;

    static void AddRules(std::vector<RuleTimes>& rules, std::span<const std::string> texts,
                         const ZonedTime& start, std::int64_t from, bool countsStart) {
        for (const std::string& text : texts.first(std::min(texts.size(), kMostRules))) {
            const auto pattern = ParsePattern(text);
            if (!pattern) continue;
            rules.emplace_back(*pattern, start, countsStart);
            rules.back().SkipTo(from);
            rules.back().Advance();
        }
    }

    std::optional<EventTime> NextOfAll() {
        std::optional<EventTime> next;
        if (addition_ < additions_.size()) {
            next = EventTime{additions_[addition_].first, additions_[addition_].second};
        }
        for (const RuleTimes& rule : rules_) {
            const auto time = rule.Current();
            if (time && (!next || *time < next->local)) next = EventTime{*time};
        }
        if (!next) return next;
        for (; addition_ < additions_.size() && additions_[addition_].first == next->local;
             ++addition_) {
            const AddedTime* addition = additions_[addition_].second;
            if (addition->end || addition->length) next->addition = addition;
        }
        for (RuleTimes& rule : rules_) {
            if (rule.Current() != next->local) continue;
            next->isEndless = next->isEndless || rule.IsEndless();
            rule.Advance();
        }
        return next;
    }

    bool IsExcepted(std::int64_t local) {
        bool is = false;
        for (RuleTimes& rule : exceptions_) {
            const auto isBehind = [&] { return rule.Current() && *rule.Current() < local; };
            for (; isBehind() && left_ > 0; --left_) rule.Advance();
            is = is || rule.Current() == local;
        }
        return is;
    }

    AddedTime start_;
    std::vector<RuleTimes> rules_;
    std::vector<RuleTimes> exceptions_;
    std::vector<Addition> additions_;  // in their order
    std::size_t addition_ = 0;
    int left_ = kMostTimes;
    bool isCut_ = false;
};

// Times that EXDATE or RECURRENCE-ID name. A time means the occurrence of its instant, a date those
// of its day; for an event of whole days either means the day.
class NamedTimes {
  public:
    void Add(const ZonedTime& time) {
        const std::int64_t day = DayOf(time.date.seconds);
        days_.push_back(day);
        if (time.date.isDate) {
            dates_.push_back(day);
        } else {
            instants_.push_back(time.ToUtc());
        }
    }
    // To be called once behind the last Add.
    void Sort() {
        for (auto* times : {&instants_, &dates_, &days_}) std::ranges::sort(*times);
    }
    bool Have(std::int64_t utc, std::int64_t local, bool ofWholeDays) const {
        const auto& days = ofWholeDays ? days_ : dates_;
        return std::ranges::binary_search(days, DayOf(local)) ||
               (!ofWholeDays && std::ranges::binary_search(instants_, utc));
    }

  private:
    std::vector<std::int64_t> instants_;
    std::vector<std::int64_t> dates_;
    std::vector<std::int64_t> days_;  // those of all times
};

// What RANGE=THISANDFUTURE does to the occurrences behind a time in UTC.
struct Move {
    std::int64_t behind;
    std::int64_t shift;  // on the clocks of the event's zone
    DurationValue length;
    std::size_t schedule;
    bool isCancelled;
};

class Expansion {
  public:
    Expansion(std::span<const Schedule* const> schedules, const OccurrenceWindow& window)
        : schedules_(schedules),
          until_(std::clamp(window.until, -kFarAway, kFarAway)),
          from_(std::clamp(window.from.value_or(-kFarAway), -kFarAway, until_)) {}

    Occurrences Run() {
        ChooseReplacements();
        for (std::size_t number = 0; number < schedules_.size(); ++number) {
            const Schedule& event = *schedules_[number];
            if (event.start && !event.replaces && !event.isCancelled) Expand(number);
            for (auto* found : {&within_, &beyond_}) {
                if (found->size() > 4 * kMostOccurrences) KeepFirst(*found);
            }
        }
        KeepFirst(within_);
        KeepFirst(beyond_);
        Occurrences all;
        all.within.reserve(within_.size());
        for (const Found& found : within_) all.within.push_back(found.second);
        all.beyond = beyond_.size();
        for (const std::size_t number : replacements_) {
            const Schedule& event = *schedules_[number];
            if (event.isCancelled) continue;
            ZoneClock clock(event.start->zone.get());
            const Occurrence occurrence =
                OccurrenceAt(clock, event.start->date.seconds,
                             LengthOf(*event.start, event.end, event.length), number);
            if (occurrence.start >= until_) {
                ++all.beyond;
            } else if (occurrence.start >= from_) {
                all.within.push_back(occurrence);
            }
        }
        std::ranges::sort(all.within);
        all.isEndless = isEndless_;
        if (isEndless_) all.beyond = 0;
        all.isCut = isCut_ || all.within.size() > kMostOccurrences || all.beyond > kMostOccurrences;
        all.within.resize(std::min(all.within.size(), kMostOccurrences));
        all.beyond = std::min(all.beyond, kMostOccurrences);
        return all;
    }

  private:
    // An occurrence with the time in UTC at which it would be if nothing moved it.
    using Found = std::pair<std::int64_t, Occurrence>;

    // Sorts them and drops what is there twice, or too much even so.
    static void KeepFirst(std::vector<Found>& found) {
        std::ranges::sort(found);
        const auto isSame = [](const Found& one, const Found& other) {
            return one.first == other.first;
        };
        found.erase(std::unique(found.begin(), found.end(), isSame), found.end());
        if (found.size() > kMostOccurrences) found.resize(kMostOccurrences + 1);
    }

    // Of several for one occurrence the last holds.
    void ChooseReplacements() {
        std::map<std::pair<bool, std::int64_t>, std::size_t> chosen;
        for (std::size_t number = 0; number < schedules_.size(); ++number) {
            const Schedule& event = *schedules_[number];
            if (!event.replaces || (!event.start && !event.isCancelled)) continue;
            chosen[{event.replaces->date.isDate, event.replaces->ToUtc()}] = number;
        }
        for (const auto& [time, number] : chosen) {
            replacements_.push_back(number);
            replaced_.Add(*schedules_[number]->replaces);
        }
        replaced_.Sort();
    }

    // In the order of their times.
    std::vector<Move> MovesOf(const ZonedTime& start) const {
        std::vector<Move> moves;
        const Zone* zone = start.zone.get();
        for (const std::size_t number : replacements_) {
            const Schedule& event = *schedules_[number];
            if (!event.replacesFollowing) continue;
            const ZonedTime& named = *event.replaces;
            Move move{named.ToUtc(), 0, {}, number, event.isCancelled};
            std::int64_t local = LocalIn(zone, named);
            if (named.date.isDate || start.date.isDate) {
                const std::int64_t midnight = DayOf(named.date.seconds) * kSecondsPerDay;
                move.behind = ToUtc(zone, midnight + kSecondsPerDay - 1);
                local = midnight + start.date.seconds - DayOf(start.date.seconds) * kSecondsPerDay;
            }
            if (!event.isCancelled) {
                move.shift = LocalIn(zone, *event.start) - local;
                move.length = LengthOf(*event.start, event.end, event.length);
            }
            moves.push_back(move);
        }
        std::ranges::stable_sort(moves, {}, &Move::behind);
        return moves;
    }

    void Expand(std::size_t number) {
        const Schedule& event = *schedules_[number];
        const bool ofWholeDays = event.start->date.isDate;
        const DurationValue length = LengthOf(*event.start, event.end, event.length);
        const std::vector<Move> moves = MovesOf(*event.start);
        std::int64_t earlier = 0;
        std::int64_t later = 0;
        for (const Move& move : moves) {
            earlier = std::min(earlier, move.shift);
            later = std::max(later, move.shift);
        }
        NamedTimes excluded;
        for (const ZonedTime& time : event.exceptions) excluded.Add(time);
        excluded.Sort();

        ZoneClock eventClock(event.start->zone.get());
        EventTimes times(event, from_ - later - kMostOffset);
        const std::size_t mostWithin = within_.size() + kMostOccurrences;
        const std::size_t mostBeyond = beyond_.size() + kMostOccurrences;
        while (const auto time = times.Next()) {
            const AddedTime* addition = time->addition;
            const ZonedTime& given = addition != nullptr ? addition->start : *event.start;
            ZoneClock otherClock(given.zone.get());
            ZoneClock& clock = given.zone == event.start->zone ? eventClock : otherClock;
            std::int64_t local = addition != nullptr ? given.date.seconds : time->local;
            const std::int64_t utc = clock.ToUtc(local);
            if (excluded.Have(utc, local, ofWholeDays) || replaced_.Have(utc, local, ofWholeDays)) {
                continue;
            }
            DurationValue own = length;
            if (addition != nullptr && (addition->end || addition->length)) {
                own = LengthOf(given, addition->end, addition->length);
            }
            std::size_t schedule = number;
            const auto behind = std::ranges::lower_bound(moves, utc, {}, &Move::behind);
            if (behind != moves.begin()) {
                const Move& move = *std::prev(behind);
                if (move.isCancelled && behind == moves.end()) break;
                if (move.isCancelled) continue;
                local += move.shift;
                own = move.length;
                schedule = move.schedule;
            }
            const Occurrence occurrence = OccurrenceAt(clock, local, own, schedule);
            if (occurrence.start >= until_) {
                isEndless_ = isEndless_ || time->isEndless;
                beyond_.emplace_back(utc, occurrence);
                const bool isLast = time->local >= until_ - earlier + kMostOffset;
                if (isLast && (isEndless_ || beyond_.size() > mostBeyond)) break;
            } else if (occurrence.start >= from_) {
                within_.emplace_back(utc, occurrence);
                if (within_.size() <= mostWithin) continue;
                isEndless_ = isEndless_ || time->isEndless;
                break;
            }
        }
        isCut_ = isCut_ || times.IsCut();
    }

    std::span<const Schedule* const> schedules_;
    std::int64_t until_;
    std::int64_t from_;
    std::vector<std::size_t> replacements_;
    NamedTimes replaced_;
    std::vector<Found> within_;
    std::vector<Found> beyond_;
    bool isEndless_ = false;
    bool isCut_ = false;
};

}  // namespace

std::int64_t ZonedTime::ToUtc() const {
    return zone ? zone->offsets.ToUtc(date.seconds) : date.seconds;
}

Occurrences OccurrencesOf(std::span<const Schedule* const> schedules,
                          const OccurrenceWindow& window) {
    return Expansion(schedules, window).Run();
}

}  // namespace tarnwick

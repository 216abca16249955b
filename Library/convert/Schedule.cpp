#include "Library/convert/Schedule.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/EventTimes.h"

namespace tarnwick {
namespace {

// Farther than any time of a text, and far from overflow.
constexpr std::int64_t kFarAway = std::int64_t{1} << 50;

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

#include "Library/convert/EventTimes.h"

#include <algorithm>

namespace tarnwick {
namespace {

// No event has more; each costs every occurrence some time.
constexpr std::size_t kMostRules = 64;

}  // namespace

RuleTimes::RuleTimes(RecurrencePattern pattern, const ZonedTime& start, bool countsStart)
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

void RuleTimes::Advance() {
    do {
        next_ = times_->Next();
    } while (next_ && untilInUtc_ && clock_.ToUtc(*next_) > *untilInUtc_);
}

EventTimes::EventTimes(const Schedule& event, std::int64_t from) : start_{*event.start, {}, {}} {
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

std::optional<EventTime> EventTimes::Next() {
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

void EventTimes::AddRules(std::vector<RuleTimes>& rules, std::span<const std::string> texts,
                          const ZonedTime& start, std::int64_t from, bool countsStart) {
    for (const std::string& text : texts.first(std::min(texts.size(), kMostRules))) {
        const auto pattern = ParsePattern(text);
        if (!pattern) continue;
        rules.emplace_back(*pattern, start, countsStart);
        rules.back().SkipTo(from);
        rules.back().Advance();
    }
}

std::optional<EventTime> EventTimes::NextOfAll() {
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

bool EventTimes::IsExcepted(std::int64_t local) {
    bool is = false;
    for (RuleTimes& rule : exceptions_) {
        const auto isBehind = [&] { return rule.Current() && *rule.Current() < local; };
        for (; isBehind() && left_ > 0; --left_) rule.Advance();
        is = is || rule.Current() == local;
    }
    return is;
}

}  // namespace tarnwick

// A start in the first line, rules in the others: going through their times ends, and the times
// come in their order, none before the start.
#include "fuzz/Fuzz.h"
#include "Library/convert/PatternOccurrences.h"
#include "Library/convert/Schedule.h"

namespace tarnwick::fuzz {
namespace {

std::string_view TakeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() == text.size() ? line.size() : line.size() + 1);
    return line;
}

void GoThrough(const RecurrencePattern& pattern, const DateValue& start) {
    PatternOccurrences times(pattern, start);
    std::int64_t last = start.seconds - 1;
    auto time = times.Next();
    for (int left = 300; time && left > 0; --left) {
        Require(*time > last);
        last = *time;
        time = times.Next();
    }
    if (pattern.count) return;
    PatternOccurrences rest(pattern, start);
    rest.SkipTo(last);
    Require(last < start.seconds || (rest.Next() == last && rest.Next() == time));
}

}  // namespace

void Check(std::string_view text) {
    const auto start = ParseDateValue(TakeLine(text));
    if (!start) return;
    Schedule schedule;
    schedule.start = ZonedTime{*start, nullptr};
    while (!text.empty() && schedule.rules.size() < 4) {
        const std::string_view line = TakeLine(text);
        if (const auto pattern = ParsePattern(line)) GoThrough(*pattern, *start);
        schedule.rules.emplace_back(line);
    }
    const Schedule* const one = &schedule;
    const auto found = OccurrencesOf({&one, 1}, {start->seconds, start->seconds + 86400});
    Require(!found.within.empty() && found.within.front().start == start->seconds);
    for (std::size_t at = 1; at < found.within.size(); ++at) {
        Require(found.within[at - 1].start < found.within[at].start);
    }
}

}  // namespace tarnwick::fuzz

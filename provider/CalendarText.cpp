#include "provider/CalendarText.h"

#include <charconv>

#include "common/Text.h"
#include "common/TextFile.h"

namespace tarnwick {
namespace {

constexpr std::size_t kLargestNumber = 11;
// A separator and two numbers, each with its tab.
constexpr std::size_t kLargestLineHead = 2 + 2 * (kLargestNumber + 1);

char* PutField(char* at, std::int32_t number) {
    at = std::to_chars(at, at + kLargestNumber, number).ptr;
    *at++ = '\t';
    return at;
}

}  // namespace

// Rewritten from its entry a line loses leading zeros, plus signs and spaces of its numbers: kept
// for compatibility.
CalendarEntry EntryIn(const CalendarLine& line) {
    return {ParseInt32(line.start), ParseInt32(line.end), line.id};
}

void CalendarBuilder::Append(const CalendarEntry& entry) {
    char head[kLargestLineHead];
    char* at = head;
    if (lines_ > 0) {
        *at++ = '\r';
        *at++ = '\n';
    }
    at = PutField(PutField(at, entry.start), entry.end);
    bytes_.append(head, static_cast<std::size_t>(at - head));
    AppendTextMode(bytes_, entry.id);
    ++lines_;
}

ChangedCalendar ChangeCalendar(CalendarReader& calendar, std::size_t size,
                               const CalendarChange& change) {
    ChangedCalendar changed{CalendarBuilder(size + kLargestLineHead + change.entry.id.size()),
                            false};
    while (calendar.Next()) {
        const CalendarLine& line = calendar.Line();
        if (line.blank) continue;
        const bool matches = MatchesId(change.wantedId, line.id);
        changed.matched = changed.matched || matches;
        if (!matches || change.action == MatchAction::Keep) {
            changed.content.Append(EntryIn(line));
        } else if (change.action == MatchAction::Replace) {
            changed.content.Append(change.entry);
        }
    }
    if (change.action == MatchAction::Keep && !changed.matched)
        changed.content.Append(change.entry);
    return changed;
}

}  // namespace tarnwick

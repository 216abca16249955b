#include "provider/CalendarText.h"

#include <charconv>
#include <utility>

#include "common/Text.h"

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

// Whether the line stands in its file as it would be written.
bool IsPrintedForm(const CalendarLine& line) {
    // A line that lacks a tab has more in its parts than in its text.
    const std::size_t parts = line.start.size() + 1 + line.end.size() + 1 + line.id.size();
    return parts == line.text.size() && IsPrintedInt32(line.start) && IsPrintedInt32(line.end);
}

}  // namespace

// Rewritten from its entry a line loses leading zeros, plus signs and spaces of its numbers: kept
// for compatibility.
CalendarEntry EntryIn(const CalendarLine& line) {
    return {ParseInt32(line.start), ParseInt32(line.end), line.id};
}

void CalendarBuilder::Append(const CalendarEntry& entry) {
    run_.End(bytes_);
    char head[kLargestLineHead];
    char* at = head;
    if (!bytes_.empty()) {
        *at++ = '\r';
        *at++ = '\n';
    }
    at = PutField(PutField(at, entry.start), entry.end);
    bytes_.append(head, static_cast<std::size_t>(at - head));
    AppendTextMode(bytes_, entry.id);
    ++lines_;
}

void CalendarBuilder::Append(const CalendarLine& line) {
    if (!IsPrintedForm(line)) return Append(EntryIn(line));
    run_.Add(bytes_, line.text);
    ++lines_;
}

std::string CalendarBuilder::TakeBytes() {
    run_.End(bytes_);
    return std::move(bytes_);
}

ChangedCalendar ChangeCalendar(std::string_view bytes, const CalendarChange& change) {
    CalendarBuilder content(bytes.size() + kLargestLineHead + change.entry.id.size());
    bool matched = false;
    CalendarReader calendar(bytes);
    while (calendar.Next()) {
        const CalendarLine& line = calendar.Line();
        if (line.text.empty()) continue;
        const bool matches = MatchesId(change.wantedId, line.id);
        matched = matched || matches;
        if (!matches || change.action == MatchAction::Keep) {
            content.Append(line);
        } else if (change.action == MatchAction::Replace) {
            content.Append(change.entry);
        }
    }
    if (change.action == MatchAction::Keep && !matched) content.Append(change.entry);
    return {content.TakeBytes(), content.Lines(), matched};
}

}  // namespace tarnwick

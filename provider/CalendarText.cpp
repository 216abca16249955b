#include "provider/CalendarText.h"

#include <charconv>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr std::size_t kLineBufferSize = 1024;
constexpr std::size_t kLargestNumber = 11;
// A separator and two numbers, each with its tab.
constexpr std::size_t kLargestLineHead = 2 + 2 * (kLargestNumber + 1);

char* PutField(char* at, std::int32_t number) {
    at = std::to_chars(at, at + kLargestNumber, number).ptr;
    *at++ = '\t';
    return at;
}

}  // namespace

bool MatchesId(std::string_view wanted, std::string_view id) {
    return wanted.empty() || EqualsIgnoreCase(wanted, id);
}

CalendarReader::CalendarReader(std::string_view bytes) : lines_(bytes, kLineBufferSize) {}

std::optional<CalendarEntry> CalendarReader::NextEntry() {
    for (;;) {
        const auto line = NextLine();
        if (!line) return std::nullopt;
        if (!line->empty()) return Parse(*line);
    }
}

CalendarEntry CalendarReader::Parse(std::string_view line) {
    const std::size_t firstTab = FindByte(line, '\t');
    const std::int32_t start = ParseInt32(line.substr(0, firstTab));
    // A line without a tab ends when it starts and keeps the ID of the line before it.
    if (firstTab == kNotFound) return {start, start, previousId_};
    const std::string_view rest = line.substr(firstTab + 1);
    const std::size_t secondTab = FindByte(rest, '\t');
    // With one tab the last field stands for the missing one. Behind the second tab all is ID, so
    // that nothing of a line is lost when it is written back.
    previousId_ = secondTab == kNotFound ? rest : rest.substr(secondTab + 1);
    return {start, ParseInt32(rest.substr(0, secondTab)), previousId_};
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

ChangedCalendar ChangeCalendar(std::string_view bytes, const CalendarChange& change) {
    ChangedCalendar changed{
        CalendarBuilder(bytes.size() + kLargestLineHead + change.entry.id.size()), false};
    CalendarReader reader(bytes);
    while (const auto entry = reader.NextEntry()) {
        const bool matches = MatchesId(change.wantedId, entry->id);
        changed.matched = changed.matched || matches;
        if (!matches || change.action == MatchAction::Keep) {
            changed.content.Append(*entry);
        } else if (change.action == MatchAction::Replace) {
            changed.content.Append(change.entry);
        }
    }
    if (change.action == MatchAction::Keep && !changed.matched)
        changed.content.Append(change.entry);
    return changed;
}

}  // namespace tarnwick

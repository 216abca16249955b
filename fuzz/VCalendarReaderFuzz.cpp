// Any text: reading ends, and what was read is written and read again to the same text; the lines
// of each item read back to the same lines and the same times.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Library/convert/CalendarReader.h"
#include "Library/convert/ItemText.h"

namespace {

using namespace tarnwick;

std::string TextOf(CalendarItem& item) {
    const bool isEvent = item.kind == ItemKind::Event;
    return isEvent ? EventText(item.properties) : TaskText(item.properties);
}

// A subject, a UID or a location in which a line looks like one of the writer's own may read back
// otherwise. Bodies do not matter.
bool HasLineBreak(const CalendarItem& item) {
    return std::any_of(item.properties.begin(), item.properties.end(), [](const auto& property) {
        const auto* text = std::get_if<std::string>(&property.value);
        return text != nullptr && property.name != "PR_BODY" &&
               text->find('\n') != std::string::npos;
    });
}

// What could be the end of one item and the beginning of the next.
bool HasItemsWithin(const CalendarItem& item) {
    const auto* body = item.properties.Find("PR_BODY");
    return body != nullptr &&
           std::get<std::string>(*body).find("BEGIN:VCALENDAR") != std::string::npos;
}

void CheckOwnText(CalendarItem& item) {
    if (HasLineBreak(item) || HasItemsWithin(item)) return;
    const std::string text = TextOf(item);
    auto again = ReadCalendarText(text);
    if (again.items.size() != 1 || TextOf(again.items[0]) != text) std::abort();
}

std::vector<std::int64_t> TimesOf(const Schedule& schedule) {
    std::vector<std::int64_t> times;
    const auto add = [&times](const ZonedTime& time) { times.push_back(time.ToUtc()); };
    for (const auto* time : {&schedule.start, &schedule.end, &schedule.replaces}) {
        times.push_back(time->has_value());
        if (*time) add(**time);
    }
    for (const AddedTime& added : schedule.additions) {
        add(added.start);
        if (added.end) add(*added.end);
    }
    for (const ZonedTime& exception : schedule.exceptions) add(exception);
    if (schedule.length)
        times.insert(times.end(), {schedule.length->days, schedule.length->seconds});
    times.push_back(schedule.replacesFollowing * 2 + schedule.isCancelled);
    return times;
}

// What a text assumes of times and ranges is assumed again.
bool IsAssumption(const ReadProblem& note) {
    return note.reason.ends_with("are taken as UTC") ||
           note.reason.ends_with("this occurrence alone is replaced");
}

void CheckLines(const CalendarItem& item) {
    std::string text = "BEGIN:VCALENDAR\nVERSION:2.0\n";
    for (const auto& zone : item.zones) text += zone->lines;
    const CalendarReading again = ReadCalendarText(text + item.lines + "END:VCALENDAR\n");
    if (again.items.size() != 1 || again.items[0].lines != item.lines ||
        TimesOf(again.items[0].schedule) != TimesOf(item.schedule) ||
        again.items[0].schedule.rules != item.schedule.rules ||
        again.items[0].schedule.exceptionRules != item.schedule.exceptionRules ||
        again.items[0].zones.size() != item.zones.size() ||
        !std::all_of(again.notes.begin(), again.notes.end(), IsAssumption)) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto reading = ReadCalendarText({reinterpret_cast<const char*>(data), size});
    if (reading.failure && (reading.failure->line == 0 || !reading.items.empty())) std::abort();
    for (CalendarItem& item : reading.items) {
        CheckOwnText(item);
        if (!item.lines.empty()) CheckLines(item);
    }
    return 0;
}

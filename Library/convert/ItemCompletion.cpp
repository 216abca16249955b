#include <algorithm>
#include <utility>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/ItemReader.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceReader.h"
#include "Library/convert/RecurrenceRule.h"

namespace tarnwick {
namespace {

// Days move the date on the zone's clocks, the rest is exact.
std::int64_t EndAfter(const ZonedTime& start, const DurationValue& length) {
    ZonedTime moved = start;
    moved.date.seconds += length.days * kSecondsPerDay;
    return moved.ToUtc() + length.seconds;
}

void SetDate(PendingItem& pending, const char* name, std::int64_t seconds) {
    if (const auto fileTime = FileTimeOfUnixSeconds(seconds)) {
        pending.item.properties.Set(name, *fileTime);
    } else {
        pending.unheld.push_back(
            {pending.item.line, "the properties do not hold a date before 1601 or so late"});
    }
}

void SetDates(PendingItem& pending) {
    const CalendarItem& item = pending.item;
    const Schedule& schedule = item.schedule;
    const bool isEvent = item.kind == ItemKind::Event;
    const char* const endName = isEvent ? property::kEventEnd : property::kDueDate;
    if (schedule.start) {
        SetDate(pending, isEvent ? property::kEventStart : property::kTaskStart,
                schedule.start->ToUtc());
    }
    if (schedule.end) {
        SetDate(pending, endName, schedule.end->ToUtc());
    } else if (schedule.start && schedule.length) {
        SetDate(pending, endName, EndAfter(*schedule.start, *schedule.length));
    } else if (schedule.start && isEvent && !pending.isOwn) {
        // An event without an end ends with its start, or with its day.
        const DurationValue length{schedule.start->date.isDate ? 1 : 0, 0};
        SetDate(pending, endName, EndAfter(*schedule.start, length));
    }
}

void SetRule(PendingItem& pending) {
    CalendarItem& item = pending.item;
    const auto& start = item.schedule.start;
    const auto parts = ParseRule(pending.rule);
    if (!parts || !SetRecurrence(item.properties, *parts, start)) {
        pending.unheld.push_back(
            {pending.ruleLine, "the properties do not hold a recurrence of this kind"});
    } else if (start && HasChangingClocks(*start)) {
        pending.unheld.push_back(
            {pending.ruleLine, "the properties repeat at the same time in UTC, not in the zone"});
    }
}

// Calls `change` with each time of a schedule.
template <typename Change>
void ForEachTime(Schedule& schedule, Change change) {
    for (auto* time : {&schedule.start, &schedule.end, &schedule.replaces}) {
        if (*time) change(**time);
    }
    for (AddedTime& added : schedule.additions) {
        change(added.start);
        if (added.end) change(*added.end);
    }
    for (ZonedTime& exception : schedule.exceptions) change(exception);
}

std::string ZoneParameter(const std::string& name) {
    const bool isQuoted = name.find_first_of(":;,") != name.npos;
    std::string value = name;
    std::replace(value.begin(), value.end(), '"', '\'');
    return ";TZID=" + (isQuoted ? "\"" + value + "\"" : value);
}

struct LineEdit {
    LinePlace place;
    std::string text;  // what stands there instead
};

std::string Edited(const std::string& lines, std::vector<LineEdit>& edits) {
    std::sort(edits.begin(), edits.end(), [](const LineEdit& left, const LineEdit& right) {
        // What is put in stands before what is replaced.
        return std::pair(left.place.at, left.place.length) <
               std::pair(right.place.at, right.place.length);
    });
    std::string edited;
    std::size_t from = 0;
    for (const LineEdit& edit : edits) {
        edited.append(lines, from, edit.place.at - from).append(edit.text);
        from = edit.place.at + edit.place.length;
    }
    return edited.append(lines, from);
}

void PlaceFloatingTimes(PendingItem& pending, const CalendarFacts& calendar,
                        std::vector<LineEdit>& edits, Remarks& remarks) {
    if (pending.floating.empty()) return;
    CalendarItem& item = pending.item;
    if (!calendar.zone) return remarks.NoteFloating(item.line);
    ForEachTime(item.schedule, [&calendar](ZonedTime& time) {
        if (IsFloating(time)) time.zone = calendar.zone;
    });
    const std::string parameter = ZoneParameter(calendar.zone->name);
    for (const LinePlace& place : pending.floating) edits.push_back({place, parameter});
    if (std::find(item.zones.begin(), item.zones.end(), calendar.zone) == item.zones.end()) {
        item.zones.push_back(calendar.zone);
    }
}

// The lines of an item that its calendar cancels say so themselves.
void Cancel(PendingItem& pending, std::vector<LineEdit>& edits) {
    pending.item.schedule.isCancelled = true;
    if (pending.status.length == 0) pending.status.at = pending.item.lines.find('\n') + 1;
    edits.push_back({pending.status, "STATUS:CANCELLED\n"});
}

// No event ends before it starts: other programs refuse one that says so.
void DropNegativeLength(PendingItem& pending, std::vector<LineEdit>& edits, Remarks& remarks) {
    CalendarItem& item = pending.item;
    Schedule& schedule = item.schedule;
    if (item.kind != ItemKind::Event || !schedule.start) return;
    const auto isLate = [&schedule](const ZonedTime& end) {
        const std::int64_t length = end.ToUtc() - schedule.start->ToUtc();
        // What ends on the day on which it starts would have no day at all.
        const bool areDays = schedule.start->date.isDate && end.date.isDate;
        return areDays ? length > 0 : length >= 0;
    };
    if (schedule.end && !isLate(*schedule.end)) {
        remarks.Note(item.line, "an end that is not behind the start is left out", item.uid);
        schedule.end.reset();
        const LinePlace end = pending.end;
        // The zone of a floating time would stand in the line.
        std::erase_if(edits, [end](const LineEdit& edit) {
            return edit.place.at > end.at && edit.place.at < end.at + end.length;
        });
        edits.push_back({end, {}});
    }
    if (schedule.length && EndAfter(*schedule.start, *schedule.length) < schedule.start->ToUtc()) {
        remarks.Note(item.line, "a duration below 0 is left out", item.uid);
        schedule.length.reset();
        edits.push_back({pending.duration, {}});
    }
}

// What the properties of an own item mean, in the standard's lines and in its schedule.
void Restate(PendingItem& pending, Remarks& remarks) {
    CalendarItem& item = pending.item;
    const bool isEvent = item.kind == ItemKind::Event;
    item.lines = (isEvent ? EventLines : TaskLines)(item.properties);
    const auto holds = [&item](const char* name) { return item.properties.Find(name) != nullptr; };
    Schedule& schedule = item.schedule;
    if (!holds(isEvent ? property::kEventStart : property::kTaskStart)) schedule.start.reset();
    if (!holds(isEvent ? property::kEventEnd : property::kDueDate)) schedule.end.reset();
    std::string rule = StandardRecurrenceRule(item.properties);
    if (!rule.empty()) {
        schedule.rules.push_back(std::move(rule));
    } else if (!pending.rule.empty()) {
        remarks.Note(item.line,
                     "a recurrence that is not understood is left out: " + Excerpt(pending.rule),
                     item.uid);
    }
}

}  // namespace

bool CompleteItem(PendingItem& pending, const CalendarFacts& calendar, Remarks& remarks) {
    CalendarItem& item = pending.item;
    if (pending.isUnreadable) {
        remarks.Note(item.line, "the event is left out; its start cannot be read", item.uid);
        return false;
    }
    std::vector<LineEdit> edits;
    if (calendar.isCancelled && !item.schedule.isCancelled) Cancel(pending, edits);
    if (!pending.isOwn) PlaceFloatingTimes(pending, calendar, edits, remarks);
    if (item.schedule.end && item.schedule.length) {
        remarks.Note(item.line, "the duration is left out beside an end", item.uid);
        item.schedule.length.reset();
        edits.push_back({pending.duration, {}});
    }
    SetDates(pending);
    DropNegativeLength(pending, edits, remarks);
    if (!edits.empty()) item.lines = Edited(item.lines, edits);
    if (!pending.rule.empty()) SetRule(pending);
    if (pending.isOwn) Restate(pending, remarks);
    NameItem(pending.unheld, 0, item.uid);
    remarks.unheld.insert(remarks.unheld.end(), pending.unheld.begin(), pending.unheld.end());
    std::erase_if(item.zones, [](const auto& zone) { return zone->offsets.IsEmpty(); });
    return true;
}

}  // namespace tarnwick

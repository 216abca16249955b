#include "tools/admin/EventEntries.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/ValueText.h"
#include "tools/admin/EventIds.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Names.h"

namespace tarnwick::admin {
namespace {

constexpr std::string_view kItemProducer = "-//Tarnwick//Calendar Item//EN";
// The property of an item that tells from when to when its occurrences were entered.
constexpr std::string_view kEntered = "X-TARNWICK-ENTERED:";

bool FitsEntry(std::int64_t seconds) {
    return seconds >= std::numeric_limits<std::int32_t>::min() &&
           seconds <= std::numeric_limits<std::int32_t>::max();
}

// The entry of an occurrence, without its ID; no value when it does not fit.
std::optional<Entry> EntryOf(const Occurrence& occurrence) {
    const auto [start, end, schedule] = occurrence;
    // What ends at midnight lies within its day.
    const std::int64_t last = end > start && end % kSecondsPerDay == 0 ? end - 1 : end;
    if (!FitsEntry(start) || !FitsEntry(last)) return std::nullopt;
    return Entry{static_cast<std::int32_t>(start), static_cast<std::int32_t>(last), {}};
}

std::string TimeText(std::int64_t seconds) {
    const auto fileTime = FileTimeOfUnixSeconds(seconds);
    return fileTime ? DateText(*fileTime) + "Z" : std::string();
}

const std::string& ItemHead() {
    static const std::string head =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:" + std::string(kItemProducer) + "\r\n";
    return head;
}

std::string EnteredLine(const OccurrenceWindow& window) {
    return std::string(kEntered) + (window.from ? TimeText(*window.from) : "") + "/" +
           TimeText(window.until);
}

std::vector<const Schedule*> SchedulesOf(const std::vector<CalendarItem>& components) {
    std::vector<const Schedule*> schedules;
    schedules.reserve(components.size());
    for (const CalendarItem& component : components) schedules.push_back(&component.schedule);
    return schedules;
}

bool CanRepeat(const std::vector<CalendarItem>& components) {
    const Schedule& schedule = components.front().schedule;
    return components.size() > 1 || !schedule.rules.empty() || !schedule.additions.empty();
}

// The events of a file, those of one UID together, in the order of their first ones.
class EventPlanner {
  public:
    EventPlanner(const EntryWindow& window, const EntryPlaces& places)
        : window_(window), places_(places) {}

    EventFile Plan(CalendarReading reading);

  private:
    struct Group {
        std::vector<CalendarItem> components;
        bool isLeftOut = false;
    };

    void Collect(std::vector<CalendarItem> items);
    void PlanGroup(Group& group);
    bool IsNumberOfOther(std::string_view uid) const;
    std::string MakeId(const Group& group);
    Occurrences OccurrencesIn(const Group& group, OccurrenceWindow& window) const;
    void CountNotes();
    void NoteAbout(const CalendarItem& item, const std::string& reason) {
        file_.notes.push_back({item.line, reason, item.uid});
    }

    const EntryWindow& window_;
    const EntryPlaces& places_;
    std::vector<Group> groups_;
    std::map<std::string, std::size_t, std::less<>> groupOfUid_;
    std::map<std::size_t, std::size_t> groupOfLine_;  // by the lines of the BEGINs
    UniqueIds ids_;
    EventFile file_;
};

void EventPlanner::Collect(std::vector<CalendarItem> items) {
    for (CalendarItem& item : items) {
        if (item.kind != ItemKind::Event) {
            NoteAbout(item, "a task is passed over; calendars hold events");
            continue;
        }
        if (item.schedule.isCancelled && !item.schedule.replaces) {
            NoteAbout(item, "a cancelled event is passed over");
            continue;
        }
        std::size_t group = groups_.size();
        if (!item.uid.empty()) group = groupOfUid_.emplace(item.uid, group).first->second;
        groupOfLine_.emplace(item.line, group);
        if (group == groups_.size()) groups_.emplace_back();
        groups_[group].components.push_back(std::move(item));
    }
}

// Whether a UID is what the second entry of another event in one calendar has as its ID.
bool EventPlanner::IsNumberOfOther(std::string_view uid) const {
    const auto other = groupOfUid_.find(WithoutNumber(uid).value_or(""));
    return other != groupOfUid_.end() && CanRepeat(groups_[other->second].components);
}

std::string EventPlanner::MakeId(const Group& group) {
    const CalendarItem& first = group.components.front();
    if (first.uid.empty()) return ids_.MakeUnique("event~" + Fingerprint(first.lines));
    const auto uid = places_.toCodePage(first.uid);
    // Its replaced name is that of the item which the other's second entry would look for.
    if (IsNumberOfOther(first.uid)) return ids_.MakeUnique(ReplacedName(first.uid + "#1"));
    return ids_.MakeUnique(uid && ProblemWithId(*uid).empty() ? *uid : ReplacedName(first.uid));
}

Occurrences EventPlanner::OccurrencesIn(const Group& group, OccurrenceWindow& window) const {
    const std::vector<const Schedule*> schedules = SchedulesOf(group.components);
    window = {window_.from, window_.until.value_or(window_.defaultUntil)};
    Occurrences found = OccurrencesOf(schedules, window);
    if (!found.within.empty() || window_.until) return found;
    // The first one, far ahead.
    std::optional<std::int64_t> first;
    for (const Schedule* schedule : schedules) {
        if (!schedule->start) continue;
        const std::int64_t start = schedule->start->ToUtc();
        if (start >= window.until && (!first || start < *first)) first = start;
    }
    if (!first) return found;
    window.until = *first + 1;
    return OccurrencesOf(schedules, window);
}

void EventPlanner::PlanGroup(Group& group) {
    const CalendarItem& first = group.components.front();
    OccurrenceWindow window;
    const Occurrences occurrences = OccurrencesIn(group, window);
    PlannedEvent event;
    event.line = first.line;
    event.isChange = std::all_of(group.components.begin(), group.components.end(),
                                 [](const auto& item) { return item.schedule.replaces; });
    event.uid = first.uid;
    std::size_t unfit = 0;
    for (const Occurrence& occurrence : occurrences.within) {
        auto entry = EntryOf(occurrence);
        if (!entry) {
            ++unfit;
            continue;
        }
        event.entries.push_back({places_.calendarOf(entry->start, entry->end), std::move(*entry)});
    }
    SetId(event, MakeId(group));
    file_.beyond += occurrences.beyond;
    file_.endless += occurrences.isEndless ? 1 : 0;
    const bool hasStart = std::any_of(group.components.begin(), group.components.end(),
                                      [](const auto& item) { return item.schedule.start; });
    const bool isCancelled =
        std::all_of(group.components.begin(), group.components.end(),
                    [](const auto& item) { return item.schedule.isCancelled; });
    if (isCancelled) {
        NoteAbout(first,
                  "a cancelled occurrence of an event that is not in the file is passed over");
        return;
    }
    if (!hasStart) NoteAbout(first, "an event without a start is left out");
    if (unfit != 0) {
        NoteAbout(first, "what lies before 1901 or after 2038 is left out: " +
                             Counted(unfit, "occurrence", "occurrences"));
    }
    if (occurrences.isCut) {
        NoteAbout(first, "occurrences beyond the first " + std::to_string(kMostOccurrences) +
                             " are left out");
    }
    const bool neverTakesPlace = hasStart && !window.from && occurrences.within.empty() &&
                                 occurrences.beyond == 0 && !occurrences.isEndless;
    if (neverTakesPlace) {
        NoteAbout(first, "an event is left out; each of its occurrences is excluded");
    }
    group.isLeftOut = !hasStart || neverTakesPlace || (unfit != 0 && event.entries.empty());
    if (event.entries.empty()) return;
    if (first.uid.empty()) {
        NoteAbout(first, "an event without a UID; it is entered as " + event.id);
    }
    CalendarFile item(kItemProducer);
    const bool isSingle = occurrences.within.size() == 1 && occurrences.beyond == 0 &&
                          !occurrences.isEndless && !window.from;
    if (!isSingle) {
        item.AddProperty(EnteredLine(window));
    }
    for (const CalendarItem& component : group.components)
        item.Add(component.lines, component.zones);
    event.itemText = item.Text();
    file_.events.push_back(std::move(event));
}

void EventPlanner::CountNotes() {
    std::set<std::size_t> noted;
    for (const ReadProblem& note : file_.notes) {
        const auto behind = groupOfLine_.upper_bound(note.line);
        if (behind == groupOfLine_.begin()) continue;
        const std::size_t group = std::prev(behind)->second;
        const bool isAbout = groups_[group].components.front().uid == note.uid;
        if (isAbout && !groups_[group].isLeftOut) noted.insert(group);
    }
    file_.withNotes = noted.size();
    file_.leftOut += static_cast<std::size_t>(std::count_if(
        groups_.begin(), groups_.end(), [](const Group& group) { return group.isLeftOut; }));
}

EventFile EventPlanner::Plan(CalendarReading reading) {
    file_.notes = std::move(reading.notes);
    file_.leftOut = reading.leftOut;
    Collect(std::move(reading.items));
    for (Group& group : groups_) PlanGroup(group);
    std::stable_sort(file_.notes.begin(), file_.notes.end(),
                     [](const auto& left, const auto& right) { return left.line < right.line; });
    CountNotes();
    return std::move(file_);
}

// The window of an item that import wrote; nothing for another text.
std::optional<OccurrenceWindow> WindowOf(std::string_view itemText) {
    if (!itemText.starts_with(ItemHead())) return std::nullopt;
    itemText.remove_prefix(ItemHead().size());
    OccurrenceWindow window{std::nullopt, std::numeric_limits<std::int64_t>::max()};
    if (!itemText.starts_with(kEntered)) return window;
    itemText.remove_prefix(kEntered.size());
    const std::string_view times = itemText.substr(0, itemText.find('\r'));
    const std::size_t slash = std::min(times.find('/'), times.size());
    const auto from = ParseDateValue(times.substr(0, slash));
    const auto until = ParseDateValue(times.substr(std::min(slash + 1, times.size())));
    if (from) window.from = from->seconds;
    if (until) window.until = until->seconds;
    return window;
}

bool IsWholeDays(const Entry& entry) {
    const std::int64_t start = entry.start;
    const std::int64_t end = entry.end + std::int64_t{1};
    return start % kSecondsPerDay == 0 && end % kSecondsPerDay == 0 && end > start;
}

std::string TimeLines(const Entry& entry) {
    if (!IsWholeDays(entry)) {
        return "DTSTART:" + TimeText(entry.start) + "\nDTEND:" + TimeText(entry.end) + "\n";
    }
    constexpr std::size_t kDateLength = 8;
    return "DTSTART;VALUE=DATE:" + TimeText(entry.start).substr(0, kDateLength) +
           "\nDTEND;VALUE=DATE:" + TimeText(entry.end + std::int64_t{1}).substr(0, kDateLength) +
           "\n";
}

}  // namespace

EventFile ParseEventFile(std::string_view text, const EntryWindow& window,
                         const EntryPlaces& places) {
    CalendarReading reading = ReadCalendarText(text);
    if (reading.failure) {
        throw Refusal("line " + std::to_string(reading.failure->line) + ": " +
                      reading.failure->reason);
    }
    return EventPlanner(window, places).Plan(std::move(reading));
}

void SetId(PlannedEvent& event, const std::string& id) {
    event.id = id;
    event.itemName = EventItemNames(id).front();
    std::map<std::string, std::size_t> inCalendar;
    for (PlacedEntry& placed : event.entries) {
        const std::size_t number = ++inCalendar[placed.calendar];
        placed.entry.id = number == 1 ? id : NumberedId(id, number);
    }
}

std::optional<std::string> JoinedItem(std::string_view held, std::string_view added) {
    const auto one = WindowOf(held);
    const auto other = WindowOf(added);
    // The event itself, behind the line of the window.
    const auto behind = [](std::string_view text) {
        const std::string_view rest = text.substr(std::min(ItemHead().size(), text.size()));
        return rest.starts_with(kEntered) ? rest.substr(rest.find('\n') + 1) : std::string_view();
    };
    const std::string_view event = behind(held);
    if (!one || !other || event.empty() || event != behind(added)) return std::nullopt;
    const auto isBehind = [](const OccurrenceWindow& left, const OccurrenceWindow& right) {
        return left.from && *left.from > right.until;
    };
    if (isBehind(*one, *other) || isBehind(*other, *one)) return std::nullopt;
    OccurrenceWindow both{std::nullopt, std::max(one->until, other->until)};
    if (one->from && other->from) both.from = std::min(*one->from, *other->from);
    return ItemHead() + EnteredLine(both) + "\r\n" + std::string(event);
}

KeptEvent ReadKeptEvent(std::string_view itemText) {
    CalendarReading reading = ReadCalendarText(itemText);
    if (reading.failure) {
        throw Refusal("line " + std::to_string(reading.failure->line) + ": " +
                      reading.failure->reason);
    }
    KeptEvent event;
    for (CalendarItem& item : reading.items) {
        if (item.kind == ItemKind::Event) event.components.push_back(std::move(item));
    }
    if (event.components.empty()) throw Refusal("there is no event in it");
    const auto window = WindowOf(itemText);
    event.isSeries = window.has_value();
    if (window) event.window = *window;
    return event;
}

bool TakesPlaceOnce(const KeptEvent& event) {
    return !CanRepeat(event.components) && !event.components.front().schedule.replaces;
}

std::vector<KeptEntry> EntriesOf(const KeptEvent& event, const EntryPlaces& places) {
    std::vector<const Schedule*> schedules = SchedulesOf(event.components);
    OccurrenceWindow window = event.window;
    if (!event.isSeries) {
        schedules.resize(1);
        const auto& start = schedules.front()->start;
        if (!start) return {};
        window = {std::nullopt, start->ToUtc() + 1};
    }
    std::vector<KeptEntry> entries;
    for (const Occurrence& occurrence : OccurrencesOf(schedules, window).within) {
        const auto entry = EntryOf(occurrence);
        if (!entry) continue;
        entries.push_back(
            {{places.calendarOf(entry->start, entry->end), *entry}, occurrence.schedule});
    }
    return entries;
}

bool TakesPlaceLike(const PlacedEntry& left, const PlacedEntry& right) {
    return left.calendar == right.calendar && left.entry.start == right.entry.start &&
           left.entry.end == right.entry.end;
}

std::string LinesOfEntry(const Entry& entry, std::string_view uid, std::string_view like) {
    const std::string lines = "UID:" + EscapeText(uid) + "\n" + TimeLines(entry);
    if (like.empty()) {
        return "BEGIN:VEVENT\n" + lines + "SUMMARY:" + EscapeText(entry.id) + "\nEND:VEVENT\n";
    }
    return ReplaceLines(like,
                        {"UID", "DTSTART", "DTEND", "DURATION", "RRULE", "RDATE", "EXRULE",
                         "EXDATE", "RECURRENCE-ID"},
                        lines);
}

std::string LinesOfMovedEvent(const Entry& entry, std::string_view lines) {
    return ReplaceLines(lines, {"DTSTART", "DTEND", "DURATION"}, TimeLines(entry));
}

}  // namespace tarnwick::admin

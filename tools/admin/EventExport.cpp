// export of calendar files
#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "common/Clock.h"
#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "tools/admin/Buckets.h"
#include "tools/admin/Console.h"
#include "tools/admin/EventEntries.h"
#include "tools/admin/EventIds.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Import.h"

namespace tarnwick::admin {
namespace {

constexpr std::string_view kExportProducer = "-//Tarnwick//Calendar Export//EN";

// The entries that one item belongs to, and the item; or an entry without one.
struct ExportedEvent {
    std::vector<PlacedEntry> entries;
    std::optional<KeptEvent> kept;
    std::vector<KeptEntry> expected;
};

// IDs and the names of files do not differ by the case of letters.
struct NameOrder {
    bool operator()(std::string_view left, std::string_view right) const {
        return std::ranges::lexicographical_compare(left, right, {}, LowerAscii, LowerAscii);
    }
};
struct ItemOrder {
    using Key = std::pair<std::string, std::string>;
    bool operator()(const Key& left, const Key& right) const {
        const NameOrder order;
        if (order(left.first, right.first)) return true;
        return !order(right.first, left.first) && left.second < right.second;
    }
};

class EventExport {
  public:
    explicit EventExport(const MailboxStore& store) : store_(store), now_(CurrentFileTime()) {}

    std::string Write(const std::vector<PlacedEntry>& entries);
    std::size_t Unread() const { return unread_; }

  private:
    static std::string BucketOf(const Entry& entry) { return BucketName({entry.start, entry.end}); }
    std::optional<std::string> FindItem(const std::string& id, std::optional<KeptEvent>& kept);
    void Collect(const PlacedEntry& placed);
    bool IsAsImported(const ExportedEvent& event) const;
    void WriteWhole(const ExportedEvent& event);
    void WriteMoved(const ExportedEvent& event);
    const CalendarItem& ComponentOf(const ExportedEvent& event, const PlacedEntry& placed) const;
    void WriteEach(const ExportedEvent& event);
    std::string MakeUid(const Entry& entry);

    const MailboxStore& store_;
    std::uint64_t now_;
    std::vector<ExportedEvent> events_;
    // By item name and, for calendars that a person named, the calendar; null stands for an item
    // that is missing or cannot be read.
    std::map<std::pair<std::string, std::string>, std::size_t, ItemOrder> eventOfItem_;
    std::map<std::string, bool, NameOrder> isItem_;
    std::set<std::string> calendars_;
    std::set<std::string> uids_;
    CalendarFile file_{kExportProducer};
    std::size_t unread_ = 0;
};

// The name of the item that belongs to the ID, with what it holds when it was not read before.
std::optional<std::string> EventExport::FindItem(const std::string& id,
                                                 std::optional<KeptEvent>& kept) {
    for (const std::string& name : EventItemNames(id)) {
        const auto known = isItem_.find(name);
        if (known != isItem_.end()) {
            if (known->second) return name;
            continue;
        }
        const auto text = store_.ReadItem(name);
        isItem_[name] = false;
        if (!text) continue;
        try {
            kept = ReadKeptEvent(*text);
            isItem_[name] = true;
            return name;
        } catch (const Failure& failure) {
            ++unread_;
            Note("the item " + name + " of the entry \"" + id + "\" cannot be read, " +
                 failure.what() + "; the entry stands for itself");
        }
    }
    return std::nullopt;
}

void EventExport::Collect(const PlacedEntry& placed) {
    std::optional<KeptEvent> kept;
    const auto name = FindItem(placed.entry.id, kept);
    if (!name) {
        events_.push_back({{placed}, std::nullopt, {}});
        return;
    }
    const bool isDated = BucketOf(placed.entry) == placed.calendar;
    const auto key = std::pair(*name, isDated ? std::string() : placed.calendar);
    const auto [found, isNew] = eventOfItem_.emplace(key, events_.size());
    if (isNew) {
        if (!kept) kept = ReadKeptEvent(*store_.ReadItem(*name));
        const EntryPlaces places{[&](std::int32_t start, std::int32_t end) {
                                     return isDated ? BucketName({start, end}) : placed.calendar;
                                 },
                                 FromUtf8};
        std::vector<KeptEntry> expected = EntriesOf(*kept, places);
        events_.push_back({{}, std::move(kept), std::move(expected)});
    }
    events_[found->second].entries.push_back(placed);
}

// Whether the store has just the entries that the item gives, those outside of the export too.
bool EventExport::IsAsImported(const ExportedEvent& event) const {
    const std::string& anId = event.entries.front().entry.id;
    const std::string stem(event.kept->isSeries ? WithoutNumber(anId).value_or(anId) : anId);
    std::map<std::string, std::size_t> inCalendar;
    std::size_t met = 0;
    for (const KeptEntry& expected : event.expected) {
        const auto isMet = [&](const PlacedEntry& placed) {
            return TakesPlaceLike(placed, expected.placed);
        };
        const std::string& calendar = expected.placed.calendar;
        const std::size_t number = ++inCalendar[calendar];
        if (std::any_of(event.entries.begin(), event.entries.end(), isMet)) {
            ++met;
            continue;
        }
        if (calendars_.contains(calendar)) return false;
        const std::string id = number == 1 ? stem : NumberedId(stem, number);
        const auto entry = store_.Get(calendar, id);
        if (!entry || !isMet({calendar, *entry})) return false;
    }
    return met == event.entries.size();
}

void EventExport::WriteWhole(const ExportedEvent& event) {
    const std::string id = ToUtf8(event.entries.front().entry.id);
    for (const CalendarItem& component : event.kept->components) {
        uids_.insert(component.uid.empty() ? id : component.uid);
        file_.Add(CompleteLines(component.lines, id, now_), component.zones);
    }
}

// Whether the event has one entry, whatever it recurs: earlier versions entered the first day
// alone.
bool IsOneEntrys(const KeptEvent& event) {
    return TakesPlaceOnce(event) || (!event.isSeries && event.components.size() == 1);
}

void EventExport::WriteMoved(const ExportedEvent& event) {
    const Entry& entry = event.entries.front().entry;
    const CalendarItem& component = event.kept->components.front();
    const std::string id = ToUtf8(entry.id);
    uids_.insert(component.uid.empty() ? id : component.uid);
    if (!TakesPlaceOnce(*event.kept)) {
        Note("\"" + entry.id +
             "\" was edited since it was imported; its recurrence is written as it was");
    }
    file_.Add(CompleteLines(LinesOfMovedEvent(entry, component.lines), id, now_), component.zones);
}

std::string EventExport::MakeUid(const Entry& entry) {
    const std::string id = ToUtf8(entry.id);
    if (uids_.insert(id).second) return id;
    const std::string dated = id + "-" + FormatTime(entry.start);
    std::string uid = dated;
    for (int number = 2; !uids_.insert(uid).second; ++number) {
        uid = dated + "#" + std::to_string(number);
    }
    return uid;
}

// The component that an entry is of: that of its times, or for one that was moved that of an entry
// that is no longer where it was, best one of the same calendar.
const CalendarItem& EventExport::ComponentOf(const ExportedEvent& event,
                                             const PlacedEntry& placed) const {
    const KeptEntry* chosen = nullptr;
    for (const KeptEntry& expected : event.expected) {
        if (TakesPlaceLike(placed, expected.placed)) {
            return event.kept->components[expected.component];
        }
    }
    for (const KeptEntry& expected : event.expected) {
        const bool isThere = std::any_of(
            event.entries.begin(), event.entries.end(),
            [&expected](const auto& entry) { return TakesPlaceLike(entry, expected.placed); });
        if (isThere) continue;
        const bool isNear = expected.placed.calendar == placed.calendar;
        if (chosen == nullptr || isNear) chosen = &expected;
        if (isNear) break;
    }
    return event.kept->components[chosen == nullptr ? 0 : chosen->component];
}

void EventExport::WriteEach(const ExportedEvent& event) {
    for (const PlacedEntry& placed : event.entries) {
        Entry entry = placed.entry;
        entry.id = ToUtf8(entry.id);
        const std::string uid = MakeUid(placed.entry);
        if (!event.kept) {
            file_.Add(CompleteLines(LinesOfEntry(entry, uid, {}), uid, now_), {});
            continue;
        }
        const CalendarItem& component = ComponentOf(event, placed);
        file_.Add(CompleteLines(LinesOfEntry(entry, uid, component.lines), uid, now_),
                  component.zones);
    }
}

std::string EventExport::Write(const std::vector<PlacedEntry>& entries) {
    for (const PlacedEntry& placed : entries) calendars_.insert(placed.calendar);
    for (const PlacedEntry& placed : entries) Collect(placed);
    // The UIDs of whole events first, so that none of them is given away.
    std::vector<char> isWhole;
    for (const ExportedEvent& event : events_) {
        isWhole.push_back(event.kept && IsAsImported(event) ? 1 : 0);
        if (isWhole.back() == 0) continue;
        for (const CalendarItem& component : event.kept->components) uids_.insert(component.uid);
    }
    for (std::size_t number = 0; number < events_.size(); ++number) {
        const ExportedEvent& event = events_[number];
        if (isWhole[number] != 0) {
            WriteWhole(event);
        } else if (event.kept && IsOneEntrys(*event.kept) && event.entries.size() == 1) {
            WriteMoved(event);
        } else {
            if (event.kept) {
                Note("\"" + event.entries.front().entry.id +
                     "\" was edited since it was imported; " +
                     (event.entries.size() == 1
                          ? "its entry is written as an event of its own, without the recurrence"
                          : std::to_string(event.entries.size()) +
                                " entries are written as events of their own, without the "
                                "recurrence"));
            }
            WriteEach(event);
        }
    }
    return file_.Text();
}

}  // namespace

std::string ExportedEvents(const MailboxStore& store, const std::vector<PlacedEntry>& entries,
                           std::size_t& unread) {
    EventExport events(store);
    std::string text = events.Write(entries);
    unread = events.Unread();
    return text;
}

}  // namespace tarnwick::admin

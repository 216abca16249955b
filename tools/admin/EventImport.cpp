// import of calendar files
#include <algorithm>

#include "common/Clock.h"
#include "Library/convert/CalendarDate.h"
#include "tools/admin/Buckets.h"
#include "tools/admin/Console.h"
#include "tools/admin/EventEntries.h"
#include "tools/admin/EventIds.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Import.h"
#include "tools/admin/ItemLayout.h"
#include "tools/admin/Json.h"

namespace tarnwick::admin {
namespace {

constexpr std::int64_t kDaysEntered = 400;

// A day stands for the whole of it.
std::int64_t UntilOption(const std::string& text) {
    if (const auto day = ParseDay(text)) return std::int64_t{day->end} + 1;
    return TimeOption(text);
}

EntryWindow WindowOf(const ImportOptions& options) {
    EntryWindow window;
    if (!options.from.empty()) window.from = TimeOption(options.from);
    if (!options.until.empty()) window.until = UntilOption(options.until);
    if (window.from && window.until && *window.from >= *window.until) {
        throw WrongUsage("--from lies behind --until");
    }
    const std::int64_t today = CurrentUnixTime() / kSecondsPerDay;
    window.defaultUntil = (today + kDaysEntered + 1) * kSecondsPerDay;
    return window;
}

std::string NoteText(const std::string& file, const ReadProblem& note) {
    const std::string uid = note.uid.empty() ? "" : " (UID " + note.uid + ")";
    return file + ": " + AtLine(note.line) + note.reason + uid;
}

bool HasEntryOf(const MailboxStore& store, const PlannedEvent& event) {
    for (const PlacedEntry& placed : event.entries) {
        if (store.Get(placed.calendar, placed.entry.id)) return true;
    }
    return false;
}

// What an item holds; nothing for one that cannot be read.
std::optional<KeptEvent> ReadHeld(const std::string& itemText) try {
    return ReadKeptEvent(itemText);
} catch (const Failure&) {
    return std::nullopt;
}

bool IsOfOther(const std::optional<KeptEvent>& held, const PlannedEvent& event) {
    const std::string uid = held ? held->components.front().uid : std::string();
    return !uid.empty() && !event.uid.empty() && uid != event.uid;
}

// The item that is in the place of the event's. When it is another event's, whose UID differs in
// the case of letters, this one gets the ID that it would have behind the other in one file.
std::optional<std::string> FindHeld(const MailboxStore& store, PlannedEvent& event) {
    auto held = store.ReadItem(event.itemName);
    if (!held || *held == event.itemText || !IsOfOther(ReadHeld(*held), event)) return held;
    UniqueIds ids;
    ids.MakeUnique(event.id);
    SetId(event, ids.MakeUnique(event.id));
    return store.ReadItem(event.itemName);
}

// A changed occurrence alone would take the place of the whole event that an earlier import kept.
void LeaveOutLoneChanges(const MailboxStore& store, EventFile& file) {
    const auto isLone = [&store, &file](PlannedEvent& event) {
        if (!event.isChange) return false;
        const auto item = FindHeld(store, event);
        const auto held = item ? ReadHeld(*item) : std::nullopt;
        const auto isWhole = [](const CalendarItem& component) {
            return !component.schedule.replaces;
        };
        if (!held || std::ranges::none_of(held->components, isWhole)) return false;
        file.notes.push_back({event.line,
                              "a changed occurrence is left out; the event that it is of was "
                              "imported before, import all of it with --replace",
                              event.uid});
        ++file.leftOut;
        return true;
    };
    std::erase_if(file.events, isLone);
}

// What there is to say of an item that the event's takes the place of; empty for nothing.
std::string WhatIsReplaced(const PlannedEvent& event, const std::string& heldItem,
                           const EntryPlaces& places) {
    const auto heldEvent = ReadHeld(heldItem);
    if (!heldEvent) return "the item " + event.itemName + " held something else; it is replaced";
    std::size_t stays = 0;
    for (const KeptEntry& held : EntriesOf(*heldEvent, places)) {
        const auto isHeld = [&held](const PlacedEntry& placed) {
            return TakesPlaceLike(placed, held.placed);
        };
        stays += std::none_of(event.entries.begin(), event.entries.end(), isHeld) ? 1 : 0;
    }
    if (stays == 0) return {};
    return Counted(stays, "entry", "entries") + " of an earlier import of \"" + event.id + "\" " +
           (stays == 1 ? "is" : "are") +
           " not in this file and not removed; what the item held of " +
           (stays == 1 ? "it" : "them") + " is replaced";
}

// Writes the item before its entries: an import that is cut off between them is completed by the
// next, and an item that cannot be written leaves no entry without one.
void ImportItem(const MailboxStore& store, PlannedEvent& event, bool replace,
                const EntryPlaces& places, const ImportCounts& counts) {
    const auto held = FindHeld(store, event);
    if (held == event.itemText) return;
    const auto joined = held && !replace ? JoinedItem(*held, event.itemText) : std::nullopt;
    if (joined) {
        if (joined == held) return;
        event.itemText = *joined;
    } else if (held) {
        // The entries that the other item belongs to stay, and so does it.
        if (!replace && HasEntryOf(store, event)) return;
        const std::string text = WhatIsReplaced(event, *held, places);
        if (!text.empty()) Note(AtLine(event.line) + text);
    }
    try {
        PutItem(store, event.itemName, LaidOutForChunks(event.itemText));
    } catch (const Failure& failure) {
        throw CutOff(failure, event.line, counts);
    }
}

void ImportEvent(const MailboxStore& store, PlannedEvent& event, bool replace,
                 const EntryPlaces& places, ImportCounts& counts) {
    ImportItem(store, event, replace, places, counts);
    std::size_t existing = 0;
    for (const PlacedEntry& placed : event.entries) {
        if (ImportEntry(store, placed, event.line, replace, counts) != Imported::Refused) continue;
        ++existing;
        if (existing == 1) {
            Note(AtLine(event.line) + "calendar " + placed.calendar + " has an entry \"" +
                 placed.entry.id + "\" already; --replace would change it");
        }
    }
    if (existing > 1) {
        Note(AtLine(event.line) + "the same holds for " +
             Counted(existing - 1, "more entry", "more entries") + " of this event");
    }
}

// What --strict refuses beside the notes of the file: those on what the mailbox has already.
void RefuseWhatIsThere(const MailboxStore& store, EventFile& file, bool replace,
                       const EntryPlaces& places) {
    for (PlannedEvent& event : file.events) {
        const auto held = FindHeld(store, event);
        std::string text;
        if (!replace && HasEntryOf(store, event)) {
            text = "there is an entry \"" + event.id + "\" of this event already";
        } else if (held && held != event.itemText && !JoinedItem(*held, event.itemText)) {
            text = WhatIsReplaced(event, *held, places);
        }
        if (text.empty()) continue;
        throw Refusal(AtLine(event.line) + text + "; nothing was imported (--strict)");
    }
}

std::string CountText(const ImportCounts& counts, const EventFile& file) {
    std::string text = std::to_string(counts.added) + " added";
    const auto add = [&text](std::size_t count, const char* what) {
        if (count != 0) text += ", " + std::to_string(count) + what;
    };
    add(counts.replaced, " replaced");
    add(counts.refused, " refused");
    add(file.withNotes, " with notes");
    add(file.leftOut, " left out");
    return text;
}

Json CountJson(const ImportCounts& counts, const EventFile& file, const std::string& name) {
    Json notes = Json::array();
    for (const ReadProblem& note : file.notes) {
        notes.push_back(
            {{"file", name}, {"line", note.line}, {"uid", note.uid}, {"text", note.reason}});
    }
    return {{"added", counts.added},  {"replaced", counts.replaced}, {"refused", counts.refused},
            {"notes", notes},         {"leftOut", file.leftOut},     {"beyond", file.beyond},
            {"endless", file.endless}};
}

void TellWhatLiesBeyond(const EventFile& file, const EntryWindow& window) {
    if (file.beyond + file.endless == 0) return;
    const std::int64_t last = window.until.value_or(window.defaultUntil) - 1;
    const std::string day = FormatTime(static_cast<std::int32_t>(last)).substr(0, 10);
    std::string text;
    if (file.beyond != 0) {
        text = Counted(file.beyond, "occurrence lies", "occurrences lie") + " beyond " + day;
    }
    if (file.endless != 0) {
        if (!text.empty()) text += "; ";
        text += Counted(file.endless, "event goes", "events go") + " on without end beyond " + day;
    }
    Note(text + " (--until)");
}

}  // namespace

void ImportEvents(const ImportOptions& options, const Context& context) {
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    const EntryWindow window = WindowOf(options);
    const EntryPlaces places{
        [&options](std::int32_t start, std::int32_t end) {
            return options.calendar.empty() ? BucketName({start, end}) : options.calendar;
        },
        FromUtf8};
    const std::string name = options.file == "-" ? "standard input" : options.file;
    EventFile file = ParseEventFile(ReadInput(options.file), window, places);
    LeaveOutLoneChanges(store, file);
    if (options.strict && !file.notes.empty()) {
        throw Refusal(NoteText(name, file.notes.front()) + "; nothing was imported (--strict)");
    }
    if (options.strict) RefuseWhatIsThere(store, file, options.replace, places);
    for (const ReadProblem& note : file.notes) Note(NoteText(name, note));
    ImportCounts counts;
    Progress progress("import", file.events.size(), !options.quiet);
    for (PlannedEvent& event : file.events) {
        ImportEvent(store, event, options.replace, places, counts);
        progress.Step();
    }
    TellWhatLiesBeyond(file, window);
    if (context.json) {
        JsonLines(context).Add(CountJson(counts, file, name));
    } else {
        PrintDone(CountText(counts, file), context);
    }
    RequireWhole(counts, file.leftOut);
}

}  // namespace tarnwick::admin

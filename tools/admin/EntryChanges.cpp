// add, edit, remove
#include <memory>

#include "common/Text.h"
#include "tools/admin/Buckets.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/Failure.h"

namespace tarnwick::admin {
namespace {

// The times of an entry, as options; --day stands for both.
struct TimeOptions {
    std::string start;
    std::string end;
    std::string day;
};

void AddTimeOptions(const Command& command, TimeOptions& times) {
    const char* form = "2025-03-01T09:30:00Z, 2025-03-01 or seconds since 1970";
    const Option start = command.AddOption("--start", times.start, std::string("Start: ") + form);
    const Option end = command.AddOption("--end", times.end, "End (the start when left out)");
    command.AddOption("--on", times.day, "The whole of a day instead: 2025-03-01")
        .Excludes(start)
        .Excludes(end);
}

void RequireOrder(const Entry& entry) {
    if (entry.end >= entry.start) return;
    throw WrongUsage("the end " + FormatTime(entry.end) + " lies before the start " +
                     FormatTime(entry.start));
}

// Puts the times that were given into the entry.
void ApplyTimes(const TimeOptions& times, Entry& entry) {
    if (!times.day.empty()) {
        const Period day = DayOption(times.day);
        entry.start = day.start;
        entry.end = day.end;
    }
    if (!times.start.empty()) entry.start = TimeOption(times.start);
    if (!times.end.empty()) entry.end = TimeOption(times.end);
    RequireOrder(entry);
}

std::string BucketOf(const Entry& entry) {
    return BucketName({entry.start, entry.end});
}

std::string Quoted(const std::string& id) {
    return "\"" + id + "\"";
}

void AddNew(const MailboxStore& store, const PlacedEntry& placed) {
    if (store.Add(placed.calendar, placed.entry)) return;
    // Looking for the entry in a blocked calendar would wait as long again.
    const bool blocked = BlockNotice(store.Owner(), placed.calendar).has_value();
    if (!blocked && store.Get(placed.calendar, placed.entry.id)) {
        throw Refusal("calendar " + placed.calendar + " has an entry " + Quoted(placed.entry.id) +
                      " already; edit or remove that one, or take another ID");
    }
    throw RefusedChange(store.Owner(), placed.calendar);
}

struct AddOptions {
    std::string mailbox;
    std::string id;
    TimeOptions times;
    std::string calendar;
};

void Add(const AddOptions& options, const Context& context) {
    CheckId(options.id);
    if (options.times.start.empty() && options.times.day.empty()) {
        throw WrongUsage("an entry needs --start (and --end) or --on");
    }
    TimeOptions times = options.times;
    if (times.end.empty()) times.end = times.start;
    PlacedEntry placed{options.calendar, {0, 0, options.id}};
    ApplyTimes(times, placed.entry);
    if (placed.calendar.empty()) placed.calendar = BucketOf(placed.entry);
    CheckCalendarName(placed.calendar);
    AddNew(OpenMailbox(options.mailbox, context), placed);
    PrintChange("added", "added " + Quoted(options.id) + " to " + placed.calendar, placed, context);
}

void RegisterAdd(const Command& app, Context& context) {
    auto options = std::make_shared<AddOptions>();
    const Command command = app.AddCommand(
        "add",
        {"Add an entry",

         "Without --calendar it goes to the calendar of its date: that of the day (Y25M03D01), or\n"
         "of the month (Y25M03), the year (Y25) or all years (Y) that its days lie in.\n",

         "  tarnwick-admin add sales/anna \"Review\" --start 2025-03-01T09:30Z --end "
         "2025-03-01T10:00Z\n"
         "  tarnwick-admin add sales/anna \"Fair\" --start 2025-03-03 --end 2025-03-07T18:00\n"
         "  tarnwick-admin add sales/anna \"Holiday\" --on 2025-05-01 --calendar Holidays\n"});
    AddMailboxOption(command, options->mailbox);
    AddDryRunOption(command, context);
    command.AddOption("id", options->id, "ID of the entry, at most 63 characters").Required();
    AddTimeOptions(command, options->times);
    command.AddOption("--calendar", options->calendar,
                      "Name of the calendar (left out: the one of the entry's date)");
    command.OnRun([options, &context] { Add(*options, context); });
}

struct EditOptions {
    std::string mailbox;
    std::string id;
    std::string newId;
    TimeOptions times;
    Selection selection;
};

// The one entry with the ID; several are a reason to ask which.
PlacedEntry FindOne(const MailboxStore& store, const Selection& selection, const std::string& id) {
    std::vector<PlacedEntry> found = FindEntries(store, selection, id);
    if (found.size() == 1) return found.front();
    std::string names;
    for (const PlacedEntry& placed : found) names += " " + placed.calendar;
    throw Refusal("several calendars have an entry " + Quoted(id) + ":" + names +
                  "; choose one with --calendar");
}

// An entry of a date calendar goes where its new date belongs. The new one is there before the old
// one goes, so that no failure loses both.
void Move(const MailboxStore& store, const PlacedEntry& from, const PlacedEntry& to) {
    AddNew(store, to);
    if (store.Remove(from.calendar, from.entry.id)) return;
    throw Failure(ExitStatus::PartlyDone, "the entry is in " + to.calendar + " now, and still in " +
                                              from.calendar + ": " +
                                              RefusedChange(store.Owner(), from.calendar).what());
}

void Replace(const MailboxStore& store, const PlacedEntry& from, const PlacedEntry& to) {
    const bool renamed = !EqualsIgnoreCase(from.entry.id, to.entry.id);
    if (renamed && store.Get(to.calendar, to.entry.id)) {
        throw Refusal("calendar " + to.calendar + " has an entry " + Quoted(to.entry.id) +
                      " already; take another ID");
    }
    if (store.Edit(to.calendar, from.entry.id, to.entry)) return;
    throw RefusedChange(store.Owner(), to.calendar);
}

void Edit(const EditOptions& options, const Context& context) {
    const bool timesGiven =
        !options.times.start.empty() || !options.times.end.empty() || !options.times.day.empty();
    if (!timesGiven && options.newId.empty()) {
        throw WrongUsage("nothing to change; give --start, --end, --on or --id");
    }
    if (!options.newId.empty()) CheckId(options.newId);
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    const PlacedEntry from = FindOne(store, options.selection, options.id);
    PlacedEntry to = from;
    if (timesGiven) ApplyTimes(options.times, to.entry);
    if (!options.newId.empty()) to.entry.id = options.newId;
    const bool dated = options.selection.calendar.empty() && BucketOf(from.entry) == from.calendar;
    if (dated) to.calendar = BucketOf(to.entry);
    if (to.calendar == from.calendar) {
        Replace(store, from, to);
        PrintChange("changed", "changed " + Quoted(from.entry.id) + " in " + to.calendar, to,
                    context);
    } else {
        Move(store, from, to);
        PrintChange(
            "moved",
            "moved " + Quoted(from.entry.id) + " from " + from.calendar + " to " + to.calendar, to,
            context);
    }
}

void RegisterEdit(const Command& app, Context& context) {
    auto options = std::make_shared<EditOptions>();
    const Command command = app.AddCommand(
        "edit",
        {"Change the times or the ID of an entry",

         "When its date changes, it moves to the calendar of the new date, unless --calendar\n"
         "names the one in which it lies.\n",

         "  tarnwick-admin edit sales/anna \"Review\" --end 2025-03-01T11:00Z\n"
         "  tarnwick-admin edit sales/anna \"Review\" --id \"Review with Ben\"\n"
         "  tarnwick-admin edit sales/anna \"Holiday\" --calendar Holidays --on 2025-05-02\n"});
    AddMailboxOption(command, options->mailbox);
    AddDryRunOption(command, context);
    command.AddOption("id", options->id, "ID of the entry").Required();
    AddTimeOptions(command, options->times);
    command.AddOption("--id", options->newId, "Its new ID");
    AddSelectionOptions(command, options->selection);
    command.OnRun([options, &context] { Edit(*options, context); });
}

struct RemoveOptions {
    std::string mailbox;
    std::string id;
    bool all = false;
    bool force = false;
    Selection selection;
};

void RemoveOne(const MailboxStore& store, const RemoveOptions& options, const Context& context) {
    const PlacedEntry placed = FindOne(store, options.selection, options.id);
    if (!options.force && !store.HasOthers(placed.calendar, placed.entry.id)) {
        throw Refusal(Quoted(placed.entry.id) + " is the last entry of calendar " +
                      placed.calendar + ", which goes with it; --force removes it");
    }
    if (!store.Remove(placed.calendar, placed.entry.id)) {
        throw RefusedChange(store.Owner(), placed.calendar);
    }
    PrintChange("removed", "removed " + Quoted(placed.entry.id) + " from " + placed.calendar,
                placed, context);
}

void RemoveEverything(const MailboxStore& store, const RemoveOptions& options,
                      const Context& context) {
    const std::vector<PlacedEntry> entries = SelectedEntries(store, options.selection);
    if (!options.force && !entries.empty()) {
        throw Refusal("this would remove " + Counted(entries.size(), "entry", "entries") +
                      ", and their calendars with them; --force does it");
    }
    std::string calendar;
    for (const PlacedEntry& placed : entries) {
        if (placed.calendar == calendar) continue;
        if (!store.RemoveAll(placed.calendar)) {
            const Failure reason = RefusedChange(store.Owner(), placed.calendar);
            if (calendar.empty()) throw reason;
            throw Failure(
                ExitStatus::PartlyDone,
                std::string(reason.what()) + ". The calendars up to " + calendar + " are removed");
        }
        calendar = placed.calendar;
    }
    if (context.json) return PrintEntries(entries, context);
    PrintDone("removed " + Counted(entries.size(), "entry", "entries"), context);
}

void Remove(const RemoveOptions& options, const Context& context) {
    if (options.all == !options.id.empty()) {
        throw WrongUsage("give either the ID of an entry, or --all to remove every entry");
    }
    if (options.all && options.selection.IsEmpty()) {
        throw WrongUsage("--all needs --calendar, --day, --month or --year");
    }
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    return options.all ? RemoveEverything(store, options, context)
                       : RemoveOne(store, options, context);
}

void RegisterRemove(const Command& app, Context& context) {
    auto options = std::make_shared<RemoveOptions>();
    const Command command = app.AddCommand(
        "remove", {"Remove an entry, or all of a calendar",

                   "A calendar goes with its last entry, which needs --force. --all takes every "
                   "entry of the\n"
                   "calendars chosen.\n",

                   "  tarnwick-admin remove sales/anna \"Review\"\n"
                   "  tarnwick-admin remove sales/anna \"Review\" --day 2025-03-01\n"
                   "  tarnwick-admin remove sales/anna --all --month 2025-03 --force\n"});
    AddMailboxOption(command, options->mailbox);
    AddDryRunOption(command, context);
    command.AddOption("id", options->id, "ID of the entry");
    command.AddFlag("--all", options->all, "Every entry");
    command.AddFlag("--force", options->force, "Also the last entry of a calendar, or all");
    AddSelectionOptions(command, options->selection);
    command.OnRun([options, &context] { Remove(*options, context); });
}

}  // namespace

void RegisterEntryChanges(const Command& app, Context& context) {
    RegisterAdd(app, context);
    RegisterEdit(app, context);
    RegisterRemove(app, context);
}

}  // namespace tarnwick::admin

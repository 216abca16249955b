#include "tools/admin/Commands.h"

#include "tools/admin/Buckets.h"
#include "tools/admin/CalendarLibrary.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/HostEntries.h"
#include "tools/admin/Json.h"

namespace tarnwick::admin {
namespace {

PlacedEntry InUtf8(const PlacedEntry& placed) {
    return {ToUtf8(placed.calendar),
            {placed.entry.start, placed.entry.end, ToUtf8(placed.entry.id)}};
}

}  // namespace

void TellBlock(const Mailbox& mailbox, const std::string& calendar, const Context& context) {
    RequireReadableCalendar(mailbox, calendar);
    const auto notice = BlockNotice(mailbox, calendar);
    // A reader that has waited long enough deletes the block file.
    if (notice && context.dryRun) throw Failure(ExitStatus::Busy, *notice);
    if (notice) Note(*notice + "; waiting");
}

MailboxStore OpenMailbox(const std::string& text, const Context& context) {
    Mailbox mailbox = ParseMailbox(text);
    mailbox.host = context.host;
    LoadCalendarLibrary(context.root);
    if (!context.host.empty()) {
        UseHost(context.host);
    } else {
        RequireMailboxFolder(mailbox);
    }
    RequireReadableCalendars(mailbox);
    bool isWritable = false;
    const auto beforeCall = [mailbox, &context, isWritable](const std::string& calendar,
                                                            MailboxStore::Access access) mutable {
        if (access == MailboxStore::Access::Change && !isWritable) {
            RequireWritableCalendars(mailbox);
            isWritable = true;
        }
        TellBlock(mailbox, calendar, context);
    };
    MailboxStore store(mailbox, beforeCall);
    if (context.dryRun) store.BeginDryRun(!HasCalendarFolder(mailbox));
    return store;
}

void AddMailboxOption(const Command& command, std::string& mailbox) {
    command.AddOption("mailbox", mailbox, "The mailbox, as postoffice/mailbox").Required();
}

void AddDryRunOption(const Command& command, Context& context) {
    command.AddFlag("--dry-run", context.dryRun, "Only say what would be done; write nothing");
}

void PrintDone(const std::string& text, const Context& context) {
    Print((context.dryRun ? "dry run: " : "") + text + "\n");
}

void AddSelectionOptions(const Command& command, Selection& selection) {
    const Command group =
        command.AddChoice("Calendars", "Which ones (all date calendars when none is given)");
    group.AddOption("--calendar", selection.calendar, "The calendar of this name");
    group.AddOption("--day", selection.day, "The calendar of a day: 2025-03-01");
    group.AddOption("--month", selection.month, "Those of a month and its days: 2025-03");
    group.AddOption("--year", selection.year, "Those of a year, its months and days: 2025");
}

std::vector<std::string> SelectedCalendars(const MailboxStore& store, const Selection& selection) {
    if (!selection.calendar.empty()) {
        CheckCalendarName(selection.calendar);
        return {selection.calendar};
    }
    if (!selection.day.empty()) return {BucketName(DayOption(selection.day))};
    if (!selection.month.empty()) return BucketsOfMonth(store, MonthOption(selection.month));
    if (!selection.year.empty()) return BucketsOfYear(store, YearOption(selection.year));
    return AllBuckets(store);
}

std::vector<PlacedEntry> SelectedEntries(const MailboxStore& store, const Selection& selection) {
    std::vector<PlacedEntry> entries;
    for (const std::string& calendar : SelectedCalendars(store, selection)) {
        for (Entry& entry : store.Entries(calendar))
            entries.push_back({calendar, std::move(entry)});
    }
    if (entries.empty() && !selection.calendar.empty()) {
        throw Refusal("there is no calendar \"" + selection.calendar + "\" with entries in " +
                      store.Owner().Text() + "; the command calendars lists those there are");
    }
    return entries;
}

std::vector<PlacedEntry> FindEntries(const MailboxStore& store, const Selection& selection,
                                     const std::string& id) {
    CheckId(id);
    const std::vector<std::string> calendars = SelectedCalendars(store, selection);
    std::vector<PlacedEntry> found;
    for (const std::string& calendar : calendars) {
        if (auto entry = store.Get(calendar, id)) found.push_back({calendar, std::move(*entry)});
    }
    if (!found.empty()) return found;
    const std::string where = calendars.size() == 1
                                  ? "calendar " + calendars.front()
                                  : Counted(calendars.size(), "calendar", "calendars");
    throw Refusal("no entry \"" + id + "\" in " + where + " of " + store.Owner().Text() +
                  "; the command list shows the entries there are");
}

void PrintEntries(const std::vector<PlacedEntry>& entries, const Context& context) {
    if (!context.json) return Print(EntryTable(entries));
    JsonLines lines(context);
    for (const PlacedEntry& entry : entries) lines.Add(EntryJson(InUtf8(entry)));
}

void PrintChange(const std::string& change, const std::string& text, const PlacedEntry& entry,
                 const Context& context) {
    if (!context.json) return PrintDone(text, context);
    Json json{{"result", change}};
    json.update(EntryJson(InUtf8(entry)));
    JsonLines(context).Add(json);
}

std::int32_t TimeOption(const std::string& text) {
    if (const auto time = ParseTime(text)) return *time;
    throw WrongUsage("\"" + text +
                     "\" is no time; write it as 2025-03-01T09:30:00Z or in seconds since 1970 "
                     "(from 1901-12-13T20:45:52Z to 2038-01-19T03:14:07Z)");
}

Period DayOption(const std::string& text) {
    if (const auto day = ParseDay(text)) return *day;
    throw WrongUsage("\"" + text + "\" is no day; write it as 2025-03-01 (1901 to 2038)");
}

std::chrono::year_month MonthOption(const std::string& text) {
    if (const auto month = ParseMonth(text)) return *month;
    throw WrongUsage("\"" + text + "\" is no month; write it as 2025-03 (1901 to 2038)");
}

std::chrono::year YearOption(const std::string& text) {
    if (const auto year = ParseYear(text)) return *year;
    throw WrongUsage("\"" + text + "\" is no year; write it as 2025 (1901 to 2038)");
}

}  // namespace tarnwick::admin

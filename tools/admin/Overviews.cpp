// freebusy, calendars
#include <algorithm>
#include <memory>
#include <optional>

#include "common/Text.h"
#include "tools/admin/Buckets.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/Json.h"
#include "tools/admin/MonthGrid.h"

namespace tarnwick::admin {
namespace {

struct FreeBusyOptions {
    std::string mailbox;
    std::string month;
    bool entries = false;
};

void FreeBusy(const FreeBusyOptions& options, const Context& context) {
    const std::chrono::year_month month = MonthOption(options.month);
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    const std::set<unsigned> busy = BusyDaysOf(store, month);
    if (context.json) {
        return JsonLines(context).Add({{"month", options.month}, {"busyDays", busy}});
    }
    Print(MonthGrid(month, busy, store.Owner().Text()));
    if (!options.entries) return;
    Selection selection;
    selection.month = options.month;
    Print("\n" + EntryTable(SelectedEntries(store, selection)));
}

void RegisterFreeBusy(CLI::App& app, const Context& context) {
    auto options = std::make_shared<FreeBusyOptions>();
    CLI::App* command = AddCommand(
        app, "freebusy",
        {"Show the busy days of a month",

         "A day is busy when it has a calendar of its own. Entries over several days lie in the\n"
         "calendar of their month or year and make no day busy; --entries shows those of the "
         "month.\n",

         "  tarnwick-admin freebusy sales/anna 2025-03\n"
         "  tarnwick-admin freebusy sales/anna 2025-03 --entries\n"
         "  tarnwick-admin freebusy sales/anna 2025-03 --json\n"});
    AddMailboxOption(*command, options->mailbox);
    command->add_option("month", options->month, "The month: 2025-03")->required();
    command->add_flag("--entries", options->entries, "The month's entries below the grid");
    command->callback([options, &context] { FreeBusy(*options, context); });
}

struct CalendarsOptions {
    std::string mailbox;
    Selection selection;
};

// No call of the library lists calendars of other names than dates; they are in the folder.
void NoteOtherCalendars(const Mailbox& mailbox, const std::vector<std::string>& dated) {
    std::string others;
    for (const std::string& name : CalendarFileNames(mailbox)) {
        const auto same = [&name](const std::string& other) {
            return EqualsIgnoreCase(name, other);
        };
        if (std::none_of(dated.begin(), dated.end(), same)) others += " \"" + name + "\"";
    }
    if (others.empty()) return;
    Note(
        "the folder also holds calendars that are empty or have names of their own, which "
        "--calendar reaches:" +
        others);
}

void Calendars(const CalendarsOptions& options, const Context& context) {
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    const std::vector<std::string> names = SelectedCalendars(store, options.selection);
    std::optional<JsonLines> lines;
    if (context.json) lines.emplace(context);
    std::string table;
    for (const std::string& name : names) {
        const std::size_t count = store.Entries(name).size();
        if (lines) lines->Add({{"calendar", ToUtf8(name)}, {"entries", count}});
        table += name + "\t" + std::to_string(count) + "\n";
    }
    if (!lines) Print(table);
    if (options.selection.IsEmpty()) NoteOtherCalendars(store.Owner(), names);
}

void RegisterCalendars(CLI::App& app, const Context& context) {
    auto options = std::make_shared<CalendarsOptions>();
    CLI::App* command = AddCommand(
        app, "calendars",
        {"List the date calendars and their numbers of entries",

         "Y25M03D01 holds the entries of a day, Y25M03 what covers several days of a month, Y25\n"
         "several months, Y several years.\n",

         "  tarnwick-admin calendars sales/anna\n"
         "  tarnwick-admin calendars sales/anna --month 2025-03\n"});
    AddMailboxOption(*command, options->mailbox);
    AddSelectionOptions(*command, options->selection);
    command->callback([options, &context] { Calendars(*options, context); });
}

}  // namespace

void RegisterOverviews(CLI::App& app, Context& context) {
    RegisterFreeBusy(app, context);
    RegisterCalendars(app, context);
}

}  // namespace tarnwick::admin

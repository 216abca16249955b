// freebusy, calendars
#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/Text.h"
#include "tools/admin/Buckets.h"
#include "tools/admin/CalendarLibrary.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/DayStrips.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/Json.h"
#include "tools/admin/MonthGrid.h"

namespace tarnwick::admin {
namespace {

struct FreeBusyOptions {
    std::vector<std::string> words;  // mailboxes and the month
    std::string year;
    bool entries = false;
};

void ShowMonth(const std::string& mailbox, const FreeBusyOptions& options,
               const std::string& monthText, const Context& context) {
    const std::chrono::year_month month = MonthOption(monthText);
    const MailboxStore store = OpenMailbox(mailbox, context);
    const std::set<unsigned> busy = BusyDaysOf(store, month);
    if (context.json) {
        return JsonLines(context).Add({{"month", monthText}, {"busyDays", busy}});
    }
    Print(MonthGrid(month, busy, store.Owner().Text()));
    if (!options.entries) return;
    Selection selection;
    selection.month = monthText;
    Print("\n" + EntryTable(SelectedEntries(store, selection)));
}

// "sales/*"
bool IsPostoffice(const std::string& word) {
    return word.ends_with("/*");
}

// The mailboxes of a postoffice are its folders. A mailbox that is named twice counts once.
std::vector<std::string> NamedMailboxes(const std::vector<std::string>& words,
                                        const Context& context) {
    std::vector<std::string> mailboxes;
    const auto append = [&mailboxes](const std::string& mailbox) {
        const auto isSame = [&mailbox](const std::string& other) {
            return EqualsIgnoreCase(mailbox, other);
        };
        if (std::ranges::none_of(mailboxes, isSame)) mailboxes.push_back(mailbox);
    };
    for (const std::string& word : words) {
        if (IsPostoffice(word)) {
            if (!context.host.empty()) {
                throw WrongUsage(word + " is for this machine alone; leave --host away");
            }
            const std::string postoffice = word.substr(0, word.size() - 2);
            LoadCalendarLibrary(context.root);
            for (const std::string& name : MailboxNames(postoffice)) {
                append(postoffice + "/" + name);
            }
        } else {
            append(ParseMailbox(word).Text());
        }
    }
    return mailboxes;
}

std::vector<std::chrono::year_month> MonthsOf(std::chrono::year year) {
    std::vector<std::chrono::year_month> months;
    for (unsigned month = 1; month <= 12; ++month) {
        const std::chrono::year_month at = year / std::chrono::month(month);
        if (IsCalendarMonth(at)) months.push_back(at);
    }
    return months;
}

BusyMonths ReadBusyMonths(const std::string& mailbox,
                          const std::vector<std::chrono::year_month>& months,
                          const Context& context) {
    const MailboxStore store = OpenMailbox(mailbox, context);
    BusyMonths busy{mailbox, {}};
    for (const std::chrono::year_month month : months) {
        busy.days.push_back(BusyDaysOf(store, month));
    }
    return busy;
}

void PrintStrips(const std::vector<std::chrono::year_month>& months,
                 const std::vector<BusyMonths>& mailboxes, const Context& context) {
    if (!context.json) return Print(DayStrips(months, mailboxes));
    JsonLines lines(context);
    for (std::size_t at = 0; at < months.size(); ++at) {
        const std::string month = FormatTime(PeriodOf(months[at]).start).substr(0, 7);
        for (const BusyMonths& busy : mailboxes) {
            lines.Add(
                {{"mailbox", ToUtf8(busy.mailbox)}, {"month", month}, {"busyDays", busy.days[at]}});
        }
        lines.Add({{"month", month}, {"freeForAll", DaysFreeForAll(months[at], at, mailboxes)}});
    }
}

void ShowStrips(const std::vector<std::string>& words,
                const std::vector<std::chrono::year_month>& months, const Context& context) {
    const std::vector<std::string> mailboxes = NamedMailboxes(words, context);
    std::vector<BusyMonths> read;
    std::optional<Failure> unread;
    for (const std::string& mailbox : mailboxes) {
        try {
            read.push_back(ReadBusyMonths(mailbox, months, context));
        } catch (const Failure& failure) {
            if (failure.Status() == ExitStatus::WrongUsage) throw;
            if (unread) Note(unread->what());
            unread.emplace(failure.Status(), mailbox + " is left out: " + failure.what());
        }
    }
    if (!read.empty()) PrintStrips(months, read, context);
    if (!unread) return;
    throw Failure(read.empty() ? unread->Status() : ExitStatus::PartlyDone, unread->what());
}

void FreeBusy(const FreeBusyOptions& options, const Context& context) {
    std::vector<std::string> words = options.words;
    const auto isMailbox = [](const std::string& word) { return word.find('/') != word.npos; };
    const auto behind = std::ranges::stable_partition(words, isMailbox);
    const std::vector<std::string> months(behind.begin(), behind.end());
    words.erase(behind.begin(), behind.end());
    if (words.empty()) throw WrongUsage("no mailbox is named; write it as postoffice/mailbox");
    if (months.size() + (options.year.empty() ? 0 : 1) != 1) {
        throw WrongUsage("one month is needed, written as 2025-03, or --year 2025");
    }
    const bool isGrid = words.size() == 1 && !IsPostoffice(words.front()) && !months.empty();
    if (isGrid) return ShowMonth(words.front(), options, months.front(), context);
    if (options.entries) throw WrongUsage("--entries is for one mailbox and a month");
    ShowStrips(words,
               months.empty() ? MonthsOf(YearOption(options.year))
                              : std::vector{MonthOption(months.front())},
               context);
}

void RegisterFreeBusy(const Command& app, const Context& context) {
    auto options = std::make_shared<FreeBusyOptions>();
    const Command command = app.AddCommand(
        "freebusy",
        {"Show the busy days of a month or a year, of one mailbox or several",

         "A day is busy when it has a calendar of its own. Entries over several days lie in the\n"
         "calendar of their month or year and make no day busy; --entries shows those of the "
         "month.\n"
         "Several mailboxes have a line each, and the last line tells the days free for all of\n"
         "them. sales/* is every mailbox of the postoffice. One that cannot be read is named and\n"
         "left out; the exit status is 4 then.\n",

         "  tarnwick-admin freebusy sales/anna 2025-03\n"
         "  tarnwick-admin freebusy sales/anna 2025-03 --entries\n"
         "  tarnwick-admin freebusy sales/anna 2025-03 --json\n"
         "  tarnwick-admin freebusy sales/anna sales/ben 2025-03\n"
         "  tarnwick-admin freebusy sales/* --year 2025\n"});
    command
        .AddOption("mailbox", options->words,
                   "Mailboxes, as postoffice/mailbox or postoffice/*; and the month: 2025-03")
        .Required();
    command.AddOption("--year", options->year, "Each month of the year, not one: 2025");
    command.AddFlag("--entries", options->entries, "The month's entries below the grid");
    command.OnRun([options, &context] { FreeBusy(*options, context); });
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

void RegisterCalendars(const Command& app, const Context& context) {
    auto options = std::make_shared<CalendarsOptions>();
    const Command command = app.AddCommand(
        "calendars",
        {"List the date calendars and their numbers of entries",

         "Y25M03D01 holds the entries of a day, Y25M03 what covers several days of a month, Y25\n"
         "several months, Y several years.\n",

         "  tarnwick-admin calendars sales/anna\n"
         "  tarnwick-admin calendars sales/anna --month 2025-03\n"});
    AddMailboxOption(command, options->mailbox);
    AddSelectionOptions(command, options->selection);
    command.OnRun([options, &context] { Calendars(*options, context); });
}

}  // namespace

void RegisterOverviews(const Command& app, Context& context) {
    RegisterFreeBusy(app, context);
    RegisterCalendars(app, context);
}

}  // namespace tarnwick::admin

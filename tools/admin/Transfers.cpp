// import, export
#include <memory>

#include "common/Text.h"
#include "tools/admin/Buckets.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/EntryText.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Import.h"
#include "tools/admin/Json.h"

namespace tarnwick::admin {
namespace {

bool IsCalendarFileName(std::string_view name) {
    constexpr std::string_view kExtension = ".ics";
    return name.size() > kExtension.size() &&
           EqualsIgnoreCase(name.substr(name.size() - kExtension.size()), kExtension);
}

void PrintCounts(const ImportCounts& counts, const Context& context) {
    if (context.json) {
        return JsonLines(context).Add(
            {{"added", counts.added}, {"replaced", counts.replaced}, {"refused", counts.refused}});
    }
    PrintDone("added " + std::to_string(counts.added) + ", replaced " +
                  std::to_string(counts.replaced) + ", refused " + std::to_string(counts.refused),
              context);
}

void ImportLines(const ImportOptions& options, const Context& context) {
    if (!options.from.empty() || !options.until.empty() || options.strict) {
        throw WrongUsage("--from, --until and --strict are for calendar files");
    }
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    const std::vector<NumberedEntry> entries = ParseEntryLines(ReadInput(options.file));
    ImportCounts counts;
    Progress progress("import", entries.size(), !options.quiet);
    for (const auto& [line, entry] : entries) {
        const std::string calendar =
            options.calendar.empty() ? BucketName({entry.start, entry.end}) : options.calendar;
        const PlacedEntry placed{calendar, entry};
        if (ImportEntry(store, placed, line, options.replace, counts) == Imported::Refused) {
            Note(AtLine(line) + "calendar " + calendar + " has an entry \"" + entry.id +
                 "\" already; --replace would change it");
        }
        progress.Step();
    }
    PrintCounts(counts, context);
    RequireWhole(counts, 0);
}

void Import(const ImportOptions& options, const Context& context) {
    if (!options.calendar.empty()) CheckCalendarName(options.calendar);
    const bool isCalendarFile = options.ics || IsCalendarFileName(options.file);
    return isCalendarFile ? ImportEvents(options, context) : ImportLines(options, context);
}

void RegisterImport(const Command& app, Context& context) {
    auto options = std::make_shared<ImportOptions>();
    const Command command = app.AddCommand(
        "import",
        {"Add entries from lines of text or a calendar file (.ics)",

         "A line is start<tab>end<tab>ID with times in seconds since 1970, as calendar files hold\n"
         "them, or as 2025-03-01T09:30:00Z. Blank lines and lines that begin with # are skipped;\n"
         "with one bad line nothing of the file is imported.\n"
         "Of a calendar file each occurrence of an event becomes an entry in the calendar of its\n"
         "date, the event's UID its ID, and the event an item file that keeps all of it. What is\n"
         "not understood or left out is named with its line. Exit status 4: an event was left\n"
         "out or an entry refused, the others are in.\n",

         "  tarnwick-admin import sales/anna year.tsv\n"
         "  tarnwick-admin import sales/anna holidays.ics --until 2027-12-31\n"
         "  tarnwick-admin export sales/anna | tarnwick-admin import sales/ben\n"
         "  tarnwick-admin import sales/anna year.tsv --calendar Holidays --replace\n"});
    AddMailboxOption(command, options->mailbox);
    AddDryRunOption(command, context);
    command.AddOption("file", options->file, "The lines; - or nothing is standard input");
    command.AddOption("--calendar", options->calendar,
                      "Put all entries there (left out: each into that of its date)");
    command.AddFlag("--ics", options->ics, "It is a calendar file, whatever its name");
    command.AddOption("--from", options->from,
                      "Enter occurrences from this time on (the event's start)");
    command.AddOption("--until", options->until,
                      "Enter occurrences up to this day (400 days from today)");
    command.AddFlag("--strict", options->strict,
                    "Import nothing when anything would be noted or left out");
    command.AddFlag("--replace", options->replace, "Change entries that exist already");
    command.AddFlag("--quiet", options->quiet, "No progress on standard error");
    command.OnRun([options, &context] { Import(*options, context); });
}

struct ExportOptions {
    std::string mailbox;
    std::string file = "-";
    bool iso = false;
    bool ics = false;
    Selection selection;
};

std::string ExportedLines(const std::vector<PlacedEntry>& entries, TimeStyle style) {
    std::string lines;
    for (const PlacedEntry& placed : entries) lines += FormatEntryLine(placed.entry, style);
    return lines;
}

void Export(const ExportOptions& options, const Context& context) {
    if (context.json) throw WrongUsage("export writes lines; list --json writes JSON");
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    if (options.ics && options.iso) throw WrongUsage("--iso is for lines; leave --ics or it away");
    const TimeStyle style = options.iso ? TimeStyle::Iso : TimeStyle::Seconds;
    const std::vector<PlacedEntry> entries = SelectedEntries(store, options.selection);
    std::size_t unread = 0;
    WriteOutput(options.file, options.ics ? ExportedEvents(store, entries, unread)
                                          : ExportedLines(entries, style));
    if (options.file != "-") {
        Print("exported " + Counted(entries.size(), "entry", "entries") + "\n");
    }
    if (unread == 0) return;
    throw Failure(ExitStatus::PartlyDone, Counted(unread, "item", "items") + " could not be read");
}

void RegisterExport(const Command& app, const Context& context) {
    auto options = std::make_shared<ExportOptions>();
    const Command command = app.AddCommand(
        "export",
        {"Write entries as lines of text or a calendar file (.ics)",

         "A line is start<tab>end<tab>ID, as calendar files hold them and as import reads them.\n"
         "With --ics each event that was imported is written once, as it came, and entries that\n"
         "were edited since or have no item file become events of their own.\n",

         "  tarnwick-admin export sales/anna anna.tsv\n"
         "  tarnwick-admin export sales/anna --month 2025-03 --iso\n"
         "  tarnwick-admin export sales/anna anna.ics --ics --year 2025\n"
         "  tarnwick-admin export sales/anna --calendar Holidays\n"});
    AddMailboxOption(command, options->mailbox);
    command.AddOption("file", options->file, "The file; - or nothing is standard output");
    command.AddFlag("--iso", options->iso, "Times as 2025-03-01T09:30:00Z instead of seconds");
    command.AddFlag("--ics", options->ics, "A calendar file for other programs");
    AddSelectionOptions(command, options->selection);
    command.OnRun([options, &context] { Export(*options, context); });
}

}  // namespace

Failure CutOff(const Failure& reason, std::size_t line, const ImportCounts& counts) {
    const std::size_t imported = counts.added + counts.replaced;
    return {imported == 0 ? reason.Status() : ExitStatus::PartlyDone,
            AtLine(line) + reason.what() + ". " + Counted(imported, "entry was", "entries were") +
                " imported before it"};
}

void RequireWhole(const ImportCounts& counts, std::size_t leftOut) {
    if (leftOut != 0) {
        throw Failure(ExitStatus::PartlyDone,
                      Counted(leftOut, "event was", "events were") + " left out");
    }
    if (counts.refused == 0) return;
    throw Failure(
        counts.added + counts.replaced == 0 ? ExitStatus::Refused : ExitStatus::PartlyDone,
        Counted(counts.refused, "entry was", "entries were") + " refused");
}

Imported ImportEntry(const MailboxStore& store, const PlacedEntry& placed, std::size_t line,
                     bool replace, ImportCounts& counts) {
    const auto& [calendar, entry] = placed;
    if (store.Add(calendar, entry)) {
        ++counts.added;
        return Imported::Added;
    }
    // It is there already, or nothing can be written at all.
    const bool blocked = BlockNotice(store.Owner(), calendar).has_value();
    const bool existing = !blocked && store.Get(calendar, entry.id).has_value();
    if (!existing || (replace && !store.Edit(calendar, entry.id, entry))) {
        throw CutOff(RefusedChange(store.Owner(), calendar), line, counts);
    }
    ++(replace ? counts.replaced : counts.refused);
    return replace ? Imported::Replaced : Imported::Refused;
}

void RegisterTransfers(const Command& app, Context& context) {
    RegisterImport(app, context);
    RegisterExport(app, context);
}

}  // namespace tarnwick::admin

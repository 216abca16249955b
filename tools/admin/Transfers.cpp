// import, export
#include <memory>
#include <nlohmann/json.hpp>

#include "common/Clock.h"
#include "common/Text.h"
#include "Library/convert/CalendarFileText.h"
#include "tools/admin/Buckets.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/EventEntries.h"
#include "tools/admin/Failure.h"
#include "tools/admin/ItemLayout.h"

namespace tarnwick::admin {
namespace {

struct ImportOptions {
    std::string mailbox;
    std::string file = "-";
    std::string calendar;
    bool ics = false;
    bool replace = false;
    bool quiet = false;
};

struct ImportCounts {
    std::size_t added = 0;
    std::size_t replaced = 0;
    std::size_t refused = 0;
};

std::string AtLine(const NumberedEntry& numbered) {
    return "line " + std::to_string(numbered.line) + ": ";
}

// An entry that the library did not add: it is there already, or nothing can be written at all.
// True when it was replaced.
bool ImportExisting(const MailboxStore& store, const std::string& calendar,
                    const NumberedEntry& numbered, bool replace, ImportCounts& counts) {
    const Entry& entry = numbered.entry;
    const bool blocked = BlockNotice(store.Owner(), calendar).has_value();
    const bool existing = !blocked && store.Get(calendar, entry.id).has_value();
    if (!existing || (replace && !store.Edit(calendar, entry.id, entry))) {
        throw Refusal(AtLine(numbered) + ExplainRefusal(store.Owner(), calendar) + ". " +
                      Counted(counts.added + counts.replaced, "entry was", "entries were") +
                      " imported before it");
    }
    if (replace) {
        ++counts.replaced;
        return true;
    }
    ++counts.refused;
    Note(AtLine(numbered) + "calendar " + calendar + " has an entry \"" + entry.id +
         "\" already; --replace would change it");
    return false;
}

ImportCounts ImportEntries(const MailboxStore& store, const std::vector<ImportedEntry>& entries,
                           const ImportOptions& options) {
    ImportCounts counts;
    Progress progress("import", entries.size(), !options.quiet);
    for (const auto& [numbered, itemText] : entries) {
        const Entry& entry = numbered.entry;
        const std::string calendar =
            options.calendar.empty() ? BucketName({entry.start, entry.end}) : options.calendar;
        bool stored = store.Add(calendar, entry);
        if (stored) {
            ++counts.added;
        } else {
            stored = ImportExisting(store, calendar, numbered, options.replace, counts);
        }
        if (stored && !itemText.empty()) {
            PutItem(store, EventItemName(entry.id), LaidOutForChunks(itemText));
        }
        progress.Step();
    }
    return counts;
}

bool IsCalendarFileName(std::string_view name) {
    constexpr std::string_view kExtension = ".ics";
    return name.size() > kExtension.size() &&
           EqualsIgnoreCase(name.substr(name.size() - kExtension.size()), kExtension);
}

std::vector<ImportedEntry> ReadImport(const ImportOptions& options) {
    const std::string text = ReadInput(options.file);
    if (options.ics || IsCalendarFileName(options.file)) {
        EventFile file = ParseEventFile(text);
        for (const std::string& note : file.notes) Note(note);
        return std::move(file.entries);
    }
    std::vector<ImportedEntry> entries;
    for (NumberedEntry& numbered : ParseEntryLines(text)) {
        entries.push_back({std::move(numbered), {}});
    }
    return entries;
}

void PrintCounts(const ImportCounts& counts, const Context& context) {
    if (context.json) {
        const nlohmann::ordered_json json{
            {"added", counts.added}, {"replaced", counts.replaced}, {"refused", counts.refused}};
        return Print(json.dump() + "\n");
    }
    Print("added " + std::to_string(counts.added) + ", replaced " +
          std::to_string(counts.replaced) + ", refused " + std::to_string(counts.refused) + "\n");
}

void Import(const ImportOptions& options, const Context& context) {
    if (!options.calendar.empty()) CheckCalendarName(options.calendar);
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    const std::vector<ImportedEntry> entries = ReadImport(options);
    const ImportCounts counts = ImportEntries(store, entries, options);
    PrintCounts(counts, context);
    if (counts.refused == 0) return;
    throw Refusal(Counted(counts.refused, "entry was", "entries were") + " refused");
}

void RegisterImport(CLI::App& app, const Context& context) {
    auto options = std::make_shared<ImportOptions>();
    CLI::App* command = AddCommand(
        app, "import",
        {"Add entries from lines of text or a calendar file (.ics)",

         "A line is start<tab>end<tab>ID with times in seconds since 1970, as calendar files hold\n"
         "them, or as 2025-03-01T09:30:00Z. Blank lines and lines that begin with # are skipped;\n"
         "with one bad line nothing of the file is imported.\n"
         "Of a calendar file each event becomes an entry, its UID the ID, and an item file that\n"
         "holds its text, a recurrence included; item get reads it.\n",

         "  tarnwick-admin import sales/anna year.tsv\n"
         "  tarnwick-admin import sales/anna holidays.ics\n"
         "  tarnwick-admin export sales/anna | tarnwick-admin import sales/ben\n"
         "  tarnwick-admin import sales/anna year.tsv --calendar Holidays --replace\n"});
    AddMailboxOption(*command, options->mailbox);
    command->add_option("file", options->file, "The lines; - or nothing is standard input");
    command->add_option("--calendar", options->calendar,
                        "Put all entries there (left out: each into that of its date)");
    command->add_flag("--ics", options->ics, "It is a calendar file, whatever its name");
    command->add_flag("--replace", options->replace, "Change entries that exist already");
    command->add_flag("--quiet", options->quiet, "No progress on standard error");
    command->callback([options, &context] { Import(*options, context); });
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

std::string ExportedEvents(const MailboxStore& store, const std::vector<PlacedEntry>& entries) {
    std::vector<CalendarItem> events;
    events.reserve(entries.size());
    for (const PlacedEntry& placed : entries) {
        const auto item = store.ReadItem(EventItemName(placed.entry.id));
        events.push_back(EventOfEntry(placed.entry, item));
    }
    return CalendarFileText(events, CurrentFileTime());
}

void Export(const ExportOptions& options, const Context& context) {
    if (context.json) throw WrongUsage("export writes lines; list --json writes JSON");
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    if (options.ics && options.iso) throw WrongUsage("--iso is for lines; leave --ics or it away");
    const TimeStyle style = options.iso ? TimeStyle::Iso : TimeStyle::Seconds;
    const std::vector<PlacedEntry> entries = SelectedEntries(store, options.selection);
    WriteOutput(options.file,
                options.ics ? ExportedEvents(store, entries) : ExportedLines(entries, style));
    if (options.file != "-") {
        Print("exported " + Counted(entries.size(), "entry", "entries") + "\n");
    }
}

void RegisterExport(CLI::App& app, const Context& context) {
    auto options = std::make_shared<ExportOptions>();
    CLI::App* command = AddCommand(
        app, "export",
        {"Write entries as lines of text or a calendar file (.ics)",

         "A line is start<tab>end<tab>ID, as calendar files hold them and as import reads them.\n"
         "With --ics each entry becomes an event, with what its item file holds beside its "
         "times.\n",

         "  tarnwick-admin export sales/anna anna.tsv\n"
         "  tarnwick-admin export sales/anna --month 2025-03 --iso\n"
         "  tarnwick-admin export sales/anna anna.ics --ics --year 2025\n"
         "  tarnwick-admin export sales/anna --calendar Holidays\n"});
    AddMailboxOption(*command, options->mailbox);
    command->add_option("file", options->file, "The file; - or nothing is standard output");
    command->add_flag("--iso", options->iso, "Times as 2025-03-01T09:30:00Z instead of seconds");
    command->add_flag("--ics", options->ics, "A calendar file for other programs");
    AddSelectionOptions(*command, options->selection);
    command->callback([options, &context] { Export(*options, context); });
}

}  // namespace

void RegisterTransfers(CLI::App& app, const Context& context) {
    RegisterImport(app, context);
    RegisterExport(app, context);
}

}  // namespace tarnwick::admin

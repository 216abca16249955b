// The commands of the tool, a file each family. A family registers itself with one function; a new
// one is a new file, its function declared here and named in Main.cpp.
#pragma once

#include <string>
#include <vector>

#include "tools/admin/CommandTree.h"
#include "tools/admin/EntryText.h"
#include "tools/admin/MailboxStore.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {

// What stands on the command line in front of, or behind, every command.
struct Context {
    bool json = false;
    bool dryRun = false;
    std::string host;       // the server that carries out the calls; empty: this machine
    std::string root;       // the folder of the postoffices; empty: the registry's
    std::string command;    // "list", "item put"
    int programStatus = 0;  // what a program that was run for the command ended with
};

void RegisterEntryChanges(const Command& app, Context& context);  // add, edit, remove
void RegisterEntryQueries(const Command& app, Context& context);  // get, list
void RegisterTransfers(const Command& app, Context& context);     // import, export
void RegisterItems(const Command& app, Context& context);         // item put|get|size|delete
void RegisterOverviews(const Command& app, Context& context);     // freebusy, calendars
void RegisterHosts(const Command& app, Context& context);         // hosts list|add|remove|test
void RegisterContacts(const Command& app, Context& context);      // contacts show|convert
void RegisterStoreCare(const Command& app, Context& context);     // check, recover, locks
void RegisterIndexFiles(const Command& app, Context& context);    // index list|show|salvage|...
void RegisterActivity(const Command& app, Context& context);      // activity list|purge
void RegisterNotify(const Command& app, Context& context);        // notify flag|markers
void RegisterMessages(const Command& app, Context& context);      // message show|headers|flags|...
void RegisterDump(const Command& app, Context& context);          // dump
void RegisterDoctor(const Command& app, Context& context);        // doctor
void RegisterReport(const Command& app, Context& context);        // report
void RegisterWithLock(const Command& app, Context& context);      // with-lock
void RegisterSnapshot(const Command& app, Context& context);      // snapshot
void RegisterRestore(const Command& app, Context& context);       // restore
void RegisterDescriptions(const Command& app,
                          Context& context);  // completion bash|powershell, manual

// The mailbox that the command line names as "postoffice/mailbox". Every command reaches its
// mailbox through here. Throws Failure when there is no such mailbox.
MailboxStore OpenMailbox(const std::string& text, const Context& context);

// To be called before what may wait for a calendar: tells that it is blocked. Throws Failure in a
// dry run.
void TellBlock(const Mailbox& mailbox, const std::string& calendar, const Context& context);

// The first argument of all commands.
void AddMailboxOption(const Command& command, std::string& mailbox);

// Writes an item's file and reads it back. Throws Failure when it is not what was written.
void PutItem(const MailboxStore& store, const std::string& name, const std::string& file);

// For every command that changes a store or a setting: --dry-run. The mailbox that it opens keeps
// its changes to itself then; what it changes elsewhere it leaves out when the context says so.
void AddDryRunOption(const Command& command, Context& context);

// Prints what a command did: a line, which tells when it was a dry run.
void PrintDone(const std::string& text, const Context& context);

// Which calendars a command works on, as given by its options.
struct Selection {
    std::string calendar;
    std::string day;
    std::string month;
    std::string year;

    bool IsEmpty() const {
        return calendar.empty() && day.empty() && month.empty() && year.empty();
    }
};
void AddSelectionOptions(const Command& command, Selection& selection);

// The names of the calendars selected: the one named, or the date buckets of the period; all date
// buckets for an empty selection.
std::vector<std::string> SelectedCalendars(const MailboxStore& store, const Selection& selection);

// All entries of the calendars selected. Throws Failure when a calendar that was named has none.
std::vector<PlacedEntry> SelectedEntries(const MailboxStore& store, const Selection& selection);

// The entries with the ID in the calendars selected. Throws Failure when there is none.
std::vector<PlacedEntry> FindEntries(const MailboxStore& store, const Selection& selection,
                                     const std::string& id);

// Prints entries as the command line wants them: a table, or JSON lines.
void PrintEntries(const std::vector<PlacedEntry>& entries, const Context& context);

// Prints what became of an entry: `text`, or JSON in which `change` names it in one word.
void PrintChange(const std::string& change, const std::string& text, const PlacedEntry& entry,
                 const Context& context);

// A time of the command line; throws Failure (WrongUsage).
std::int32_t TimeOption(const std::string& text);
Period DayOption(const std::string& text);
std::chrono::year_month MonthOption(const std::string& text);
std::chrono::year YearOption(const std::string& text);

}  // namespace tarnwick::admin

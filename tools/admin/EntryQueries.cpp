// get, list
#include <memory>

#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"

namespace tarnwick::admin {
namespace {

struct QueryOptions {
    std::string mailbox;
    std::string id;
    Selection selection;
};

void Get(const QueryOptions& options, const Context& context) {
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    PrintEntries(FindEntries(store, options.selection, options.id), context);
}

void List(const QueryOptions& options, const Context& context) {
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    const std::vector<PlacedEntry> entries = SelectedEntries(store, options.selection);
    PrintEntries(entries, context);
    if (entries.empty()) Note("no entries");
}

void RegisterGet(const Command& app, const Context& context) {
    auto options = std::make_shared<QueryOptions>();
    const Command command =
        app.AddCommand("get", {"Show the entries with an ID",

                               "Capital and small letters of the ID are the same.\n",

                               "  tarnwick-admin get sales/anna \"Review\"\n"
                               "  tarnwick-admin get sales/anna \"Review\" --month 2025-03\n"
                               "  tarnwick-admin --json get sales/anna \"Review\"\n"});
    AddMailboxOption(command, options->mailbox);
    command.AddOption("id", options->id, "ID of the entry").Required();
    AddSelectionOptions(command, options->selection);
    command.OnRun([options, &context] { Get(*options, context); });
}

void RegisterList(const Command& app, const Context& context) {
    auto options = std::make_shared<QueryOptions>();
    const Command command =
        app.AddCommand("list", {"Show all entries", "",

                                "  tarnwick-admin list sales/anna\n"
                                "  tarnwick-admin list sales/anna --day 2025-03-01\n"
                                "  tarnwick-admin list sales/anna --calendar Holidays --json\n"});
    AddMailboxOption(command, options->mailbox);
    AddSelectionOptions(command, options->selection);
    command.OnRun([options, &context] { List(*options, context); });
}

}  // namespace

void RegisterEntryQueries(const Command& app, Context& context) {
    RegisterGet(app, context);
    RegisterList(app, context);
}

}  // namespace tarnwick::admin

// contacts show, convert
#include <memory>

#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/ContactCards.h"
#include "tools/admin/Json.h"

namespace tarnwick::admin {
namespace {

struct ContactOptions {
    std::string file = "-";
    std::string output = "-";
};

std::string ProblemText(const ContactOptions& options, const ReadProblem& problem) {
    const std::string name = options.file == "-" ? "standard input" : options.file;
    return name + ": " + AtLine(problem.line) + problem.reason;
}

void NoteAll(const ContactOptions& options, const std::vector<ReadProblem>& notes) {
    for (const ReadProblem& note : notes) Note(ProblemText(options, note));
}

ContactReading ReadContacts(const ContactOptions& options, std::string_view text) {
    ContactReading reading = ReadContactText(text);
    if (reading.failure) throw Refusal(ProblemText(options, *reading.failure));
    return reading;
}

void Show(const ContactOptions& options, const Context& context) {
    const ContactReading reading = ReadContacts(options, ReadInput(options.file));
    NoteAll(options, reading.notes);
    if (!context.json) return Print(ContactTable(reading.contacts, FromUtf8));
    JsonLines lines(context);
    for (const ItemPropertyContainer& contact : reading.contacts) lines.Add(ContactJson(contact));
}

void Convert(const ContactOptions& options, const Context& context) {
    const bool isPrinted = options.output == "-";
    if (isPrinted && context.json) {
        throw WrongUsage("the cards go to standard output; leave --json away or name a file");
    }
    const std::string text = ReadInput(options.file);
    const ContactReading reading = ReadContacts(options, text);
    const ConvertedContacts converted = ConvertContacts(text, reading, FromUtf8);
    NoteAll(options, converted.notes);
    WriteOutput(options.output, converted.text);
    if (isPrinted) return;
    const std::size_t count = reading.contacts.size();
    if (context.json) return JsonLines(context).Add({{"converted", count}});
    Print("converted " + Counted(count, "contact", "contacts") + "\n");
}

Command AddContactCommand(const Command& contacts, const char* name, const CommandHelp& help,
                          const std::shared_ptr<ContactOptions>& options) {
    const Command command = contacts.AddCommand(name, help);
    command.AddOption("file", options->file, "The card file; - or nothing is standard input");
    return command;
}

void RegisterShow(const Command& contacts, const Context& context) {
    auto options = std::make_shared<ContactOptions>();
    AddContactCommand(contacts, "show",
                      {"Show name, e-mail address and nickname of each contact",

                       "With --json all that was read of each contact, in UTF-8.\n",

                       "  tarnwick-admin contacts show book.vcf\n"
                       "  tarnwick-admin contacts show book.vcf --json\n"},
                      options)
        .OnRun([options, &context] { Show(*options, context); });
}

void RegisterConvert(const Command& contacts, const Context& context) {
    auto options = std::make_shared<ContactOptions>();
    const Command command = AddContactCommand(
        contacts, "convert",
        {"Write each contact as the store's own card",

         "That card holds the parts of the name, a nickname and one e-mail address. What else a\n"
         "contact has is named on standard error with the line where its card begins.\n",

         "  tarnwick-admin contacts convert book.vcf store.vcf\n"
         "  tarnwick-admin contacts convert book.vcf - > store.vcf\n"},
        options);
    command.AddOption("output", options->output, "The file; - or nothing is standard output");
    command.OnRun([options, &context] { Convert(*options, context); });
}

}  // namespace

void RegisterContacts(const Command& app, Context& context) {
    const Command contacts =
        app.AddCommand("contacts", {"Show or convert the contacts of card files (.vcf)",

                                    "vCard 2.1, 3.0 and 4.0, many to a file. No mailbox is"
                                    " needed.\n",

                                    "  tarnwick-admin contacts show book.vcf\n"});
    contacts.NeedsCommand();
    RegisterShow(contacts, context);
    RegisterConvert(contacts, context);
}

}  // namespace tarnwick::admin

// item put, get, size, delete
#include <memory>

#include "common/Files.h"
#include "common/Scan.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/Failure.h"
#include "tools/admin/ItemLayout.h"
#include "tools/admin/Json.h"

namespace tarnwick::admin {
namespace {

struct ItemOptions {
    std::string mailbox;
    std::string name;
    std::string file = "-";
    bool raw = false;
};

MailboxStore OpenForItem(const ItemOptions& options, const Context& context) {
    CheckItemName(options.name);
    return OpenMailbox(options.mailbox, context);
}

std::string ReadExisting(const MailboxStore& store, const std::string& name) {
    if (auto content = store.ReadItem(name)) return std::move(*content);
    throw Refusal("no item " + name + " in " + store.Owner().Text() + "; its file would be " +
                  ItemPath(store.Owner(), name));
}

void PrintResult(const char* result, const ItemOptions& options, std::size_t size,
                 const Context& context) {
    if (!context.json) {
        return PrintDone(
            std::string(result) + " " + options.name + ", " + Counted(size, "byte", "bytes"),
            context);
    }
    JsonLines(context).Add({{"result", result}, {"item", ToUtf8(options.name)}, {"size", size}});
}

void Put(const ItemOptions& options, const Context& context) {
    const MailboxStore store = OpenForItem(options, context);
    const std::string content = ReadInput(options.file);
    if (const std::size_t nul = FindByte(content, '\0'); nul != kNotFound) {
        throw Refusal("the byte at offset " + std::to_string(nul) +
                      " is NUL, where the library's writer stops: items are text. Encode binary "
                      "content, as base64 for one");
    }
    PutItem(store, options.name, options.raw ? content : LaidOutForChunks(content));
    PrintResult("written", options, content.size(), context);
}

// The reader skips a byte between two chunks; whether it was one that counts shows in the file.
void RequireNoLoss(const Mailbox& mailbox, const ItemOptions& options, std::size_t size) {
    // Of a server's item, only what the reader gave is known here.
    if (size < kItemChunkSize || !mailbox.host.empty()) return;
    const std::string path = ItemPath(mailbox, options.name);
    const auto lost = FirstLostByte(ReadWholeFile(path).value_or(std::string()));
    if (!lost) return;
    throw Failure(ExitStatus::PartlyDone,
                  "the item was not put by this tool: its byte at offset " + std::to_string(*lost) +
                      " lies between two chunks, where the library's reader skips one, and is "
                      "missing in the output. The whole of it is in " +
                      path);
}

void Get(const ItemOptions& options, const Context& context) {
    if (context.json) throw WrongUsage("item get writes the item itself; leave --json away");
    const MailboxStore store = OpenForItem(options, context);
    const std::string content = ReadExisting(store, options.name);
    WriteOutput(options.file, content);
    RequireNoLoss(store.Owner(), options, content.size());
}

void Size(const ItemOptions& options, const Context& context) {
    const MailboxStore store = OpenForItem(options, context);
    const std::size_t size = ReadExisting(store, options.name).size();
    if (context.json) return PrintResult("found", options, size, context);
    Print(std::to_string(size) + "\n");
}

void Delete(const ItemOptions& options, const Context& context) {
    const MailboxStore store = OpenForItem(options, context);
    const std::size_t size = ReadExisting(store, options.name).size();
    store.DeleteItem(options.name);
    if (store.ReadItem(options.name)) {
        throw Failure(StatusOfFile(store.Owner(), options.name),
                      "the item was not deleted; check that no program holds " +
                          ItemPath(store.Owner(), options.name) + " open");
    }
    PrintResult("deleted", options, size, context);
}

using ItemAction = void (*)(const ItemOptions&, const Context&);

std::shared_ptr<ItemOptions> AddItemCommand(const Command& command, const Context& context,
                                            ItemAction action) {
    auto options = std::make_shared<ItemOptions>();
    AddMailboxOption(command, options->mailbox);
    command.AddOption("name", options->name, "File name of the item, with extension").Required();
    command.OnRun([options, &context, action] { action(*options, context); });
    return options;
}

void RegisterPut(const Command& item, Context& context) {
    const Command command = item.AddCommand(
        "put",
        {"Write an item file, replacing it",

         "The library reads items in chunks of 8192 bytes and skips one byte between two of them.\n"
         "put writes a filler byte (0x16) into each such place, so that get gives back what was\n"
         "put; a program that opens the file itself sees the fillers, unless --raw left them out.\n"
         "Items are text: content with NUL bytes is refused.\n",

         "  tarnwick-admin item put sales/anna review.txt agenda.txt\n"
         "  tarnwick-admin item put sales/anna review.txt < agenda.txt\n"});
    const auto options = AddItemCommand(command, context, Put);
    command.AddOption("file", options->file, "The content; - or nothing is standard input");
    AddDryRunOption(command, context);
    command.AddFlag("--raw", options->raw,
                    "No filler bytes: for programs that open the file themselves");
}

void RegisterGet(const Command& item, const Context& context) {
    const Command command = item.AddCommand(
        "get",
        {"Read an item through the library",

         "Of an item over 8192 bytes that was written without filler bytes (item put --help), one\n"
         "byte after each chunk is lost; get then says so and ends with status 4.\n",

         "  tarnwick-admin item get sales/anna review.txt\n"
         "  tarnwick-admin item get sales/anna review.txt agenda.txt\n"});
    const auto options = AddItemCommand(command, context, Get);
    command.AddOption("file", options->file, "The file; - or nothing is standard output");
}

}  // namespace

void PutItem(const MailboxStore& store, const std::string& name, const std::string& file) {
    // A server appends the first chunk as it appends the others.
    if (!store.Owner().host.empty() && store.ReadItem(name)) {
        throw Refusal("there is an item " + ItemPath(store.Owner(), name) +
                      " already, and no server replaces one; delete it there first");
    }
    store.WriteItem(name, file);
    // The writer never tells that it failed.
    if (store.ReadItem(name) == ReadInChunks(file)) return;
    throw Failure(StatusOfFile(store.Owner(), name),
                  "the item was not written as it should be; check that " +
                      ItemPath(store.Owner(), name) +
                      " can be written and that the disk is not full");
}

void RegisterItems(const Command& app, Context& context) {
    const Command item = app.AddCommand(
        "item", {"Write, read, measure or delete item files",

                 "Items are the full texts of appointments, in files beside the calendars.\n",

                 "  tarnwick-admin item put --help\n"});
    item.NeedsCommand();
    RegisterPut(item, context);
    RegisterGet(item, context);
    AddItemCommand(item.AddCommand("size", {"Show how many bytes get would give", "",

                                            "  tarnwick-admin item size sales/anna review.txt\n"}),
                   context, Size);
    const Command remove =
        item.AddCommand("delete", {"Delete an item file", "",

                                   "  tarnwick-admin item delete sales/anna review.txt\n"});
    AddItemCommand(remove, context, Delete);
    AddDryRunOption(remove, context);
}

}  // namespace tarnwick::admin

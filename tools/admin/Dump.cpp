// dump
#include <algorithm>
#include <array>
#include <memory>

#include "common/Text.h"
#include "tools/admin/Console.h"
#include "tools/admin/FileDump.h"
#include "tools/admin/Json.h"
#include "tools/admin/StorePlaces.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {
namespace {

constexpr std::size_t kBriefBytes = 32;

struct DumpOptions {
    std::string file;
    bool all = false;
};

bool EndsWith(std::string_view path, std::string_view end) {
    return path.size() >= end.size() &&
           EqualsIgnoreCase(path.substr(path.size() - end.size()), end);
}

// By the name that the store gives the file, or a copy of it.
std::vector<DumpRow> RowsOf(const std::string& path, std::string_view bytes) {
    const std::string_view name = std::string_view(path).substr(path.find_last_of("\\/") + 1);
    if (StartsWithIgnoreCase(name, "_index.xml") || StartsWithIgnoreCase(name, "_groups.xml")) {
        return DumpIndex(bytes);
    }
    if (StartsWithIgnoreCase(name, "_activity.")) return DumpActivity(bytes);
    constexpr std::array<std::string_view, 4> kCalendars{".CAL", ".BAK", ".TMP", ".OLD"};
    if (std::any_of(kCalendars.begin(), kCalendars.end(),
                    [&](std::string_view end) { return EndsWith(name, end); })) {
        return DumpCalendar(bytes);
    }
    throw WrongUsage(
        "dump knows indexes (_index.xml, _groups.xml), activity files (_activity.tab) "
        "and calendars (.CAL) by their names; " +
        path + " is none of these");
}

void Dump(const DumpOptions& options, Context& context) {
    const LibraryMessages messages;
    const std::string path = StoreFile(options.file, context);
    const std::string bytes = ReadStoreFile(path);
    const std::vector<DumpRow> rows = RowsOf(path, bytes);
    if (context.json) {
        JsonLines lines(context);
        for (const auto& [offset, length, meaning] : rows) {
            lines.Add({{"offset", offset}, {"length", length}, {"meaning", JsonText(meaning)}});
        }
        return;
    }
    std::string text;
    for (DumpRow row : rows) {
        row.meaning = ShownBriefly(row.meaning, FromUtf8, row.meaning.size());
        text += DumpText(bytes, row, options.all ? row.length : kBriefBytes);
    }
    Print(text);
}

}  // namespace

void RegisterDump(const Command& app, Context& context) {
    auto options = std::make_shared<DumpOptions>();
    const Command command = app.AddCommand(
        "dump",
        {"Show the bytes of an index, calendar or activity file beside their meaning",

         "Each piece of the file has its offset, its first bytes, its length and its meaning.\n"
         "The kind of the file is told by its name.\n",

         "  tarnwick-admin dump sales/anna/Inbox/_index.xml\n"
         "  tarnwick-admin dump sales/anna/Calendar/Y26M04D09.CAL --all\n"});
    command.AddOption("file", options->file, "The file: a path, or postoffice/mailbox/folder/file")
        .Required();
    command.AddFlag("--all", options->all, "All bytes of each piece, not the first 32 alone");
    command.OnRun([options, &context] { Dump(*options, context); });
}

}  // namespace tarnwick::admin

// dump
#include <algorithm>
#include <array>
#include <memory>

#include "common/Text.h"
#include "tools/admin/Console.h"
#include "tools/admin/FileDump.h"
#include "tools/admin/Json.h"
#include "tools/admin/MessageDump.h"
#include "tools/admin/StorePlaces.h"
#include "tools/admin/TextTable.h"
#include "tools/admin/WireDump.h"

namespace tarnwick::admin {
namespace {

constexpr std::size_t kBriefBytes = 32;

struct DumpOptions {
    std::string file;
    std::string kind;
    bool all = false;
};

using MakeRows = std::vector<DumpRow> (*)(std::string_view bytes);

struct DumpKind {
    const char* name;
    MakeRows rows;
};
constexpr std::array<DumpKind, 6> kKinds{{{"calendar", DumpCalendar},
                                          {"index", DumpIndex},
                                          {"activity", DumpActivity},
                                          {"envelope", DumpEnvelope},
                                          {"lzw", DumpLzw},
                                          {"message", DumpMessage}}};

bool EndsWith(std::string_view path, std::string_view end) {
    return path.size() >= end.size() &&
           EqualsIgnoreCase(path.substr(path.size() - end.size()), end);
}

// By the name that the store gives the file, or a copy of it; an envelope by its first tag.
const char* KindOf(const std::string& path, std::string_view bytes) {
    const std::string_view name = std::string_view(path).substr(path.find_last_of("\\/") + 1);
    if (StartsWithIgnoreCase(name, "_index.xml") || StartsWithIgnoreCase(name, "_groups.xml")) {
        return "index";
    }
    if (StartsWithIgnoreCase(name, "_activity.")) return "activity";
    constexpr std::array<std::string_view, 4> kCalendars{".CAL", ".BAK", ".TMP", ".OLD"};
    if (std::any_of(kCalendars.begin(), kCalendars.end(),
                    [&](std::string_view end) { return EndsWith(name, end); })) {
        return "calendar";
    }
    if (EndsWith(name, ".MAI")) return "message";
    if (bytes.starts_with("<DATA>")) return "envelope";
    throw WrongUsage(
        "dump knows indexes (_index.xml, _groups.xml), activity files (_activity.tab), "
        "calendars (.CAL) and messages (.MAI) by their names and envelopes by their first tag; " +
        path + " is none of these. --as says what it is");
}

std::vector<DumpRow> RowsOf(const DumpOptions& options, const std::string& path,
                            std::string_view bytes) {
    const std::string_view kind = options.kind.empty() ? KindOf(path, bytes) : options.kind;
    return std::ranges::find(kKinds, kind, &DumpKind::name)->rows(bytes);
}

void Dump(const DumpOptions& options, Context& context) {
    const LibraryMessages messages;
    const std::string path = StoreFile(options.file, context);
    const std::string bytes = ReadStoreFile(path);
    const std::vector<DumpRow> rows = RowsOf(options, path, bytes);
    if (context.json) {
        JsonLines lines(context);
        for (const auto& [offset, length, meaning, decoded] : rows) {
            Json row{{"offset", offset}, {"length", length}, {"meaning", JsonText(meaning)}};
            if (decoded) row["decoded"] = true;
            lines.Add(row);
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
        {"Show the bytes of a file of the store or of the wire beside their meaning",

         "Each piece of the file has its offset, its first bytes, its length and its meaning.\n"
         "Indexes, calendars, activity files and messages (.MAI) are told by their names, "
         "captured\n"
         "envelopes by their first tag, compressed values by --as alone. Below what stands "
         "encoded\n"
         "in the file are the fields of the record that it is, two places to the right.\n",

         "  tarnwick-admin dump sales/anna/Inbox/_index.xml\n"
         "  tarnwick-admin dump sales/anna/Calendar/Y26M04D09.CAL --all\n"
         "  tarnwick-admin dump sales/anna/Inbox/1.MAI\n"
         "  tarnwick-admin dump request.txt --as envelope\n"});
    command.AddOption("file", options->file, "The file: a path, or postoffice/mailbox/folder/file")
        .Required();
    std::vector<std::string> kinds;
    for (const DumpKind& kind : kKinds) kinds.emplace_back(kind.name);
    command.AddOption("--as", options->kind, "What the file is").OneOf(kinds);
    command.AddFlag("--all", options->all, "All bytes of each piece, not the first 32 alone");
    command.OnRun([options, &context] { Dump(*options, context); });
}

}  // namespace tarnwick::admin

// notify flag, markers
#include <algorithm>
#include <memory>

#include "common/Text.h"
#include "Library/activity/NotifyFlags.h"
#include "tools/admin/Console.h"
#include "tools/admin/Json.h"
#include "tools/admin/store/RepairFiles.h"
#include "tools/admin/StorePlaces.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {
namespace {

// The library does not tell why it wrote nothing.
Failure NotWritten(const std::string& directory, const std::string& text) {
    if (CanMakeFiles(directory)) return Refusal(text);
    return {ExitStatus::NotAllowed, text + ": this account cannot make files there"};
}

struct NotifyOptions {
    std::string place;
    std::optional<std::string> text;
    bool set = false;
    bool clear = false;
};

std::vector<FoundFile> FilesLike(const std::string& pattern) {
    std::vector<FoundFile> files;
    DirectoryScan scan(pattern);
    while (auto found = scan.Next()) files.push_back(std::move(*found));
    std::sort(files.begin(), files.end(),
              [](const FoundFile& one, const FoundFile& two) { return one.name < two.name; });
    return files;
}

struct ChangeFlag {
    std::string folder;
    std::string path;
};

// The flags of a folder and of all folders in it.
void CollectFlags(const std::string& directory, const std::string& name,
                  std::vector<ChangeFlag>& flags) {
    for (const FoundFile& file : FilesLike(directory + "\\_*.NFY")) {
        flags.push_back({name, directory + "\\" + file.name});
    }
    for (const FoundFile& file : FilesLike(directory + "\\*")) {
        const bool isFolder = (file.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (!isFolder || file.name == "." || file.name == "..") continue;
        CollectFlags(directory + "\\" + file.name, name + "/" + file.name, flags);
    }
}

void ShowFlags(const NotifyOptions& options, const Context& context) {
    std::vector<ChangeFlag> flags;
    CollectFlags(StoreDirectory(options.place, context), options.place, flags);
    std::vector<std::vector<std::string>> rows{{"FOLDER", "FLAGGED", "FILE"}};
    std::optional<JsonLines> lines;
    if (context.json) lines.emplace(context);
    for (const auto& [folder, path] : flags) {
        if (lines) lines->Add({{"folder", JsonText(folder)}, {"file", JsonText(path)}});
        rows.push_back({folder, AgeOfFile(path) + " ago", path});
    }
    if (lines) return;
    if (flags.empty()) return Note("no folder is flagged as changed");
    Print(TextTable(rows, FromUtf8));
}

// The name as the library's operations want it.
StoreName FolderName(const NotifyOptions& options, const Context& context) {
    StoreName name = ParseStoreName(options.place, context);
    if (name.folder.empty()) throw WrongUsage("name a folder, as postoffice/mailbox/folder");
    std::replace(name.folder.begin(), name.folder.end(), '/', '\\');
    return name;
}

void PrintFlagResult(const char* result, const NotifyOptions& options, const Context& context) {
    if (!context.json) return PrintDone(std::string(result) + " " + options.place, context);
    JsonLines(context).Add({{"result", result}, {"folder", JsonText(options.place)}});
}

void Flag(const NotifyOptions& options, Context& context) {
    if (!options.set && !options.clear) return ShowFlags(options, context);
    const LibraryMessages messages;
    const StoreName name = FolderName(options, context);
    const std::string directory = StoreDirectory(options.place, context);
    if (options.clear) {
        if (name.mailbox.empty()) {
            throw Refusal("the library clears no flag of a public folder: it is not one mailbox's");
        }
        if (FilesLike(directory + "\\_*.NFY").empty()) {
            throw Refusal("the folder " + options.place + " is not flagged");
        }
        if (!context.dryRun &&
            ConsumeFolderChangeFlags(name.postoffice, name.mailbox, name.folder) == 0) {
            throw SystemFailure("the flag of " + directory + " cannot be removed");
        }
        return PrintFlagResult("cleared", options, context);
    }
    if (!context.dryRun) {
        FlagFolderChanged(name.postoffice, name.mailbox, name.folder);
        if (!FileExists(directory + "\\_NOTIFY.NFY")) {
            throw NotWritten(directory, "no flag was written in " + directory);
        }
    }
    PrintFlagResult("flagged", options, context);
}

struct NewMailMarker {
    std::string path;
    std::int32_t number = 0;
    std::uint64_t size = 0;
};

// In the order of their numbers, the one that counts last.
std::vector<NewMailMarker> MarkersIn(const std::string& directory) {
    std::vector<NewMailMarker> markers;
    for (const FoundFile& file : FilesLike(directory + "\\_*.NEW")) {
        const std::string number = file.name.substr(1, file.name.find('.') - 1);
        markers.push_back({directory + "\\" + file.name, ParseInt32(number), file.size});
    }
    std::stable_sort(markers.begin(), markers.end(),
                     [](const auto& one, const auto& two) { return one.number < two.number; });
    return markers;
}

void ShowMarkers(const std::vector<NewMailMarker>& markers, const Context& context) {
    std::vector<std::vector<std::string>> rows{{"NUMBER", "BYTES", "WRITTEN", "TEXT"}};
    std::optional<JsonLines> lines;
    if (context.json) lines.emplace(context);
    for (const auto& [path, number, size] : markers) {
        const std::string text = ReadStoreFile(path);
        if (lines) {
            lines->Add({{"number", number},
                        {"bytes", size},
                        {"counts", number > 0 && path == markers.back().path},
                        {"text", JsonText(text)}});
        }
        rows.push_back({std::to_string(number), std::to_string(size), AgeOfFile(path) + " ago",
                        ShownBriefly(text, FromUtf8)});
    }
    if (lines) return;
    if (markers.empty()) return Note("no markers: no new messages");
    Print(TextTable(rows, FromUtf8));
    if (markers.size() > 1) {
        Note("the highest number counts; the library deletes the other markers when it is asked");
    }
}

void Markers(const NotifyOptions& options, Context& context) {
    const LibraryMessages messages;
    const StoreName name = ParseStoreName(options.place, context);
    if (name.mailbox.empty() || !name.folder.empty()) {
        throw WrongUsage("markers are those of a mailbox; write it as postoffice/mailbox");
    }
    const std::string directory = StoreDirectory(options.place, context);
    const std::vector<NewMailMarker> markers = MarkersIn(directory);
    const std::int32_t highest = markers.empty() ? 0 : std::max(markers.back().number, 0);
    if (!options.text && !options.clear) return ShowMarkers(markers, context);
    if (options.clear) {
        if (!context.dryRun) GetNewMessageCount(name.postoffice, name.mailbox, {});
        const std::size_t gone = markers.size() - (highest > 0 ? 1 : 0);
        if (context.json) return JsonLines(context).Add({{"number", highest}, {"deleted", gone}});
        return PrintDone("deleted " + Counted(gone, "marker", "markers") + "; the number is " +
                             std::to_string(highest),
                         context);
    }
    const std::string path = directory + "\\_" + std::to_string(highest + 1) + ".NEW";
    if (!context.dryRun) {
        WriteNewMailMarker(name.postoffice, name.mailbox, *options.text);
        if (!FileExists(path)) {
            throw NotWritten(directory, "the marker " + path + " cannot be written");
        }
    }
    if (context.json) return JsonLines(context).Add({{"number", highest + 1}});
    PrintDone("added marker " + std::to_string(highest + 1), context);
}

Command AddNotifyCommand(const Command& notify, const char* name, const CommandHelp& help,
                         Context& context, const std::shared_ptr<NotifyOptions>& options,
                         void (*action)(const NotifyOptions&, Context&)) {
    const Command command = notify.AddCommand(name, help);
    command.AddOption("place", options->place, "postoffice/mailbox, or a folder in it").Required();
    AddDryRunOption(command, context);
    command.OnRun([options, &context, action] { action(*options, context); });
    return command;
}

void RegisterFlag(const Command& notify, Context& context) {
    auto options = std::make_shared<NotifyOptions>();
    const Command command = AddNotifyCommand(
        notify, "flag",
        {"Show the folders that are flagged as changed; set or clear a flag",

         "Processes that poll look for the flag file (_NOTIFY.NFY) of a folder. Shown are the\n"
         "flags of the place and of all folders in it. --clear waits a second, as the library\n"
         "does.\n",

         "  tarnwick-admin notify flag sales/anna\n"
         "  tarnwick-admin notify flag sales/anna/Inbox --set\n"},
        context, options, Flag);
    command.AddFlag("--set", options->set, "Flags the folder")
        .Excludes(command.AddFlag("--clear", options->clear, "Takes its flag away"));
}

void RegisterMarkers(const Command& notify, Context& context) {
    auto options = std::make_shared<NotifyOptions>();
    const Command command = AddNotifyCommand(
        notify, "markers",
        {"Show the new-mail markers of a mailbox; add one or delete those that do not count",

         "The highest number counts (_7.NEW: seven new messages). Showing deletes nothing, unlike\n"
         "the library's own count; --clean is that count.\n",

         "  tarnwick-admin notify markers sales/anna\n"
         "  tarnwick-admin notify markers sales/anna --add \"From: ben\"\n"},
        context, options, Markers);
    command.AddOption("--add", options->text, "Adds the next marker, with this text")
        .Excludes(command.AddFlag("--clean", options->clear, "Deletes all but the highest"));
}

}  // namespace

void RegisterNotify(const Command& app, Context& context) {
    const Command notify =
        app.AddCommand("notify", {"Show or set change flags and new-mail markers",

                                  "Small files that tell other programs of a change.\n",

                                  "  tarnwick-admin notify flag sales/anna\n"
                                  "  tarnwick-admin notify markers sales/anna\n"});
    notify.NeedsCommand();
    RegisterFlag(notify, context);
    RegisterMarkers(notify, context);
}

}  // namespace tarnwick::admin

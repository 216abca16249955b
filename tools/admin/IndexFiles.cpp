// index list, show, salvage, rebuild, compact
#include <algorithm>
#include <map>
#include <memory>

#include "common/Text.h"
#include "Library/FolderFiles.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tools/admin/Console.h"
#include "tools/admin/IndexPieces.h"
#include "tools/admin/IndexRebuild.h"
#include "tools/admin/Json.h"
#include "tools/admin/StorePlaces.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {
namespace {

struct IndexOptions {
    std::string folder;
    std::string type;
    std::string name;
};

const std::map<std::string, FolderType> kFolderTypes{{"mail", kMailFolder},
                                                     {"contacts", kContactsFolder},
                                                     {"calendar", kCalendarFolder},
                                                     {"tasks", kTaskFolder},
                                                     {"groups", kGroupsFolder}};

std::vector<std::string> FolderTypeNames() {
    std::vector<std::string> names;
    for (const auto& [name, type] : kFolderTypes) names.push_back(name);
    return names;
}

// Whether the folder has message files of the type.
bool HasFilesOf(const std::string& folder, FolderType type) {
    return FileExists(folder + "\\*." + MessageFileExtension(type));
}

// The type of a folder for which none was given, by the files that are there.
FolderType GuessedType(const std::string& folder) {
    if (!FileExists(IndexFilePath(folder, kMailFolder)) &&
        FileExists(IndexFilePath(folder, kGroupsFolder))) {
        return kGroupsFolder;
    }
    FolderType guessed = kMailFolder;
    std::string found;
    for (const auto& [name, type] : kFolderTypes) {
        if (type == kGroupsFolder || !HasFilesOf(folder, type)) continue;
        if (!found.empty()) {
            throw WrongUsage(folder + " has files of " + found + " and of " + name +
                             "; say with --type which the index is of");
        }
        found = name;
        guessed = type;
    }
    return guessed;
}

// A folder's index as it is on disk, under the folder's lock.
class IndexOnDisk {
  public:
    IndexOnDisk(const IndexOptions& options, FolderLock::For purpose, const Context& context)
        : context_(context),
          folder_(StoreDirectory(options.folder, context)),
          type_(options.type.empty() ? GuessedType(folder_) : kFolderTypes.at(options.type)),
          path_(IndexFilePath(folder_, type_)),
          lock_(folder_, type_, purpose, context) {
        if (purpose == FolderLock::For::Writing) RequireWritable(path_);
    }

    const std::string& Folder() const { return folder_; }
    FolderType Type() const { return type_; }
    const std::string& Path() const { return path_; }
    std::string FileOf(const StoreIndex::Entry& entry) const {
        return folder_ + "\\" + std::string(entry.Id());
    }
    const std::string& Bytes() const { return bytes_; }

    SalvagedIndex Read() {
        if (!FileExists(path_)) {
            throw SystemFailure("there is no index " + path_ + "; index rebuild makes one");
        }
        bytes_ = ReadStoreFile(path_);
        SalvagedIndex index = SalvageIndex(bytes_);
        // What is saved takes the place of what was read.
        index.entries.SetFileStamp(StampOf(path_).value_or(IndexFileStamp{}));
        return index;
    }

    // What the library says of the damage.
    std::string Damage() const {
        constexpr std::string_view kStart = "Malformed index detected: ";
        constexpr std::string_view kNoFolder = " ()";
        if (messages_.Texts().empty()) return "an entry begins within the start tag of another";
        std::string text = messages_.Texts().front();
        if (text.starts_with(kStart)) text.erase(0, kStart.size());
        if (text.ends_with(kNoFolder)) text.resize(text.size() - kNoFolder.size());
        return text;
    }

    // Keeps a copy of the file beside it; its name.
    std::string KeepAside() const {
        std::string kept = path_ + ".damaged";
        for (int number = 2; FileExists(kept); ++number) {
            kept = path_ + ".damaged" + std::to_string(number);
        }
        if (context_.dryRun || CopyOver(path_, kept)) return kept;
        throw SystemFailure("the damaged file cannot be kept as " + kept + "; nothing was changed");
    }

    void Save(StoreIndex& entries) const {
        if (context_.dryRun) return;
        if (StreamXMLStoreIndexSerialiser().Serialise(entries, folder_, type_)) return;
        throw SystemFailure("the index " + path_ + " was not written whole" +
                            (messages_.Texts().empty() ? "" : ": " + messages_.Texts().back()));
    }

  private:
    const Context& context_;
    LibraryMessages messages_;
    std::string folder_;
    FolderType type_;
    std::string path_;
    FolderLock lock_;
    std::string bytes_;
};

Json EntryObject(const StoreIndex::Entry& entry) {
    Json object{{"id", JsonText(entry.Id())}, {"uid", nullptr}};
    if (entry.HasUid()) object["uid"] = entry.Uid();
    return object;
}

Json WholeEntryObject(const StoreIndex::Entry& entry) {
    Json object = EntryObject(entry);
    object["offset"] = entry.ItemOffset();
    object["length"] = entry.ItemLength();
    Json& properties = object["properties"] = Json::object();
    for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
        properties[JsonText(entry.Names().Name(at))] = JsonText(entry.Value(at));
    }
    return object;
}

bool IsTimeOf(std::string_view name) {
    return name == "RECEIVED" || name == "MODIFIEDDATE";
}

// Times as people read them.
std::string ShownValue(std::string_view name, std::string_view value) {
    const auto time = IsTimeOf(name) ? ParseTime(value) : std::nullopt;
    return time ? FormatTime(*time) : std::string(value);
}

std::string UidText(const StoreIndex::Entry& entry) {
    return entry.HasUid() ? std::to_string(entry.Uid()) : "none";
}

std::string EntriesTable(const StoreIndex& entries) {
    std::vector<std::string> columns;
    for (const char* name : {"READ", "RECEIVED", "MODIFIEDDATE", "SIZE", "FROM", "SUBJECT"}) {
        const auto order = entries.InUidOrder();
        if (std::any_of(order.begin(), order.end(),
                        [&](const StoreIndex::Entry& entry) { return entry.Property(name); })) {
            columns.emplace_back(name);
        }
    }
    std::vector<std::vector<std::string>> rows{{"UID", "ID"}};
    rows.front().insert(rows.front().end(), columns.begin(), columns.end());
    for (const StoreIndex::Entry& entry : entries.InUidOrder()) {
        std::vector<std::string>& row = rows.emplace_back();
        row = {UidText(entry), std::string(entry.Id())};
        for (const std::string& name : columns) {
            row.push_back(ShownValue(name, entry.Property(name).value_or("")));
        }
    }
    return rows.size() == 1 ? std::string() : TextTable(rows, FromUtf8);
}

void RequireSound(const SalvagedIndex& index, const IndexOnDisk& disk) {
    if (index.isSound) return;
    throw Failure(ExitStatus::ProblemsFound,
                  "the index is damaged: " + disk.Damage() + "; index salvage keeps the " +
                      Counted(index.entries.Count(), "entry that is", "entries that are") +
                      " whole");
}

void List(const IndexOptions& options, Context& context) {
    IndexOnDisk disk(options, FolderLock::For::Reading, context);
    const SalvagedIndex index = disk.Read();
    if (context.json) {
        JsonLines lines(context);
        for (const StoreIndex::Entry& entry : index.entries.InUidOrder()) {
            lines.Add(WholeEntryObject(entry));
        }
    } else {
        Print(EntriesTable(index.entries));
        if (index.entries.Count() == 0) Note("no entries");
    }
    RequireSound(index, disk);
}

// By the ID in any case of letters, or by the UID.
const StoreIndex::Entry& FindEntry(const StoreIndex& entries, const std::string& name) {
    for (const StoreIndex::Entry& entry : entries.InUidOrder()) {
        if (EqualsIgnoreCase(entry.Id(), name)) return entry;
    }
    for (const StoreIndex::Entry& entry : entries.InUidOrder()) {
        if (entry.HasUid() && UidText(entry) == name) return entry;
    }
    throw Refusal("no entry of the index has the ID or UID \"" + name +
                  "\"; index list shows those there are");
}

void Show(const IndexOptions& options, Context& context) {
    IndexOnDisk disk(options, FolderLock::For::Reading, context);
    const SalvagedIndex index = disk.Read();
    const StoreIndex::Entry& entry = FindEntry(index.entries, options.name);
    const bool hasFile = FileExists(disk.FileOf(entry));
    if (context.json) {
        Json object = WholeEntryObject(entry);
        object["hasFile"] = hasFile;
        JsonLines(context).Add(object);
    } else {
        std::string text = "ID\t" + std::string(entry.Id()) + "\nUID\t" + UidText(entry) +
                           "\nextent\t" + std::to_string(entry.ItemOffset()) + " + " +
                           std::to_string(entry.ItemLength()) + " bytes\nfile\t" +
                           (hasFile ? "there" : "missing") + "\n";
        for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
            const std::string_view name = entry.Names().Name(at);
            const std::string value = ShownValue(name, entry.Value(at));
            text += ShownBriefly(name, FromUtf8) + "\t" +
                    ShownBriefly(value, FromUtf8, value.size()) + "\n";
        }
        Print(text);
    }
    RequireSound(index, disk);
}

std::string LostText(const IndexPiece& piece) {
    std::string text = "lost: " + Counted(piece.length, "byte", "bytes") + " at offset " +
                       std::to_string(piece.offset);
    if (!piece.id.empty()) text += ", entry " + ShownBriefly(piece.id, FromUtf8);
    if (piece.uid) text += ", UID " + std::to_string(*piece.uid);
    return text + ": " + piece.reason + "\n";
}

Json LostObject(const IndexPiece& piece) {
    Json object{{"result", "lost"}, {"offset", piece.offset}, {"length", piece.length},
                {"id", nullptr},    {"uid", nullptr},         {"reason", piece.reason}};
    if (!piece.id.empty()) object["id"] = JsonText(piece.id);
    if (piece.uid) object["uid"] = *piece.uid;
    return object;
}

void PrintSalvage(const SalvagedIndex& index, const std::string& kept, const Context& context) {
    const std::uint32_t lastUid = index.entries.LastUid();
    if (context.json) {
        JsonLines lines(context);
        lines.Add({{"result", "salvaged"},
                   {"entries", index.entries.Count()},
                   {"lastUid", lastUid},
                   {"keptAs", JsonText(kept)}});
        for (const IndexPiece& piece : index.lost) lines.Add(LostObject(piece));
        return;
    }
    PrintDone("salvaged " + Counted(index.entries.Count(), "entry", "entries") + ", LASTUID " +
                  std::to_string(lastUid) + "; the damaged file is kept as " + kept,
              context);
    for (const IndexPiece& piece : index.lost) Print(LostText(piece));
}

void NoteLastUid(const SalvagedIndex& index) {
    if (index.hasLastUid) return;
    Note("LASTUID is lost; it is set to the highest UID that the file shows");
}

void Salvage(const IndexOptions& options, Context& context) {
    IndexOnDisk disk(options, FolderLock::For::Writing, context);
    SalvagedIndex index = disk.Read();
    if (index.isSound) {
        if (context.json) return JsonLines(context).Add({{"result", "sound"}});
        return PrintDone("the index is sound; nothing is to be salvaged", context);
    }
    const std::string kept = disk.KeepAside();
    disk.Save(index.entries);
    PrintSalvage(index, kept, context);
    NoteLastUid(index);
    if (index.lost.empty()) return;
    throw Failure(ExitStatus::PartlyDone,
                  Counted(index.lost.size(), "piece is", "pieces are") +
                      " lost; index rebuild makes entries for message files without one");
}

void PrintRebuild(const StoreIndex& entries, const std::vector<EntryChange>& changes,
                  const std::string& kept, const Context& context) {
    std::map<std::string, std::size_t> counts{{"added", 0}, {"changed", 0}, {"dropped", 0}};
    for (const EntryChange& change : changes) ++counts[change.result];
    if (context.json) {
        JsonLines lines(context);
        Json head{{"result", "rebuilt"},
                  {"entries", entries.Count()},
                  {"lastUid", entries.LastUid()},
                  {"keptAs", nullptr}};
        for (const auto& [result, count] : counts) head[result] = count;
        if (!kept.empty()) head["keptAs"] = JsonText(kept);
        lines.Add(head);
        for (const EntryChange& change : changes) {
            Json object{{"result", change.result}, {"id", JsonText(change.id)}, {"uid", nullptr}};
            if (change.uid) object["uid"] = *change.uid;
            if (!change.properties.empty()) object["properties"] = change.properties;
            lines.Add(object);
        }
        return;
    }
    std::string text = "rebuilt: " + Counted(entries.Count(), "entry", "entries");
    for (const auto& [result, count] : counts) text += ", " + std::to_string(count) + " " + result;
    if (!kept.empty()) text += "; the damaged file is kept as " + kept;
    PrintDone(text, context);
    for (const EntryChange& change : changes) {
        std::string line = std::string(change.result) + " " + ShownBriefly(change.id, FromUtf8);
        if (change.uid) line += ", UID " + std::to_string(*change.uid);
        for (const std::string& name : change.properties) line += ", " + name;
        Print(line + "\n");
    }
}

void RebuildIndex(const IndexOptions& options, Context& context) {
    IndexOnDisk disk(options, FolderLock::For::Writing, context);
    SalvagedIndex index;
    const bool isThere = FileExists(disk.Path());
    if (isThere) index = disk.Read();
    const bool isDamaged = isThere && !index.isSound;
    if (!isThere) index.entries.CountAsWhole();
    // The mark first, so that a change while the files are looked at marks the folder again.
    if (!context.dryRun) ClearFolderChanged(disk.Folder());
    std::vector<EntryChange> changes;
    std::string kept;
    try {
        changes = RebuildEntries(index.entries, disk.Folder(), disk.Type());
        if (isDamaged) kept = disk.KeepAside();
        if (!isThere || isDamaged || !changes.empty()) {
            index.entries.CountAsWhole();
            disk.Save(index.entries);
        }
    } catch (...) {
        if (!context.dryRun) MarkFolderChanged(disk.Folder());
        throw;
    }
    PrintRebuild(index.entries, changes, kept, context);
    NoteLastUid(index);
}

void Compact(const IndexOptions& options, Context& context) {
    IndexOnDisk disk(options, FolderLock::For::Writing, context);
    SalvagedIndex index = disk.Read();
    RequireSound(index, disk);
    const std::vector<IndexPiece> pieces = TakeApartIndex(disk.Bytes());
    const auto blanked = std::count_if(pieces.begin(), pieces.end(), [](const IndexPiece& piece) {
        return piece.kind == IndexPieceKind::Blanked;
    });
    const std::size_t before = disk.Bytes().size();
    const std::size_t after = CompactSize(index.entries);
    index.entries.CountAsWhole();
    disk.Save(index.entries);
    if (context.json) {
        return JsonLines(context).Add({{"result", "compacted"},
                                       {"entries", index.entries.Count()},
                                       {"blanked", blanked},
                                       {"bytesBefore", before},
                                       {"bytesAfter", after}});
    }
    PrintDone("compacted: " + Counted(index.entries.Count(), "entry", "entries") + ", " +
                  Counted(static_cast<std::size_t>(blanked), "blanked one", "blanked ones") +
                  " dropped, " + std::to_string(before) + " bytes before, " +
                  std::to_string(after) + " now",
              context);
}

using IndexAction = void (*)(const IndexOptions&, Context&);

Command AddIndexCommand(const Command& index, const char* name, const CommandHelp& help,
                        Context& context, IndexAction action) {
    auto options = std::make_shared<IndexOptions>();
    const Command command = index.AddCommand(name, help);
    command.AddOption("folder", options->folder, "The folder, as postoffice/mailbox/folder")
        .Required();
    if (action == Show) {
        command.AddOption("name", options->name, "ID (a file's name) or UID of the entry")
            .Required();
    }
    command
        .AddOption("--type", options->type,
                   "What the folder holds: mail, contacts, calendar, tasks or groups (left out: "
                   "what its files tell)")
        .OneOf(FolderTypeNames());
    command.OnRun([options, &context, action] { action(*options, context); });
    return command;
}

}  // namespace

void RegisterIndexFiles(const Command& app, Context& context) {
    const Command index = app.AddCommand(
        "index",
        {"List, salvage, rebuild or compact the index of a folder",

         "The index (_index.xml) has an entry for each message file of a folder.\n"
         "A folder is postoffice/mailbox/folder or postoffice/Public/folder. What has a\n"
         "backslash or a drive, or begins with a dot or a slash, is a path, of a copy for\n"
         "instance.\n",

         "  tarnwick-admin index list sales/anna/Inbox\n"
         "  tarnwick-admin index salvage sales/anna/Inbox --dry-run\n"});
    index.NeedsCommand();
    AddIndexCommand(index, "list",
                    {"List the entries of an index",

                     "Of a damaged index those that are whole, and status 3. With --json all of\n"
                     "their properties.\n",

                     "  tarnwick-admin index list sales/anna/Inbox\n"
                     "  tarnwick-admin index list \"C:\\Copy of Inbox\" --json\n"},
                    context, List);
    AddIndexCommand(index, "show",
                    {"Show one entry with all its properties", "",

                     "  tarnwick-admin index show sales/anna/Inbox 0A1B2C3D.MAI\n"
                     "  tarnwick-admin index show sales/anna/Inbox 17\n"},
                    context, Show);
    AddDryRunOption(
        AddIndexCommand(index, "salvage",
                        {"Keep what is whole of a damaged index",

                         "Every complete entry stays, with its UID and properties, and so does\n"
                         "LASTUID. What is lost is listed, and the status is then 4. The damaged\n"
                         "file is kept beside the index, with .damaged behind its name.\n",

                         "  tarnwick-admin index salvage sales/anna/Inbox --dry-run\n"
                         "  tarnwick-admin index salvage sales/anna/Inbox\n"},
                        context, Salvage),
        context);
    AddDryRunOption(
        AddIndexCommand(index, "rebuild",
                        {"Bring an index in line with the message files",

                         "Files without an entry get one, entries without a file go, and every\n"
                         "entry says what its file says. UIDs, what only the index knows (READ,\n"
                         "FLAGSTATUS, ...) and when a mail was received stay. An index that is\n"
                         "damaged is salvaged first, one that is missing is made.\n",

                         "  tarnwick-admin index rebuild sales/anna/Inbox --dry-run\n"
                         "  tarnwick-admin index rebuild sales/anna/Contacts --type contacts\n"},
                        context, RebuildIndex),
        context);
    AddDryRunOption(AddIndexCommand(index, "compact",
                                    {"Write an index anew, without blanked entries", "",

                                     "  tarnwick-admin index compact sales/anna/Inbox\n"},
                                    context, Compact),
                    context);
}

}  // namespace tarnwick::admin

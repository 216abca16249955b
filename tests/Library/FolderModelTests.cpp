// Folders in life beside a plain version of them: what each operation gives, says and leaves.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

#include "common/Clock.h"
#include "common/Reports.h"
#include "Library/FolderFiles.h"
#include "Library/FolderScan.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::EntryText;
using testing::FolderSettings;
using testing::IndexText;
using testing::PathExists;
using testing::WriteBytesTo;

constexpr std::uint64_t kMinute = 600'000'000;
constexpr std::uint64_t kYear2011 = 129'383'136'000'000'000;
constexpr std::uint64_t kYear2020 = 132'223'104'000'000'000;

FolderSettings settings;
bool scanFails = false;
int scans = 0;
std::uint64_t now = 0;

std::string In(const FolderIndex& it, const std::string& name) {
    return it.folder + "\\" + name;
}
std::string IndexPath(const FolderIndex& it) {
    return In(it, it.folderType == 54 ? "_groups.xml" : "_index.xml");
}
std::string BlockPath(const FolderIndex& it) {
    return In(it, it.folderType == 54 ? "_groups.blk" : "_index.blk");
}
std::string MarkPath(const FolderIndex& it) {
    return In(it, "_CHANGE.DTY");
}
std::string Message(const std::string& name, const FolderIndex& it) {
    return name + "." + MessageFileExtension(it.folderType);
}

// The plain version: one thing after the other, straight from the rules, with the serialisers that
// the settings name; no call fails.
bool IsScannedByLoader(const FolderIndex& it) {
    return it.folderType == 2 || it.folderType == 3;
}
void Mark(const FolderIndex& it) {
    WriteBytesTo(MarkPath(it),
                 "This file is a flag file that denotes that this folder has been changed");
}
bool Fail(const FolderIndex& it, const std::string& what) {
    const std::string text = "Failed to deserialise index: " + it.folder + what;
    Trace(text);
    Report(ReportChannel::EventLogError, text);
    return false;
}

void AddFiles(StoreIndex& entries, const FolderIndex& it) {
    for (const std::string& name : testing::NamesIn(it.folder)) {
        StoreIndex::Entry* const entry =
            name.ends_with(Message("", it)) ? entries.Add(name) : nullptr;
        if (entry == nullptr) continue;
        const std::string bytes = testing::ReadBytesOf(In(it, name));
        entries.SetProperty(*entry, "SIZE", std::to_string(bytes.size()));
        entries.SetProperty(*entry, it.folderType == 0 ? "RECEIVED" : "MODIFIEDDATE", "1293840000");
        if (it.folderType == 0 && !bytes.empty()) entries.SetProperty(*entry, "SUBJECT", "a");
    }
}

bool LookThroughFiles(StoreIndex& entries, const FolderIndex& it) {
    scans += IsScannedByLoader(it) ? 0 : 1;
    if (!IsScannedByLoader(it) && scanFails) return false;
    for (StoreIndex::Entry& entry : entries.InPositionOrder()) {
        const bool stays = it.folderType == 54 || IsScannedByLoader(it);
        if (!stays && !PathExists(In(it, std::string(entry.Id())))) entries.Remove(entry);
    }
    AddFiles(entries, it);
    return true;
}

bool Read(StoreIndex& entries, const FolderIndex& it, bool verify) {
    StreamXMLStoreIndexSerialiser stream;
    MSXMLStoreIndexSerialiser dom;
    StoreIndexSerialiser& reader =
        settings.streamLoads ? static_cast<StoreIndexSerialiser&>(stream) : dom;
    entries.SetLoadStatus(
        reader.Deserialise(entries, it.folder, it.folderType, {.verifyFiles = verify}));
    return entries.LoadStatus() == kLoadFull;
}

bool Save(StoreIndex& entries, const FolderIndex& it) {
    if (settings.streamSaves) {
        return StreamXMLStoreIndexSerialiser().Serialise(entries, it.folder, it.folderType);
    }
    return entries.IsWhole() &&
           MSXMLStoreIndexSerialiser().Serialise(entries, it.folder, it.folderType);
}

bool ReadOrRecover(StoreIndex& entries, const FolderIndex& it, bool verify, bool refresh) {
    const bool loaded = Read(entries, it, verify);
    StreamXMLStoreIndexSerialiser copies;
    const bool hasBackup = copies.BackupExists(it.folder);
    if (!settings.backups || !settings.streamLoads) return loaded || Fail(it, "");
    if (loaded) {
        const bool recent = hasBackup && copies.BackupAgeMinutes(it.folder) <= 370;
        if (refresh && !recent) copies.CreateBackup(it.folder);
        return true;
    }
    if (!hasBackup) {
        copies.QuarantineIndex(it.folder);
        return Fail(it,
                    ". Unable to find recovery index. Recovering Index (there may be some flag "
                    "loss)");
    }
    copies.RestoreBackup(it.folder);
    StoreIndex backup;
    backup.SetLastUid(entries.LastUid());
    if (it.folderType == 54) backup.SetIdFilter(entries.IdFilter());
    if (!Read(backup, it, verify) || (it.folderType != 54 && !LookThroughFiles(backup, it))) {
        copies.DeleteBackup(it.folder);
        Fail(it, "");
        return Fail(it, ". Backup Index is also corrupt.");
    }
    entries = std::move(backup);
    Fail(it, ". Successfully loaded recovery index.");
    return true;
}

// What is left of a damaged index counts where it is to be brought in line with the files.
bool ReadScanning(StoreIndex& entries, const FolderIndex& it, bool verify) {
    entries.SetIdFilter("");
    if (!PathExists(IndexPath(it))) entries.Clear();
    if (PathExists(IndexPath(it)) && !ReadOrRecover(entries, it, verify, false)) {
        entries.CountAsWhole();
    }
    const bool scanned = it.folderType == 54 || LookThroughFiles(entries, it);
    if (it.folderType == 54) AddFiles(entries, it);
    entries.SetLoadStatus(scanned ? kLoadFull : kLoadFailed);
    return scanned || Fail(it, "");
}

void ScanAndMark(const FolderIndex& it, bool forced) {
    StoreIndex entries;
    bool scanned =
        PathExists(IndexPath(it)) && ReadOrRecover(entries, it, it.folderType != 54, false);
    if (!scanned && (forced || !PathExists(IndexPath(it)))) {
        entries.CountAsWhole();
        scanned = true;
    }
    scanned =
        scanned && LookThroughFiles(entries, it) && (!entries.IsModified() || Save(entries, it));
    if (!scanned) Mark(it);
    Trace(std::string("StoreIndex_Open::Performing StoreIndex_Scan(TW_STOREINDEX_") +
          (forced ? "REINDEX" : "CHECKDIRTY") + ") on folder " + it.folder);
}

bool IsLoadedFrom(const FolderIndex& it) {
    return it.loadedFolder == it.folder && it.loadedType == it.folderType;
}
void BeginLoad(FolderIndex& it) {
    if (!IsLoadedFrom(it)) it.entries.SetLastUid(0);
    it.entries.Clear();
    it.entries.SetFileStamp({});
    it.open = false;
    it.loadedFolder = it.folder;
    it.loadedType = it.folderType;
}

int PlainOpen(FolderIndex* index, int mode) {
    FolderIndex& it = *index;
    if (!IsLoadedFrom(it)) BeginLoad(it);
    bool wanted = mode == 2 || (!IsScannedByLoader(it) && !PathExists(IndexPath(it)));
    if (mode != 2 && mode != 3) {
        // One that nobody holds counts as abandoned at last.
        for (int wait = 0; wait < 61 && PathExists(BlockPath(it)); ++wait) WaitMilliseconds(1000);
        RemoveFile(BlockPath(it));
        if (!IsScannedByLoader(it)) {
            RemoveFile(In(it, "_CACHED.DTY"));
            wanted = RemoveFile(MarkPath(it)) || wanted;
        }
    }
    if (wanted) ScanAndMark(it, mode == 2);
    const bool always = it.folderType == 2 && settings.calendarsAlways;
    const bool marked = IsScannedByLoader(it) && PathExists(MarkPath(it));
    it.open = !wanted && it.entries.IsWhole() && !always && !marked &&
              StampOf(IndexPath(it)) == it.entries.FileStamp();
    if (it.open) {
        Trace("StoreIndex_Open::Using cached index for folder " + it.folder);
        return kOpenKept;
    }
    BeginLoad(it);
    const bool scanning = !PathExists(IndexPath(it)) || always || (marked && mode != 3);
    it.open = scanning ? ReadScanning(it.entries, it, mode != 5)
                       : ReadOrRecover(it.entries, it, mode != 5, true);
    Trace((it.open ? "StoreIndex_Open::Loaded index for folder "
                   : "StoreIndex_Open::Error opening store index in: ") +
          it.folder);
    return it.open ? kOpenLoaded : kOpenFailed;
}

bool WriteDetails(const FolderIndex& it, const FolderDetails* given, bool wasWhole) {
    if (it.folder.ends_with("$FileRoot") || (given == nullptr && !wasWhole)) return false;
    FolderDetails details{0, 0, 0, it.entries.LastUid()};
    for (const StoreIndex::Entry& entry : it.entries.InUidOrder()) {
        const std::string size(entry.Property("SIZE").value_or("0"));
        ++details.items;
        details.unread += entry.Property("READ") == "1" ? 0 : 1;
        details.size += size[0] == '-' ? 0 : std::stoull(size);
    }
    if (given != nullptr) details = *given;
    WriteBytesTo(it.dataDirectory + "\\MAILROOT\\PO\\F\\_FOLDER.DAT",
                 "ITEMS\t" + std::to_string(details.items) + "\r\nUNREAD\t" +
                     std::to_string(details.unread) + "\r\nSIZE\t" + std::to_string(details.size) +
                     "\r\nLASTUID\t" + std::to_string(details.lastUid) + "\r\n");
    return true;
}

int PlainCommit(FolderIndex* index, int mode) {
    FolderIndex& it = *index;
    if (!it.open) return kCommitNotOpen;
    const bool wasWhole = it.entries.IsWhole();
    const bool saved = Save(it.entries, it);
    if (saved) WriteDetails(it, nullptr, wasWhole);
    Trace(std::string("StoreIndex_Commit::") + (mode == 1 ? "(Notified and " : "") +
          "Committed Index for folder " + it.folder);
    return saved ? kCommitted : kCommitFailed;
}

bool SaveUnlessOvertaken(FolderIndex& it, const FolderDetails* details) {
    const bool overtaken = StampOf(IndexPath(it)).value_or(IndexFileStamp{}).lastWrite !=
                           it.entries.FileStamp().lastWrite;
    const bool wasWhole = it.entries.IsWhole();
    const bool saved = Save(it.entries, it);
    if (overtaken) {
        Trace("StoreIndex_SaveAndClose::Failed to commit index for folder " + it.folder +
              ". Index was changed while being transacted. Folder will be marked as dirty.");
    } else if (saved && WriteDetails(it, details, wasWhole)) {
        Trace("StoreIndex_SaveAndClose::SetCacheDetailsToFile for folder " + it.folder);
    }
    return saved && !overtaken;
}

int PlainSaveAndClose(FolderIndex* index, bool save, bool, File& block,
                      const FolderDetails* details) {
    FolderIndex& it = *index;
    if (save) Trace("StoreIndex_SaveAndClose::Committing Index for folder " + it.folder);
    if (save && !SaveUnlessOvertaken(it, details)) {
        Trace("StoreIndex_SaveAndClose::Failed to commit index for folder " + it.folder +
              ". Folder will be marked as dirty.");
        Mark(it);
    }
    it.open = false;
    block.Close();
    RemoveFile(BlockPath(it));
    return 1;
}

// Two folders and an object: once for the product, once for the plain version.
const char* const kFolders[] = {"\\Inbox", "\\$FileRoot"};

struct World {
    decltype(StoreIndex_Open)& open;
    decltype(StoreIndex_Commit)& commit;
    decltype(StoreIndex_SaveAndClose)& saveAndClose;
    std::string root;
    FolderIndex it = {};
    bool scanFails = false;
    std::uint64_t minute = 0, ticks = 0;
};

void SetLastWrite(const std::string& path, std::uint64_t time) {
    const File file(path, {GENERIC_WRITE, kShareReadWrite, OPEN_EXISTING});
    const FILETIME lastWrite{static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    SetFileTime(file.Native(), nullptr, nullptr, &lastWrite);
}

void WriteMessage(const FolderIndex& it, const std::string& name) {
    const std::string path = In(it, Message(name, it));
    if (PathExists(path)) return;
    WriteBytesTo(path, name == "B" ? "" : "Subject: a\r\n\r\ntext");
    SetLastWrite(path, kYear2011);
}

void Plant(const FolderIndex& it, const std::string& lastUid, const std::string& name, int uid,
           const std::string& rest) {
    const std::string entry = EntryText(Message(name, it), uid, "<CC>x</CC>");
    WriteBytesTo(IndexPath(it), "<BASEELEMENT LASTUID=\"" + lastUid + "\">" + entry + rest);
}
std::string Rest(const FolderIndex& it, int uid) {
    return EntryText(Message("B", it), uid) + "</BASEELEMENT>\r\n";
}
std::string BackupPath(const FolderIndex& it) {
    return In(it, "_index.xml.bak");
}
std::string Backup(const FolderIndex& it) {
    return IndexText("x00000007", EntryText(Message("B", it), 2, "<CC>backup</CC>"));
}
std::string Other(const World& world, const FolderIndex& it) {
    return world.root + kFolders[it.folder.ends_with("x") ? 1 : 0];
}

const FolderDetails kDetails{9, 8, 7, 6};
int Close(World& world, bool save, bool withBlock, const FolderDetails* details = nullptr) {
    File block;
    if (withBlock) RemoveFile(BlockPath(world.it));
    if (withBlock) block = File(BlockPath(world.it), kCreateBlockFile);
    return world.saveAndClose(&world.it, save, withBlock, block, details) + 2 * block.IsOpen();
}

int Set(FolderIndex& it, const char* message, const char* name, const char* value) {
    StoreIndex::Entry* const entry = it.entries.FindById(Message(message, it));
    return entry != nullptr && it.entries.SetProperty(*entry, name, value);
}
int Forget(FolderIndex& it) {
    StoreIndex::Entry* const entry = it.entries.FindById(Message("A", it));
    if (entry != nullptr) it.entries.Remove(*entry);
    return entry != nullptr;
}
using Act = std::function<int(World&, FolderIndex&)>;
const std::map<char, Act> kSteps{
    {'c', [](World& world, FolderIndex& it) { return world.commit(&it, 0); }},
    {'n', [](World& world, FolderIndex& it) { return world.commit(&it, 1); }},
    {'s', [](World& world, FolderIndex&) { return Close(world, true, false); }},
    {'b', [](World& world, FolderIndex&) { return Close(world, true, true); }},
    {'q', [](World& world, FolderIndex&) { return Close(world, false, false); }},
    {'i', [](World& world, FolderIndex&) { return Close(world, true, false, &kDetails); }},
    {'a', [](World&, FolderIndex& it) { return it.entries.Add(Message("N", it)) != nullptr; }},
    {'r', [](World&, FolderIndex& it) { return Set(it, "A", "READ", "1"); }},
    {'R', [](World&, FolderIndex& it) { return Set(it, "B", "SIZE", "-3"); }},
    {'d', [](World&, FolderIndex& it) { return Forget(it); }},
    {'F', [](World&, FolderIndex& it) { return it.entries.SetIdFilter(Message("B", it)), 0; }},
    {'f', [](World&, FolderIndex& it) { return WriteMessage(it, "D"), 0; }},
    {'m', [](World&, FolderIndex& it) { return WriteBytesTo(MarkPath(it), ""), 0; }},
    {'M', [](World&, FolderIndex& it) { return RemoveFile(MarkPath(it)); }},
    {'h', [](World&, FolderIndex& it) { return WriteBytesTo(In(it, "_CACHED.DTY"), ""), 0; }},
    {'k', [](World&, FolderIndex& it) { return WriteBytesTo(BlockPath(it), ""), 0; }},
    {'g', [](World&, FolderIndex& it) { return RemoveFile(In(it, Message("B", it))); }},
    {'x', [](World&, FolderIndex& it) { return RemoveFile(IndexPath(it)); }},
    {'o', [](World&, FolderIndex& it) { return Plant(it, "x00000007", "A", 5, Rest(it, 3)), 0; }},
    {'y', [](World&, FolderIndex& it) { return Plant(it, "9", "C", 8, Rest(it, 4)), 0; }},
    {'t', [](World&, FolderIndex& it) { return Plant(it, "x00000007", "A", 6, "<EL"), 0; }},
    {'u', [](World&, FolderIndex& it) { return Plant(it, "x00", "B", 9, ""), 0; }},
    {'v', [](World&, FolderIndex& it) { return WriteBytesTo(IndexPath(it), "<BASE"), 0; }},
    {'z', [](World&, FolderIndex& it) { return WriteBytesTo(BackupPath(it), Backup(it)), 0; }},
    {'Z', [](World&, FolderIndex& it) { return WriteBytesTo(BackupPath(it), "<BASE"), 0; }},
    {'p', [](World& world, FolderIndex&) { return world.minute += 370, 0; }},
    {'P', [](World& world, FolderIndex&) { return ++world.minute, 0; }},
    {'S', [](World& world, FolderIndex&) { return world.scanFails = !world.scanFails; }},
    {'G', [](World& world, FolderIndex& it) { return it.folder = Other(world, it), 0; }},
    {'K',
     [](World&, FolderIndex& it) {
         return it.folderType = it.folderType == kTaskFolder ? kMailFolder : kTaskFolder;
     }},
};
constexpr const char* kWeighted = "1122356777ccnsssbiqaarRdFmmMhkffgxotuvyzZpPSGK";

void Begin(World& world, FolderType type) {
    for (const char* name : {kFolders[1], kFolders[0]}) {
        world.it = testing::IndexOf(world.root + name, type);
        for (const std::string& left : testing::NamesIn(world.root + name)) {
            // Message files are slow to make and keep what they say.
            if (left[0] == '_' || left[0] == 'D') RemoveFile(In(world.it, left));
        }
        for (const FolderType each : {kMailFolder, kTaskFolder, type}) {
            world.it.folderType = each;
            for (const char* message : {"A", "B", "C"}) WriteMessage(world.it, message);
        }
    }
    RemoveFile(world.root + "\\MAILROOT\\PO\\F\\_FOLDER.DAT");
    world.it.folderType = type;
    world.it.dataDirectory = world.root;
    world.it.postoffice = "PO";
    world.it.folderName = "F";
    Plant(world.it, "x00000007", "A", 5, Rest(world.it, 7));
}

// Files that were written just now get times of their own, as if the clock ticked finely.
void SettleTimes(World& world) {
    std::map<std::uint64_t, std::uint64_t> settled;
    for (const char* folder : kFolders) {
        for (const char* name : {"\\_index.xml", "\\_groups.xml", "\\_index.xml.bak"}) {
            const std::string path = world.root + folder + name;
            const auto stamp = StampOf(path);
            if (!stamp || stamp->lastWrite < kYear2020 + kMinute * 60 * 24 * 365) continue;
            std::uint64_t& time = settled[stamp->lastWrite];
            if (time == 0) time = now - ++world.ticks;
            SetLastWrite(path, time);
            StoreIndex& entries = world.it.entries;
            if (entries.FileStamp() == *stamp) entries.SetFileStamp({time, stamp->size});
        }
    }
}

std::string Without(std::string text, const std::string& root) {
    for (std::size_t at; (at = text.find(root)) != text.npos;) text.erase(at, root.size());
    return text;
}

// All that is to be seen of a step.
std::string Step(World& world, char letter) {
    testing::ReportRecorder reports;
    const testing::CountingSleeper sleeper;
    scans = 0;
    scanFails = world.scanFails;
    now = kYear2020 + world.minute * kMinute;
    const bool opens = letter >= '1' && letter <= '7';
    std::string seen = std::to_string(opens ? world.open(&world.it, letter - '0')
                                            : kSteps.at(letter)(world, world.it));
    SettleTimes(world);
    seen += "\n" + reports.Joined(ReportChannel::Trace) + "\n" +
            reports.Joined(ReportChannel::EventLogError) + "\n" +
            testing::Describe(world.it.entries) + std::to_string(world.it.entries.LastUid()) + " " +
            std::to_string(sleeper.Count()) + " waits, " + std::to_string(scans) + " scans, " +
            (world.it.open ? "open " : "closed ") + (world.it.entries.IsWhole() ? "whole" : "part");
    return Without(seen, world.root);
}

std::string Files(const World& world) {
    std::set<std::string> files;
    for (const auto& file : std::filesystem::recursive_directory_iterator(world.root)) {
        const std::string path = file.path().string();
        const bool own = file.path().filename().string()[0] == '_';
        files.insert(path + " " + (own ? testing::ReadBytesOf(path) : "") + "\n");
    }
    std::string joined;
    for (const std::string& file : files) joined += file;
    return Without(joined, world.root);
}

class FolderModel : public ::testing::TestWithParam<FolderSettings> {};

TEST_P(FolderModel, IsWhatTheProductDoes) {
    if (!testing::IsAlone()) return;
    const testing::ScratchRegistry registry;
    settings = GetParam();
    testing::Use(settings);
    const testing::ScratchFolder roots[2];
    for (const testing::ScratchFolder& root : roots) {
        for (const char* folder : kFolders) testing::MakePath(root.Path() + folder);
        testing::MakePath(root.Path("MAILROOT\\PO\\F"));
    }
    SetClock([] { return now; });
    InstallFolderScan([](StoreIndex& entries, const std::string& folder, FolderType type) {
        ++scans;
        return !scanFails && DefaultFolderScan(entries, folder, type);
    });
    CachedTransactionsEnabled() = true;
    for (const FolderType type :
         {kMailFolder, kContactsFolder, kCalendarFolder, kTaskFolder, kGroupsFolder}) {
        SCOPED_TRACE(type);
        const auto differs = [&](const std::string& text) {
            World product{StoreIndex_Open, StoreIndex_Commit, StoreIndex_SaveAndClose,
                          roots[0].Path()};
            World plain{PlainOpen, PlainCommit, PlainSaveAndClose, roots[1].Path()};
            const auto differ = [&](const std::string& seen, const std::string& wanted) {
                return seen == wanted ? "" : "\n" + seen + "\nplainly:\n" + wanted;
            };
            for (World* const world : {&product, &plain}) Begin(*world, type);
            std::string difference;
            for (std::size_t at = 0; at < text.size() && difference.empty(); ++at) {
                difference = differ(Step(product, text[at]), Step(plain, text[at]));
            }
            return difference.empty() ? differ(Files(product), Files(plain)) : difference;
        };
        // Around the age of a backup that is renewed; an index that has gone, and the details of
        // what is read and of sizes.
        for (const std::string text : {"1p2", "1pP2", "1x1rRs"})
            EXPECT_TRUE(testing::Agrees(text, differs));
        testing::CompareWithModel(kWeighted, 1, 40, 12, differs);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Settings, FolderModel,
    ::testing::Values(FolderSettings{.backups = true},
                      FolderSettings{
                          .streamSaves = false, .backups = true, .calendarsAlways = true},
                      FolderSettings{.streamLoads = false, .streamSaves = false, .backups = true},
                      FolderSettings{.streamLoads = false,
                                     .streamSaves = false,
                                     .calendarsAlways = true,
                                     .oldFormat = false},
                      FolderSettings{.calendarsAlways = true},
                      FolderSettings{.streamLoads = false}));

}  // namespace
}  // namespace tarnwick

// What an index holds outlives whatever fails while it is opened, scanned, recovered and saved, the
// death of its process, a disk that fills up, and another process or machine at work beside it.
#include <gtest/gtest.h>

#include "Library/FolderFiles.h"
#include "Library/IndexBlockFile.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/Faults.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::EntryText;
using testing::Fault;
using testing::FolderSettings;
using testing::IndexOf;
using testing::IndexText;
using testing::ReadBytesOf;
using testing::Trial;
using testing::WriteBytesTo;

enum class Stored { Sound, Missing, Torn, TornWithBackup };
struct Life {
    const char* name;
    std::uint32_t type;
    int mode;
    Stored stored;
    bool closes;  // else it commits
};
const Life kLives[] = {
    {"checked", kMailFolder, 1, Stored::Sound, true},
    {"forced", kContactsFolder, 2, Stored::Sound, false},
    {"unscanned", kMailFolder, 3, Stored::Sound, true},
    {"tasks", kTaskFolder, 1, Stored::Sound, false},
    {"tasks forced", kTaskFolder, 2, Stored::Sound, true},
    {"groups", kGroupsFolder, 1, Stored::Sound, true},
    {"built", kMailFolder, 3, Stored::Missing, false},
    {"torn", kMailFolder, 1, Stored::Torn, true},
    {"recovered", kMailFolder, 1, Stored::TornWithBackup, true},
};

constexpr int kThrown = -1;
FolderSettings settings;
FolderIndex index;
int opened, committed;
std::size_t count;

std::string Entry(const std::string& name, std::uint32_t type, int uid) {
    return EntryText(name + MessageFileExtension(type), uid, "<SUBJECT>" + name + "</SUBJECT>");
}
std::string IndexFile(const std::string& folder, std::uint32_t type) {
    return folder + (type == kGroupsFolder ? "\\_groups.xml" : "\\_index.xml");
}

// Files A, B and C and an index that knows A and B; the object was in use, and what it holds is not
// this folder's.
void Prepare(const Life& life, const std::string& folder) {
    const std::string file = IndexFile(folder, life.type);
    WriteBytesTo(file, IndexText("x00000003", Entry("X.", life.type, 3)));
    index = IndexOf(folder, life.type);
    EXPECT_EQ(StoreIndex_Open(&index, kOpenUnverified), kOpenLoaded);
    RemoveFile(file + ".bak");
    index.loadedFolder = "elsewhere";
    for (const char* name : {"A.", "B.", "C."}) {
        WriteBytesTo(folder + "\\" + name + MessageFileExtension(life.type), "");
    }
    const std::string whole =
        IndexText("x00000007", Entry("A.", life.type, 5) + Entry("B.", life.type, 7));
    const bool torn = life.stored >= Stored::Torn;
    WriteBytesTo(file, torn ? whole.substr(0, whole.find("B.")) : whole);
    if (life.stored == Stored::Missing) RemoveFile(file);
    if (life.stored == Stored::TornWithBackup) WriteBytesTo(file + ".bak", whole);
    if (life.mode == 1) MarkFolderChanged(folder);
}

std::string Live(const Life& life, const std::string& folder) {
    opened = committed = kThrown;
    count = 0;
    if (index.folder.empty()) index = IndexOf(folder, life.type);
    try {
        opened = StoreIndex_Open(&index, life.mode);
        count = index.entries.Count();
        const char first[] = {'A', '.', MessageFileExtension(life.type)[0],
                              MessageFileExtension(life.type)[1],
                              MessageFileExtension(life.type)[2]};
        StoreIndex::Entry* const entry = index.entries.FindById({first, sizeof first});
        if (entry != nullptr) index.entries.SetProperty(*entry, "READ", "1");
    } catch (const std::exception&) {
        // A mutex or memory that cannot be had: reported and thrown on.
    }
    File none;
    if (life.closes) StoreIndex_SaveAndClose(&index, index.open, false, none, nullptr);
    if (!life.closes) committed = StoreIndex_Commit(&index, kCommit);
    return "lived";
}

// What must not be lost, whatever failed; "kept" when nothing is.
std::string Lost(const Life& life, const Trial& trial) {
    const std::string& folder = testing::FaultFolder();
    const std::string bytes = ReadBytesOf(IndexFile(folder, life.type));
    const std::string aside = ReadBytesOf(IndexFile(folder, life.type) + ".bad");
    const bool torn = life.stored >= Stored::Torn;
    const bool marked = IsFolderMarkedChanged(folder);
    const std::string block = life.type == kGroupsFolder ? "_groups.blk" : "_index.blk";
    const auto keeps = [&](const std::string& text) {
        const std::string id = std::string("ID=\"A.") + MessageFileExtension(life.type);
        const auto has = [&](const std::string& part) { return text.find(part) != text.npos; };
        return has(id + "\" UID=\"5\">") && has("<SUBJECT>A.</SUBJECT>") && has("</BASEELEMENT>") &&
               (torn || (has("UID=\"7\">") && has("<SUBJECT>B.</SUBJECT>")));
    };
    const auto is = [&](const char* ending) { return trial.call.ends_with(ending); };
    std::string lost;
    if (!trial.result.empty()) {
        StoreIndex stored;
        const bool whole =
            StreamXMLStoreIndexSerialiser().Deserialise(stored, folder, life.type, {}) == kLoadFull;
        const bool inStep = testing::Describe(stored) == testing::Describe(index.entries) &&
                            stored.LastUid() == index.entries.LastUid();
        const bool mayTear = trial.fault == Fault::AllCalls || trial.call == "WriteFile" ||
                             trial.call == "SetEndOfFile" || trial.call == "SetFilePointer";
        // What cannot be read is put aside where backups are kept; nothing else replaces it.
        const auto isTorn = [&](const std::string& text) {
            return torn && text.ends_with("<ELEMENT ID=\"");
        };
        if (life.stored != Stored::Missing && !mayTear && !keeps(bytes) && !isTorn(bytes) &&
            !(settings.backups && (keeps(aside) || isTorn(aside)))) {
            lost += "entries ";
        }
        const bool sound = life.stored == Stored::Sound;
        if (opened == kOpenLoaded && sound && count < 2) lost += "loaded ";
        if (opened == kOpenFailed && (index.open || committed == kCommitted)) lost += "failure ";
        if (committed == kCommitted && !(inStep && whole)) lost += "commit ";
        const bool canMark = !is("_CHANGE.DTY") && trial.fault != Fault::AllCalls &&
                             (trial.fault != Fault::CallsLikeIt || trial.call != "WriteFile");
        // Open: there was no memory even for the name of the mark, and nothing was begun.
        if (canMark && life.closes && opened == kOpenLoaded && !inStep && !marked && !index.open) {
            lost += "save ";
        }
        // A backup that is put in the index's place may know less than a scan has just saved.
        const bool scans = life.mode != 3 && life.stored != Stored::TornWithBackup;
        if (canMark && scans && whole && opened != kThrown && stored.Count() != 3 && !marked) {
            lost += "scan ";
        }
        const bool keepsBlock = trial.fault == Fault::CallsLikeIt && is(block.c_str()) &&
                                trial.call.starts_with("DeleteFile");
        if (canMark && !keepsBlock && testing::PathExists(folder + "\\" + block)) lost += "block ";
    }
    for (const std::string& name : testing::NamesIn(folder)) {
        const bool known = name[0] != '_' || name.ends_with(".xml") || name == "_CHANGE.DTY" ||
                           name == block || name.ends_with(".bak") ||
                           (settings.backups && name.ends_with(".bad"));
        if (!known) lost += name;
    }
    // A scan finds everything that the files say; the way that is left to an operator comes last.
    MarkFolderChanged(folder);
    FolderIndex after = IndexOf(folder, life.type);
    const testing::CountingSleeper sleeper;
    int result = kOpenFailed;
    for (const int mode : {kOpenChecked, kOpenChecked, kOpenReindexed}) {
        if (result == kOpenFailed) result = StoreIndex_Open(&after, mode);
    }
    if (result != kOpenLoaded || after.entries.Count() != 3) lost += "files ";
    return lost.empty() ? "kept" : lost + "after " + trial.call;
}

class FolderFaults : public ::testing::TestWithParam<FolderSettings> {
  protected:
    // Each life under the faults that `choose` names for it.
    void LiveWith(const std::function<std::vector<Fault>(const Life&)>& choose) {
        const testing::ScratchRegistry registry;
        settings = GetParam();
        testing::Use(settings);
        std::vector<testing::Operation> operations;
        for (const Life& life : kLives) {
            operations.push_back({life.name,
                                  [&](const std::string& folder) { Prepare(life, folder); },
                                  [&](const std::string& folder) { return Live(life, folder); },
                                  {},
                                  [&](const Trial& trial) { return Lost(life, trial); }});
            for (const Fault fault : choose(life)) {
                operations.back().outcomes[fault] = fault < Fault::Death    ? "0 kept|"
                                                    : fault == Fault::Death ? "1 kept|"
                                                                            : "kept|";
            }
        }
        testing::ExpectOutcomes(operations, ERROR_GEN_FAILURE);
    }
};

TEST_P(FolderFaults, ACallThatFailsLosesNothing) {
    if (!testing::IsAlone()) return;
    LiveWith([](const Life&) -> std::vector<Fault> {
        return {Fault::Call, Fault::CallsLikeIt, Fault::AllCalls};
    });
}

// Where backups are kept, what cannot be read is put aside; they matter to torn ones alone.
TEST_P(FolderFaults, MemoryThatRunsShortLosesNothing) {
    if (!testing::IsAlone()) return;
    LiveWith([](const Life& life) -> std::vector<Fault> {
        const bool chosen = (life.stored >= Stored::Torn) == settings.backups &&
                            (settings.streamLoads || &life == kLives);
        return chosen ? std::vector{Fault::Memory} : std::vector<Fault>();
    });
}

TEST_P(FolderFaults, WhereverOneDiesTheNextRecovers) {
    if (!testing::IsAlone()) return;
    LiveWith([](const Life& life) -> std::vector<Fault> {
        return &life == kLives && settings.backups ? std::vector{Fault::Death}
                                                   : std::vector<Fault>();
    });
}

INSTANTIATE_TEST_SUITE_P(Settings, FolderFaults,
                         ::testing::Values(FolderSettings{.backups = true}, FolderSettings{},
                                           FolderSettings{.streamLoads = false,
                                                          .streamSaves = false}),
                         testing::SettingsName);

// Real waits, but short ones: the others must get their turn. Still long enough that 61 of them
// outlast a transaction, or a waiter would take the block file of a holder that is alive.
class ShortSleeper : public Sleeper {
  public:
    explicit ShortSleeper(DWORD milliseconds) : milliseconds_(milliseconds) { SetSleeper(this); }
    ~ShortSleeper() override { SetSleeper(nullptr); }
    void Sleep(std::uint32_t) override { ::Sleep(milliseconds_); }

  private:
    DWORD milliseconds_;
};

constexpr int kKeptFiles = 6;

// One transaction, in which a new message comes in and an old one of this worker goes: under the
// folder's block file, which holds between machines, or without it, where another's save may come
// between and marks the folder.
void Transact(const std::string& folder, const std::string& worker, int round, bool blocked) {
    File block;
    if (blocked) block = WaitForAccessToIndexFileEx(IndexBlockPath(folder, 0));
    FolderIndex changed = IndexOf(folder);
    ASSERT_EQ(StoreIndex_Open(&changed, blocked ? kOpenUnscanned : kOpenChecked), kOpenLoaded);
    const auto name = [&](int number) { return worker + "-" + std::to_string(number) + ".MAI"; };
    WriteBytesTo(folder + "\\" + name(round), "Subject: " + name(round) + "\r\n\r\n");
    StoreIndex::Entry* const added = changed.entries.Add(name(round));
    if (added != nullptr) changed.entries.SetProperty(*added, "SUBJECT", name(round));
    RemoveFile(folder + "\\" + name(round - kKeptFiles));
    StoreIndex::Entry* const gone = changed.entries.FindById(name(round - kKeptFiles));
    if (gone != nullptr) changed.entries.Remove(*gone);
    StoreIndex_SaveAndClose(&changed, true, block.IsOpen(), block, nullptr);
    // A waiter that always finds the block file standing takes its holder, which has long been
    // another one, for lost.
    if (blocked) ::Sleep(5);
}

// In the end every message file of the folder has one entry, and every entry its file and subject.
void TwoTransact(bool blocked, int rounds) {
    const testing::ScratchRegistry registry;
    testing::Use({});
    testing::TwoAtOnce(
        [&](const std::string& folder, const std::string& machine) {
            const ShortSleeper sleeper(blocked ? 50 : 2);
            for (int round = 0; round < rounds && !::testing::Test::HasFailure(); ++round) {
                Transact(folder, machine, round, blocked);
            }
        },
        [&](const std::string& folder) {
            MarkFolderChanged(folder);
            FolderIndex left = IndexOf(folder);
            ASSERT_EQ(StoreIndex_Open(&left, kOpenChecked), kOpenLoaded);
            EXPECT_EQ(left.entries.Count(), 2U * kKeptFiles);
            for (const StoreIndex::Entry& entry : left.entries.InUidOrder()) {
                EXPECT_TRUE(testing::PathExists(folder + "\\" + std::string(entry.Id())));
                EXPECT_EQ(entry.Property("SUBJECT"), entry.Id());
            }
        });
}

TEST(FolderIndexProcesses, TwoOnOneMachineLoseNoEntry) {
    if (testing::IsAlone()) TwoTransact(false, 250);
}
TEST(FolderIndexMachines, TwoLoseNoEntryUnderTheBlockFile) {
    if (testing::IsAlone()) TwoTransact(true, 600);
}

// Saves in the middle of which the disk fills up and, still full, is opened again: what is put
// aside and back is moved. The length decides whether the system is told in the last write or in
// one before it.
void FillUp(bool streams, const std::string& name, std::size_t length) {
    const std::string disk = testing::Environment("TARNWICK_SMALL_DISK");
    if (disk.empty()) return;
    SCOPED_TRACE(name);
    const testing::ScratchRegistry registry;
    testing::Use({.streamLoads = streams, .streamSaves = streams, .backups = streams});
    const std::string folder = disk + "\\" + name;
    const std::string file = folder + "\\_index.xml";
    const std::string stored = IndexText("x00000002", Entry("A.", 0, 1) + Entry("B.", 0, 2));
    testing::MakePath(folder);
    for (const char* message : {"\\A.MAI", "\\B.MAI"}) WriteBytesTo(folder + message, "To: m\r\n");
    WriteBytesTo(file, stored);
    FolderIndex filling = IndexOf(folder);
    EXPECT_EQ(StoreIndex_Open(&filling, kOpenChecked), kOpenLoaded);
    filling.entries.SetProperty(*filling.entries.FindById("A.MAI"), "CC", std::string(length, 's'));
    if (name == "full") filling.entries.InvalidateExtents();
    const testing::ReportRecorder reports;
    File none;
    StoreIndex_SaveAndClose(&filling, true, false, none, nullptr);
    EXPECT_TRUE(reports.Joined(ReportChannel::Trace).ends_with("be marked as dirty."));
    EXPECT_TRUE(IsFolderMarkedChanged(folder));
    const std::string torn = ReadBytesOf(file);
    const bool hasBackup = streams && name != "no backup";
    EXPECT_EQ(ReadBytesOf(file + ".bak"), streams ? stored : "");
    if (!hasBackup) RemoveFile(file + ".bak");
    FolderIndex next = IndexOf(folder);
    EXPECT_EQ(StoreIndex_Open(&next, kOpenChecked), streams ? kOpenLoaded : kOpenFailed);
    EXPECT_EQ(ReadBytesOf(file + ".bad"), streams ? torn : "");
    RemoveFile(file + ".bad");
    if (!streams) RemoveFile(file);
    EXPECT_EQ(StoreIndex_Open(&next, kOpenChecked), streams ? kOpenKept : kOpenLoaded);
    EXPECT_EQ(next.entries.Count(), 2U);
    EXPECT_EQ(next.entries.FindById("A.MAI")->Property("SUBJECT").has_value(), hasBackup);
    RemoveFile(file);
}

TEST(FolderIndexSmallDisk, ACutOffStreamSaveIsReplacedByTheBackupOrPutAside) {
    for (const char* name : {"place", "full", "no backup"}) FillUp(true, name, 100'000);
}
TEST(FolderIndexSmallDisk, ACutOffDomSaveMarksTheFolder) {
    for (const std::size_t length : {100'000U, 66'000U, 60'000U}) {
        FillUp(false, std::to_string(length), length);
    }
}

}  // namespace
}  // namespace tarnwick

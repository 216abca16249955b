// What an index holds outlives whatever fails while it is opened, scanned, recovered and saved, the
// death of its process, a disk that fills up, and another process or machine at work beside it.
#include <gtest/gtest.h>

#include "common/Files.h"
#include "Library/FolderFiles.h"
#include "Library/IndexBlockFile.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/Faults.h"

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

struct Life {
    const char* name;
    FolderType type;
    int mode;
    bool closes;  // else it commits
    bool stored = true;
};
const Life kLives[] = {
    {"checked", kMailFolder, 1, true},       {"forced", kContactsFolder, 2, false},
    {"unscanned", kMailFolder, 3, true},     {"tasks", kTaskFolder, 1, false},
    {"tasks forced", kTaskFolder, 2, true},  {"groups", kGroupsFolder, 1, true},
    {"built", kMailFolder, 3, false, false},
};

FolderIndex index;

std::string Entry(const std::string& name, FolderType type, int uid) {
    return EntryText(name + MessageFileExtension(type), uid, "<SUBJECT>" + name + "</SUBJECT>");
}
std::string IndexFile(const std::string& folder, FolderType type) {
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
    WriteBytesTo(file,
                 IndexText("x00000007", Entry("A.", life.type, 5) + Entry("B.", life.type, 7)));
    if (!life.stored) RemoveFile(file);
    // The backup is never that of groups, whose own index is loaded again in its place.
    if (file.ends_with("_groups.xml")) WriteBytesTo(folder + "\\_index.xml.bak", "");
    if (life.mode == 1) MarkFolderChanged(folder);
}

// What the open and the commit gave; "-" for one that threw or was not tried.
std::string Live(const Life& life, const std::string& folder) {
    char result[] = "--";
    if (index.folder.empty()) index = IndexOf(folder, life.type);
    try {
        result[0] = static_cast<char>('0' + StoreIndex_Open(&index, life.mode));
        const auto entries = index.entries.InUidOrder();
        if (index.entries.Count() != 0) index.entries.SetProperty(*entries.begin(), "READ", "1");
    } catch (const std::exception&) {
        // A mutex or memory that cannot be had: reported and thrown on.
    }
    File none;
    if (life.closes) StoreIndex_SaveAndClose(&index, index.open, false, none, nullptr);
    if (!life.closes) result[1] = static_cast<char>('0' + StoreIndex_Commit(&index, kCommit));
    return result;
}

// What must not be lost, whatever failed; "kept" when nothing is.
std::string Lost(const Life& life, const Trial& trial) {
    const std::string& folder = testing::FaultFolder();
    // What cannot be read is put aside where backups are kept; nothing else replaces it.
    const std::string file = IndexFile(folder, life.type);
    const std::string bytes = ReadBytesOf(file) + ReadBytesOf(file + ".bad");
    const auto has = [&](const char* part) { return bytes.find(part) != bytes.npos; };
    std::string lost;
    if (!trial.result.empty()) {
        StoreIndex stored;
        const bool whole =
            StreamXMLStoreIndexSerialiser().Deserialise(stored, folder, life.type, {}) == kLoadFull;
        const bool inStep = testing::Describe(stored) == testing::Describe(index.entries) &&
                            stored.LastUid() == index.entries.LastUid();
        const bool mayTear = trial.fault == Fault::AllCalls || trial.call == "WriteFile" ||
                             trial.call == "SetEndOfFile" || trial.call == "SetFilePointer";
        const bool kept = has("UID=\"5\">") && has("<SUBJECT>A.</SUBJECT>") && has("UID=\"7\">") &&
                          has("<SUBJECT>B.</SUBJECT>") && has("</BASEELEMENT>");
        if (life.stored && !mayTear && !kept) lost += "entries ";
        if (trial.result[1] == '1' && !(inStep && whole)) lost += "commit ";
        const bool canMark = !trial.call.ends_with("_CHANGE.DTY") &&
                             trial.fault != Fault::AllCalls &&
                             (trial.fault != Fault::CallsLikeIt || trial.call != "WriteFile");
        const bool unmarked = canMark && !IsFolderMarkedChanged(folder);
        // Open: there was no memory even for the name of the mark, and nothing was begun.
        const bool closed = life.closes && trial.result[0] == '1' && !index.open;
        if (unmarked && closed && !inStep) lost += "save ";
        const bool scanned = life.mode != 3 && whole && trial.result[0] != '-';
        if (unmarked && scanned && stored.Count() != 3) lost += "scan ";
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

class FolderFaults : public ::testing::TestWithParam<FolderSettings> {};

TEST_P(FolderFaults, LoseNothing) {
    if (!testing::IsAlone()) return;
    const testing::ScratchRegistry registry;
    testing::Use(GetParam());
    std::vector<testing::Operation> operations;
    for (const Life& life : kLives) {
        operations.push_back({life.name,
                              [&](const std::string& folder) { Prepare(life, folder); },
                              [&](const std::string& folder) { return Live(life, folder); },
                              {{Fault::Call, "0 kept|"},
                               {Fault::CallsLikeIt, "0 kept|"},
                               {Fault::AllCalls, "0 kept|"}},
                              [&](const Trial& trial) { return Lost(life, trial); }});
        const bool first = &life == kLives;
        auto& outcomes = operations.back().outcomes;
        if (first || GetParam().streamLoads) outcomes[Fault::Memory] = "kept|";
        if (first && GetParam().backups) outcomes[Fault::Death] = "1 kept|";
    }
    testing::ExpectOutcomes(operations, ERROR_GEN_FAILURE);
}

INSTANTIATE_TEST_SUITE_P(Settings, FolderFaults,
                         ::testing::Values(FolderSettings{.backups = true},
                                           FolderSettings{.streamLoads = false,
                                                          .streamSaves = false}));

constexpr int kKeptFiles = 6;

// One transaction, in which a new message comes in and an old one of this worker goes: under the
// folder's block file, which holds between machines, or without it, where another's save may come
// between and marks the folder.
void Transact(const std::string& folder, const std::string& worker, int round, bool blocked) {
    File block;
    if (blocked) block = WaitForAccessToIndexFileEx(IndexBlockPath(folder, kMailFolder));
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
            // Real waits, but short ones: the others must get their turn. Still long enough that
            // 61 of them outlast a transaction, or a waiter would take the block file of a holder
            // that is alive.
            const testing::CountingSleeper sleeper([=](int) { ::Sleep(blocked ? 50 : 2); });
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

// What the system itself says of a disk that fills up, on which the other tests' faults rely.
TEST(FolderSmallDisk, AWriteOrCopyThatDoesNotFitFails) {
    const std::string disk = testing::Environment("TARNWICK_SMALL_DISK");
    if (disk.empty()) return;
    EXPECT_TRUE(File(disk + "\\half", kOpenTruncate).Write(std::string(40'000, 's')));
    EXPECT_FALSE(CopyOver(disk + "\\half", disk + "\\copy"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
    RemoveFile(disk + "\\copy");
    EXPECT_FALSE(File(disk + "\\full", kOpenTruncate).Write(std::string(40'000, 's')));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
}

}  // namespace
}  // namespace tarnwick

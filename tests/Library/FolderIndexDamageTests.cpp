// A damaged index is mended and an unreachable one left alone, whatever the way of opening.
#include <gtest/gtest.h>

#include "Library/FolderFlags.h"
#include "tests/Library/StoreFolders.h"

namespace tarnwick {
namespace {

using testing::AtCalls;
using testing::CountingSleeper;
using testing::Damage;
using testing::Describe;
using testing::Identifiers;
using testing::IndexOf;
using testing::IndexText;
using testing::kDamages;
using testing::kTypes;
using testing::ReadBytesOf;
using testing::Refuse;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::SetProduct;
using testing::StoreFolder;
using testing::WriteBytesTo;

constexpr const char* kSetupVariable = "TARNWICK_INDEX_SETUP";

// Settings are read once a process, so `test` is run again in a process for each kind of loader
// with and without backups. True in those.
bool RunsInEachSetup(const char* test) {
    const std::string setup = testing::Environment(kSetupVariable);
    for (const char* each : {"dom", "dom backup", "streams", "streams backup"}) {
        if (!setup.empty()) break;
        EXPECT_EQ(testing::RunSelf(test, {std::string(kSetupVariable) + "=" + each}), 0U) << each;
    }
    if (setup.starts_with("streams")) testing::UseStreams();
    SetProduct("Backup Index", setup.ends_with("backup") ? 1 : 0);
    return !setup.empty();
}

bool UsesStreams() {
    return testing::Environment(kSetupVariable).starts_with("streams");
}

TEST(FolderIndexLoss, AForcedScanMendsADamagedIndexAtOnceAndKeepsWhatCouldBeRead) {
    const ScratchRegistry registry;
    if (!RunsInEachSetup("FolderIndexLoss.AForcedScanMends*")) return;
    for (const std::uint32_t type : kTypes) {
        for (const Damage& damage : kDamages) {
            const StoreFolder folder(type);
            SCOPED_TRACE(std::string(damage.name) + " in " + folder.extension);
            WriteBytesTo(folder.index, damage.text(folder));
            FolderIndex index = IndexOf(folder.scratch.Path(), type);
            EXPECT_EQ(StoreIndex_Open(&index, kOpenReindexed), kOpenLoaded);
            EXPECT_EQ(index.entries.Count(), 3U);
            if (UsesStreams()) {
                EXPECT_EQ(folder.Stored(), damage.stored);
            }
            const std::string mended = ReadBytesOf(folder.index);
            FolderIndex next = IndexOf(folder.scratch.Path(), type);
            const AtCalls writes("WriteFile", "", Refuse(0));
            EXPECT_EQ(StoreIndex_Open(&next, kOpenReindexed), kOpenLoaded);
            EXPECT_EQ(writes.Count(), 0) << "a sound index that knows all files stays as it is";
            EXPECT_EQ(ReadBytesOf(folder.index), mended);
            EXPECT_EQ(Describe(next.entries), Describe(index.entries));
        }
    }
}

TEST(FolderIndexLoss, AForcedScanSavesADamagedIndexThatKnowsAllFiles) {
    const ScratchRegistry registry;
    if (!RunsInEachSetup("FolderIndexLoss.AForcedScanSaves*") || !UsesStreams()) return;
    for (const std::uint32_t type : kTypes) {
        const StoreFolder folder(type);
        WriteBytesTo(folder.index,
                     IndexText("x00000009", folder.Entry("A.", 9) + folder.Entry("B.", 7) +
                                                folder.Entry("C.", 8)));
        FolderIndex index = IndexOf(folder.scratch.Path(), type);
        EXPECT_EQ(StoreIndex_Open(&index, kOpenReindexed), kOpenLoaded);
        EXPECT_EQ(folder.Stored(), "B.7+ C.8+ A.9+ ") << type;
    }
}

TEST(FolderIndexLoss, ACommitMendsADamagedIndexThatItsLoaderScanned) {
    const ScratchRegistry registry;
    if (!RunsInEachSetup("FolderIndexLoss.ACommitMends*") || !UsesStreams()) return;
    for (const std::uint32_t type : {kCalendarFolder, kTaskFolder}) {
        for (const Damage& damage : kDamages) {
            const StoreFolder folder(type);
            WriteBytesTo(folder.index, damage.text(folder));
            MarkFolderChanged(folder.scratch.Path());
            FolderIndex index = IndexOf(folder.scratch.Path(), type);
            EXPECT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
            EXPECT_EQ(StoreIndex_Commit(&index, kCommit), kCommitted);
            EXPECT_EQ(folder.Stored(), damage.stored) << damage.name << " in " << folder.extension;
        }
    }
}

struct GroupTrouble {
    const char* name;
    int mode;
    bool marked;
    const char* call;
    const char* path;
    // What happens at the first such call and at the later ones.
    AtCalls::Act (*act)(const StoreFolder&);
    const char* stored;
};

AtCalls::Act Nothing(const StoreFolder&) {
    return Refuse(0);
}
AtCalls::Act MarkAgain(const StoreFolder& folder) {
    return [&folder](int) {
        WriteBytesTo(folder.scratch.Path("_CHANGE.DTY"), "");
        return 0U;
    };
}
AtCalls::Act RefuseAll(const StoreFolder&) {
    return Refuse(ERROR_ACCESS_DENIED);
}
AtCalls::Act RefuseOnce(const StoreFolder&) {
    return [](int count) { return count == 1 ? ERROR_SHARING_VIOLATION : 0U; };
}

TEST(FolderIndexLoss, GroupsLoseNothingByAScan) {
    const ScratchRegistry registry;
    if (!RunsInEachSetup("FolderIndexLoss.GroupsLose*")) return;
    const char* const all = "A.5+ B.7+ C.8 ";
    const GroupTrouble rows[] = {
        {"unmarked", kOpenChecked, false, "", "", Nothing, "A.5+ B.7+ "},
        {"marked", kOpenChecked, true, "", "", Nothing, all},
        {"forced", kOpenReindexed, false, "", "", Nothing, all},
        {"forced and marked", kOpenReindexed, true, "", "", Nothing, all},
        {"marked again meanwhile", kOpenChecked, true, "WaitForSingleObject", "", MarkAgain, all},
        {"mark undeletable", kOpenChecked, true, "DeleteFile", "_CHANGE.DTY", RefuseAll, all},
        {"held open once", kOpenUnscanned, false, "CreateFile", "_groups.xml", RefuseOnce,
         "A.5+ B.7+ "},
    };
    for (const GroupTrouble& row : rows) {
        SCOPED_TRACE(row.name);
        const StoreFolder folder(kGroupsFolder);
        RemoveFile(folder.scratch.Path("B.GRP"));  // groups need no file
        WriteBytesTo(folder.scratch.Path("_index.xml.bak"), "another folder's");
        if (row.marked) MarkFolderChanged(folder.scratch.Path());
        FolderIndex index = IndexOf(folder.scratch.Path(), kGroupsFolder);
        CountingSleeper sleeper;
        int opened = kOpenFailed;
        {
            const AtCalls trouble(row.call, row.path, row.act(folder));
            opened = StoreIndex_Open(&index, row.mode);
        }
        EXPECT_EQ(folder.Stored(), row.stored);
        EXPECT_EQ(opened == kOpenLoaded, index.entries.FindById("A.GRP") != nullptr);
        // Nor by the save of what was opened, of those that are looked at.
        if (StoreIndex::Entry* const first = index.entries.FindById("A.GRP")) {
            index.entries.SetProperty(*first, "CC", "x");
            StoreIndex_Commit(&index, kCommit);
        }
        EXPECT_TRUE(folder.Stored().starts_with("A.5+ ")) << folder.Stored();
    }
}

TEST(FolderIndexLoss, GroupsWithoutAnIndexAreFoundEvenWhereNoScanMayRun) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const StoreFolder folder(kGroupsFolder);
    RemoveFile(folder.index);
    FolderIndex index = IndexOf(folder.scratch.Path(), kGroupsFolder);
    const AtCalls trouble("CreateFile", "_groups.blk", Refuse(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
    EXPECT_EQ(Identifiers(index.entries), "A.GRP:1 B.GRP:2 C.GRP:3 ");
}

// What cannot be read says nothing of what it holds, so nothing is built in its place.
TEST(FolderIndexLoss, AnIndexThatCannotBeReachedIsNeverReplaced) {
    const ScratchRegistry registry;
    testing::UseStreams();
    struct Row {
        const char* call;
        std::uint32_t error;
    };
    const Row rows[] = {{"FindFirstFile", ERROR_GEN_FAILURE},
                        {"FindFirstFile", ERROR_SHARING_VIOLATION},
                        {"CreateFile", ERROR_SHARING_VIOLATION},
                        {"ReadFile", ERROR_READ_FAULT}};
    for (const Row& row : rows) {
        for (const std::uint32_t type : kTypes) {
            for (const int mode : {1, 2, 3, 5}) {
                const StoreFolder folder(type);
                const std::string before = ReadBytesOf(folder.index);
                MarkFolderChanged(folder.scratch.Path());
                FolderIndex index = IndexOf(folder.scratch.Path(), type);
                const CountingSleeper sleeper;
                {
                    const AtCalls trouble(row.call, ".xml", Refuse(row.error));
                    EXPECT_EQ(StoreIndex_Open(&index, mode), kOpenFailed) << row.call << mode;
                }
                EXPECT_EQ(ReadBytesOf(folder.index), before) << row.call << mode << type;
                EXPECT_TRUE(IsFolderMarkedChanged(folder.scratch.Path()));
            }
        }
    }
}

// The DOM opens files itself, past the observer.
TEST(FolderIndexLoss, AnIndexThatTheDomCannotOpenIsNeverReplaced) {
    const ScratchRegistry registry;
    for (const std::uint32_t type : kTypes) {
        const StoreFolder folder(type);
        MarkFolderChanged(folder.scratch.Path());
        FolderIndex index = IndexOf(folder.scratch.Path(), type);
        const OpenMode others[] = {{GENERIC_READ, 0, OPEN_EXISTING},
                                   {GENERIC_WRITE, kShareReadWrite, OPEN_EXISTING}};
        for (const OpenMode& other : others) {
            const File held(folder.index, other);
            ASSERT_TRUE(held.IsOpen());
            for (const int mode : {1, 2, 3}) EXPECT_EQ(StoreIndex_Open(&index, mode), kOpenFailed);
        }
        EXPECT_EQ(folder.Stored(), "A.5+ B.7+ ") << type;
    }
}

TEST(FolderIndexLoss, AnObjectForAnotherFolderBeginsAnew) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const StoreFolder first(kTaskFolder);
    const ScratchFolder second;
    FolderIndex index = IndexOf(first.scratch.Path(), kTaskFolder);
    ASSERT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
    index.folder = second.Path();
    ASSERT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
    EXPECT_EQ(index.entries.Add("N.TSK")->Uid(), 1U);
    File none;
    StoreIndex_SaveAndClose(&index, true, false, none, nullptr);
    EXPECT_EQ(second.Names(), (std::vector<std::string>{"_index.xml"})) << "no mark";
    // The same folder does not hand a UID out twice, even when its index has gone.
    RemoveFile(second.Path("_index.xml"));
    ASSERT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
    EXPECT_EQ(index.entries.Add("M.TSK")->Uid(), 2U);
}

}  // namespace
}  // namespace tarnwick

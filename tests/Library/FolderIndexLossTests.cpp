// What an index holds outlives whatever goes wrong while it is opened, scanned, saved and closed.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "common/MutexLock.h"
#include "Library/FolderFiles.h"
#include "Library/FolderFlags.h"
#include "Library/FolderScan.h"
#include "Library/SerialiserChoice.h"
#include "tests/Library/IndexFixtures.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CountingSleeper;
using testing::Describe;
using testing::EntryText;
using testing::Environment;
using testing::Identifiers;
using testing::IndexOf;
using testing::IndexText;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::SetProduct;
using testing::WriteBytesTo;

constexpr const char* kSetupVariable = "TARNWICK_INDEX_SETUP";

// Settings are read once a process, so `test` is run again in a process for each kind of loader
// with and without backups. True in those.
bool RunsInEachSetup(const char* test) {
    const std::string setup = Environment(kSetupVariable);
    for (const char* each : {"dom", "dom backup", "streams", "streams backup"}) {
        if (!setup.empty()) break;
        EXPECT_EQ(testing::RunSelf(test, {std::string(kSetupVariable) + "=" + each}), 0U) << each;
    }
    if (setup.starts_with("streams")) testing::UseStreams();
    SetProduct("Backup Index", setup.ends_with("backup") ? 1 : 0);
    return !setup.empty();
}

bool UsesStreams() {
    return Environment(kSetupVariable).starts_with("streams");
}

// A folder of any type with the files A, B and C and an index that knows A and B.
struct StoreFolder {
    explicit StoreFolder(std::uint32_t folderType)
        : type(folderType),
          extension(MessageFileExtension(folderType)),
          index(scratch.Path(folderType == kGroupsFolder ? "_groups.xml" : "_index.xml")) {
        for (const char* name : {"A.", "B.", "C."})
            WriteBytesTo(scratch.Path(name + extension), "");
        WriteBytesTo(index, IndexText("x00000007", Entry("A.", 5) + Entry("B.", 7)));
    }
    std::string Entry(const std::string& name, int uid) const {
        return EntryText(name + extension, uid, "<SUBJECT>" + name + "</SUBJECT>");
    }
    // "5 7 8" for the entries "A.MAI" and so on of the file, read by a loader that scans nothing;
    // "+" behind the UID of one that has its SUBJECT still.
    std::string Stored() const {
        StoreIndex entries;
        SerialiserOwner reader = ChooseReader();
        if (reader->Deserialise(entries, scratch.Path(), type, {}) != kLoadFull) return "damaged";
        std::string text;
        for (const StoreIndex::Entry& entry : entries.InUidOrder()) {
            const std::string name(entry.Id().substr(0, 2));
            text += name + std::to_string(entry.Uid()) +
                    (entry.Property("SUBJECT") == name ? "+ " : " ");
        }
        return text;
    }

    ScratchFolder scratch;
    std::uint32_t type;
    std::string extension;
    std::string index;
};

constexpr std::uint32_t kTypes[] = {kMailFolder, kContactsFolder, kCalendarFolder, kTaskFolder,
                                    kGroupsFolder};

struct Damage {
    const char* name;
    std::string (*text)(const StoreFolder&);
    const char* stored;  // after the mend, where something could be read
};
const Damage kDamages[] = {
    {"order of UIDs",
     [](const StoreFolder& folder) {
         return IndexText("x00000009", folder.Entry("A.", 5) + folder.Entry("B.", 3));
     },
     "B.3+ A.5+ C.10 "},
    {"cut in an entry",
     [](const StoreFolder& folder) {
         const std::string whole = ReadBytesOf(folder.index);
         return whole.substr(0, whole.find("B."));
     },
     "A.5+ B.8 C.9 "},
    {"last UID torn",
     [](const StoreFolder& folder) {
         return "<BASEELEMENT LASTUID=\"x00\">" + folder.Entry("B.", 7);
     },
     "B.7+ A.8 C.9 "},
    {"nothing left", [](const StoreFolder&) { return std::string("<BASE"); }, "A.1 B.2 C.3 "},
};

// Does something at calls of one name to a file (or with nothing but a name), and may refuse them.
class AtCalls : public CallObserver {
  public:
    using Act = std::function<std::uint32_t(int count)>;
    AtCalls(std::string name, std::string ending, Act act)
        : name_(std::move(name)), ending_(std::move(ending)), act_(std::move(act)) {
        SetCallObserver(this);
    }
    ~AtCalls() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        // Reads and writes name no path.
        const bool meant =
            call.name == name_ && (call.path.empty() || call.path.ends_with(ending_));
        return meant ? act_(++count_) : 0;
    }
    int Count() const { return count_; }

  private:
    std::string name_;
    std::string ending_;
    Act act_;
    int count_ = 0;
};

AtCalls::Act Refuse(std::uint32_t error) {
    return [error](int) { return error; };
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
        {
            const File held(folder.index, {GENERIC_READ, 0, OPEN_EXISTING});
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

TEST(FolderIndexLoss, TheMarkIsThereBeforeTheMutexIsFree) {
    const ScratchRegistry registry;
    testing::UseStreams();
    for (const char* failing : {"WriteFile", "WaitForSingleObject"}) {
        const StoreFolder folder(kTaskFolder);
        const std::string path = folder.scratch.Path();
        FolderIndex index = IndexOf(path, kTaskFolder);
        ASSERT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
        index.entries.Add("N.TSK");
        DWORD mutexAtTheMark = WAIT_FAILED;
        bool looked = false;
        class Watch : public CallObserver {
          public:
            std::function<std::uint32_t(const SystemCall&)> at;
            std::uint32_t BeforeCall(const SystemCall& call) override { return at(call); }
        } watch;
        watch.at = [&](const SystemCall& call) -> std::uint32_t {
            if (looked) return 0;
            if (call.name == "CreateFile" && call.path.ends_with("_CHANGE.DTY")) {
                looked = true;
                const ObjectHandle mutex = OpenFolderMutex(path);
                std::thread([&] {
                    mutexAtTheMark = WaitForSingleObject(mutex.Get(), 0);
                    if (mutexAtTheMark == WAIT_OBJECT_0) ReleaseMutex(mutex.Get());
                }).join();
                return 0;
            }
            return call.name == failing ? ERROR_GEN_FAILURE : 0;
        };
        SetCallObserver(&watch);
        File none;
        StoreIndex_SaveAndClose(&index, true, false, none, nullptr);
        SetCallObserver(nullptr);
        const bool lockHad = std::string_view(failing) == "WriteFile";
        EXPECT_EQ(mutexAtTheMark, lockHad ? WAIT_TIMEOUT : WAIT_OBJECT_0) << failing;
        EXPECT_TRUE(IsFolderMarkedChanged(path)) << failing;
    }
}

bool FailingScan(StoreIndex&, const std::string&, std::uint32_t) {
    return false;
}
bool ThrowingScan(StoreIndex&, const std::string&, std::uint32_t) {
    throw std::runtime_error("scan");
}

TEST(FolderIndexLoss, AScanThatFailedMarksTheFolderAndLeavesNoBlock) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const ReportRecorder reports;
    for (const int mode : {kOpenChecked, kOpenReindexed}) {
        for (const FolderScan scan : {FailingScan, ThrowingScan}) {
            const StoreFolder folder(kMailFolder);
            if (mode == kOpenChecked) MarkFolderChanged(folder.scratch.Path());
            InstallFolderScan(scan);
            FolderIndex index = IndexOf(folder.scratch.Path());
            if (scan == ThrowingScan) {
                EXPECT_THROW(StoreIndex_Open(&index, mode), std::runtime_error);
            } else {
                EXPECT_EQ(StoreIndex_Open(&index, mode), kOpenLoaded);
                EXPECT_EQ(Identifiers(index.entries), "A.MAI:5 B.MAI:7 ");
            }
            EXPECT_EQ(
                folder.scratch.Names(),
                (std::vector<std::string>{"A.MAI", "B.MAI", "C.MAI", "_CHANGE.DTY", "_index.xml"}));
            InstallFolderScan(nullptr);
        }
    }
}

// Opens, changes and closes with the allocation `number` failing; gives whether it came to that.
bool LivesWithShortMemory(FolderIndex& index, int mode, int number, bool andAllAfter) {
    const testing::FailingAllocations failing(number, andAllAfter);
    File none;
    try {
        if (StoreIndex_Open(&index, mode) != kOpenFailed) {
            if (StoreIndex::Entry* const first = index.entries.FindById("A.MAI")) {
                index.entries.SetProperty(*first, "READ", "1");
            }
        }
    } catch (const std::bad_alloc&) {
        // Reported and thrown on, as the caller of an open expects.
    }
    StoreIndex_SaveAndClose(&index, index.open, false, none, nullptr);
    return testing::FailingAllocations::Any();
}

TEST(FolderIndexLoss, MemoryThatRunsShortLosesNothing) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const ReportRecorder reports;
    const CountingSleeper sleeper;
    for (const int mode : {kOpenChecked, kOpenReindexed}) {
        const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
            const StoreFolder folder(kMailFolder);
            MarkFolderChanged(folder.scratch.Path());
            FolderIndex index = IndexOf(folder.scratch.Path());
            const bool failed = LivesWithShortMemory(index, mode, number, andAllAfter);
            SCOPED_TRACE(number);
            EXPECT_FALSE(PathExists(folder.scratch.Path("_index.blk")));
            EXPECT_TRUE(folder.Stored().starts_with("A.5+ B.7+ ")) << folder.Stored();
            FolderIndex after = IndexOf(folder.scratch.Path());
            EXPECT_EQ(StoreIndex_Open(&after, kOpenChecked), kOpenLoaded);
            EXPECT_EQ(after.entries.Count(), 3U);
            return failed;
        });
        EXPECT_GT(count, 50) << mode;
    }
}

}  // namespace
}  // namespace tarnwick

// What an index holds outlives whatever breaks off while it is opened, scanned, saved and closed.
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "common/MutexLock.h"
#include "Library/FolderFlags.h"
#include "Library/FolderScan.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/FailingAllocations.h"

namespace tarnwick {
namespace {

using testing::AtCalls;
using testing::AtEachCall;
using testing::CountingSleeper;
using testing::Identifiers;
using testing::IndexOf;
using testing::IndexText;
using testing::kDamages;
using testing::kTypes;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::Refuse;
using testing::ReportRecorder;
using testing::ScratchRegistry;
using testing::SetProduct;
using testing::StoreFolder;
using testing::WriteBytesTo;

TEST(FolderIndexLoss, AnOpenThatBreaksOffLeavesNothingToSave) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const ReportRecorder reports;
    const CountingSleeper sleeper;
    for (const bool sameFolder : {false, true}) {
        const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
            const StoreFolder first(kMailFolder);
            const StoreFolder second(kMailFolder);
            const StoreFolder& saved = sameFolder ? first : second;
            FolderIndex index = IndexOf(first.scratch.Path());
            EXPECT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
            // Another saves meanwhile, so that the open has to load.
            const std::string other = first.Entry("A.", 5) + first.Entry("B.", 7);
            WriteBytesTo(first.index, IndexText("x00000009", other + first.Entry("C.", 9)));
            index.entries.Remove(*index.entries.FindById("A.MAI"));
            index.folder = saved.scratch.Path();
            bool failed = false;
            try {
                const testing::FailingAllocations failing(number, andAllAfter);
                StoreIndex_Open(&index, kOpenUnverified);
            } catch (const std::bad_alloc&) {
                // Thrown on, as it must be.
            }
            failed = testing::FailingAllocations::Any();
            StoreIndex_Commit(&index, kCommit);
            EXPECT_EQ(second.Stored(), "A.5+ B.7+ ") << number;
            return failed;
        });
        EXPECT_GT(count, 20);
    }
}

// Short of memory the stream's own load leaves nothing that a save takes for the whole.
TEST(FolderIndexLoss, ALoadThatBreaksOffIsNotSaved) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const ReportRecorder reports;
    const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
        const StoreFolder folder(kMailFolder);
        const SerialiserOwner stream = ChooseReader();
        StoreIndex entries;
        EXPECT_EQ(stream->Deserialise(entries, folder.scratch.Path(), 0, {}), kLoadFull);
        try {
            const testing::FailingAllocations failing(number, andAllAfter);
            stream->Deserialise(entries, folder.scratch.Path(), 0, {});
        } catch (const std::bad_alloc&) {
            // A load with recovery makes a failed one of it.
        }
        const bool failed = testing::FailingAllocations::Any();
        stream->Serialise(entries, folder.scratch.Path(), 0);
        EXPECT_EQ(folder.Stored(), "A.5+ B.7+ ") << number;
        return failed;
    });
    EXPECT_GT(count, 5);
}

// Between machines no mutex holds: another may save as soon as this one's reader is closed.
TEST(FolderIndexLoss, ASaveRightBehindTheLoadIsSeen) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const StoreFolder folder(kMailFolder);
    FolderIndex index = IndexOf(folder.scratch.Path());
    bool changed = false;
    {
        bool read = false;
        const AtEachCall watch([&](const SystemCall& call) -> std::uint32_t {
            if (changed) return 0;
            // A writer shares the file with nobody, so it comes in behind the reader alone.
            const bool mine = call.name == "FindFirstFile" || call.name == "CloseHandle";
            if (call.name == "ReadFile") read = true;
            if (!read || !mine) return 0;
            const File writer(folder.index, {GENERIC_WRITE, 0, OPEN_EXISTING});
            changed = writer.IsOpen();
            if (!changed) return 0;
            DWORD written = 0;
            const std::string other = IndexText("x00000009", folder.Entry("C.", 9));
            WriteFile(writer.Native(), other.data(), static_cast<DWORD>(other.size()), &written,
                      nullptr);
            SetEndOfFile(writer.Native());
            return 0;
        });
        EXPECT_EQ(StoreIndex_Open(&index, kOpenUnverified), kOpenLoaded);
    }
    if (!changed) WriteBytesTo(folder.index, IndexText("x00000009", folder.Entry("C.", 9)));
    index.entries.SetProperty(*index.entries.FindById("B.MAI"), "READ", "1");
    File none;
    StoreIndex_SaveAndClose(&index, true, false, none, nullptr);
    EXPECT_EQ(folder.Stored(), "A.5+ B.7+ ");
    EXPECT_TRUE(IsFolderMarkedChanged(folder.scratch.Path())) << "or nobody looks for C";
}

TEST(FolderIndexLoss, NothingIsPutAsideWhereItsCopyCannotBeMade) {
    const ScratchRegistry registry;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    const ReportRecorder reports;
    for (const bool backup : {false, true}) {
        const StoreFolder folder(kMailFolder);
        const std::string torn = kDamages[1].text(folder);
        WriteBytesTo(folder.index, torn);
        if (backup) WriteBytesTo(folder.index + ".bak", IndexText("x00000001", ""));
        FolderIndex index = IndexOf(folder.scratch.Path());
        const AtCalls refusal("CopyFile", "_index.xml", Refuse(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenFailed);
        EXPECT_EQ(ReadBytesOf(folder.index), torn) << backup;
    }
}

TEST(FolderIndexLoss, ADamagedBackupDoesNotCostWhatTheIndexStillHolds) {
    const ScratchRegistry registry;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    const ReportRecorder reports;
    for (const std::uint32_t type : kTypes) {
        const StoreFolder folder(type);
        WriteBytesTo(folder.index, kDamages[1].text(folder));
        WriteBytesTo(folder.scratch.Path("_index.xml.bak"), "<BASE");
        FolderIndex index = IndexOf(folder.scratch.Path(), type);
        EXPECT_EQ(StoreIndex_Open(&index, kOpenReindexed), kOpenLoaded);
        EXPECT_EQ(folder.Stored(), kDamages[1].stored) << type;
    }
}

TEST(FolderIndexLoss, AWriteThatFailsOnceInAScansSaveCostsNothing) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const ReportRecorder reports;
    const CountingSleeper sleeper;
    {
        const StoreFolder folder(kMailFolder);
        const File reader(folder.index, kOpenRead);
        FolderIndex index = IndexOf(folder.scratch.Path());
        EXPECT_EQ(StoreIndex_Open(&index, kOpenReindexed), kOpenLoaded);
        EXPECT_EQ(sleeper.TotalMilliseconds(), 40'000U) << "one that never began is not repeated";
    }
    for (const std::uint32_t type : kTypes) {
        const StoreFolder folder(type);
        FolderIndex index = IndexOf(folder.scratch.Path(), type);
        {
            const AtCalls once("WriteFile", "", [](int count) {
                return count == 1 ? static_cast<std::uint32_t>(ERROR_DISK_FULL) : 0U;
            });
            EXPECT_EQ(StoreIndex_Open(&index, kOpenReindexed), kOpenLoaded);
        }
        EXPECT_EQ(folder.Stored(), "A.5+ B.7+ C.8 ") << type;
    }
}

TEST(FolderIndexLoss, AFilterOfAnObjectEndsWhereTheIndexIsBuilt) {
    const ScratchRegistry registry;
    testing::UseStreams();
    const StoreFolder folder(kTaskFolder);
    RemoveFile(folder.index);
    FolderIndex index = IndexOf(folder.scratch.Path(), kTaskFolder);
    index.entries.SetIdFilter("A.TSK");
    EXPECT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
    EXPECT_EQ(StoreIndex_Commit(&index, kCommit), kCommitted);
    EXPECT_EQ(folder.Stored(), "A.1 B.2 C.3 ");
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
        std::optional<AtEachCall> watch;
        watch.emplace([&](const SystemCall& call) -> std::uint32_t {
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
        });
        File none;
        StoreIndex_SaveAndClose(&index, true, false, none, nullptr);
        watch.reset();
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

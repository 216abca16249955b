// Opening, committing and closing where a model of the files cannot show it: locks, refusals of
// single calls, what comes between two calls.
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "common/MutexLock.h"
#include "Library/FolderFlags.h"
#include "tests/Library/StoreFolders.h"

namespace tarnwick {
namespace {

using testing::AtCalls;
using testing::AtEachCall;
using testing::CountingSleeper;
using testing::EntryText;
using testing::Identifiers;
using testing::IndexOf;
using testing::IndexText;
using testing::kTypes;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::Refuse;
using testing::ReportRecorder;
using testing::ScratchRegistry;
using testing::SetProduct;
using testing::StoreFolder;
using testing::TraceOf;
using testing::WriteBytesTo;

class StoreIndexTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!testing::IsAlone()) GTEST_SKIP();
        testing::UseStreams();
    }

    ScratchRegistry registry_;
    ReportRecorder reports_;
    File none_;
};
using StoreIndexOpen = StoreIndexTest;
using StoreIndexCommit = StoreIndexTest;
using StoreIndexSaveAndClose = StoreIndexTest;

TEST_F(StoreIndexOpen, RefusesWhatIsNoFolder) {
    EXPECT_EQ(StoreIndex_Open(nullptr, 1), kOpenFailed);
    EXPECT_EQ(TraceOf(reports_),
              "StoreIndex_Open::WARNING!: StoreIndex is NULL when passed to StoreIndex_Open");
    FolderIndex index;
    EXPECT_EQ(StoreIndex_Open(&index, 2), kOpenFailed);
    EXPECT_EQ(TraceOf(reports_), "StoreIndex_Open:: (Error) Attempted to open a blank folder name");
    for (const std::string& folder : {std::string(2000, 'x'), std::string("missing\\folder")}) {
        index.folder = "C:\\" + folder;
        EXPECT_EQ(StoreIndex_Open(&index, 1), kOpenFailed);
    }
    EXPECT_FALSE(PathExists("C:\\missing"));
}

TEST_F(StoreIndexOpen, ALostMutexIsReportedThrownAndFreeForTheNext) {
    const StoreFolder folder(kMailFolder);
    const ObjectHandle mutex = OpenFolderMutex(folder.scratch.Path());
    std::thread([&] { WaitForSingleObject(mutex.Get(), INFINITE); }).join();
    FolderIndex index = IndexOf(folder.scratch.Path());
    EXPECT_THROW(StoreIndex_Open(&index, 1), LibraryException);
    EXPECT_TRUE(TraceOf(reports_).starts_with(
        "StoreIndex_Open handled an exception; session will be dropped.\n"
        "The exception was: Mutex "));
    EXPECT_EQ(StoreIndex_Open(&index, 1), kOpenLoaded);
}

// What happens at each call of a name to a file, and what is stored then.
struct Trouble {
    const char* name;
    std::uint32_t type;
    int mode;
    bool marked;
    const char* call;
    const char* path;
    std::uint32_t (*act)(const StoreFolder&, int count);
    int result;
    const char* stored;
    bool staysMarked = false;
};

TEST_F(StoreIndexOpen, LivesWithTroubleAtSingleCalls) {
    const auto markAgain = [](const StoreFolder& folder, int) {
        WriteBytesTo(folder.scratch.Path("_CHANGE.DTY"), "");
        return std::uint32_t{0};
    };
    const auto deny = [](const StoreFolder&, int) { return std::uint32_t{ERROR_ACCESS_DENIED}; };
    const auto noPath = [](const StoreFolder&, int) { return std::uint32_t{ERROR_PATH_NOT_FOUND}; };
    const auto fullOnce = [](const StoreFolder&, int count) {
        return std::uint32_t{count == 1 ? ERROR_DISK_FULL : 0U};
    };
    const char* const old = "A.5+ B.7+ ";
    const char* const all = "A.5+ B.7+ C.8 ";
    const Trouble rows[] = {
        {"cannot be blocked", kMailFolder, 1, true, "CreateFile", ".blk", noPath, 1, old, true},
        {"marked again", kGroupsFolder, 1, true, "WaitForSingleObject", "", markAgain, 1, all,
         true},
        {"a write fails once", kMailFolder, 2, false, "WriteFile", "", fullOnce, 1, all},
        {"cannot look for a file", kMailFolder, 2, false, "FindFirstFile", "B.MAI", deny, 1, all},
    };
    for (const Trouble& row : rows) {
        SCOPED_TRACE(row.name);
        const StoreFolder folder(row.type);
        if (row.marked) MarkFolderChanged(folder.scratch.Path());
        // Its copies are not those of a group folder.
        if (row.type == kGroupsFolder) WriteBytesTo(folder.scratch.Path("_index.xml.bak"), "other");
        if (row.path == std::string("B.MAI")) RemoveFile(folder.scratch.Path("B.MAI"));
        FolderIndex index = IndexOf(folder.scratch.Path(), row.type);
        const CountingSleeper sleeper;
        {
            const AtCalls trouble(row.call, row.path,
                                  [&](int count) { return row.act(folder, count); });
            EXPECT_EQ(StoreIndex_Open(&index, row.mode), row.result);
        }
        EXPECT_EQ(sleeper.Count(), 0);
        EXPECT_EQ(folder.Stored(), row.stored);
        EXPECT_EQ(IsFolderMarkedChanged(folder.scratch.Path()), row.staysMarked);
    }
}

TEST_F(StoreIndexOpen, ASaveThatNeverBeganIsNotRepeated) {
    const StoreFolder folder(kMailFolder);
    const CountingSleeper sleeper;
    const File reader(folder.index, kOpenRead);
    FolderIndex index = IndexOf(folder.scratch.Path());
    EXPECT_EQ(StoreIndex_Open(&index, kOpenReindexed), kOpenLoaded);
    EXPECT_EQ(sleeper.TotalMilliseconds(), 40'000U);
}

// The DOM opens files itself, past the observer.
TEST(StoreIndexOpenByDom, NeverReplacesAnIndexThatCannotBeReached) {
    if (!testing::IsAlone()) return;
    const ScratchRegistry registry;
    const CountingSleeper sleeper;
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

TEST_F(StoreIndexCommit, SaysWhyItDidNothing) {
    SetProduct("Index Notification Timeout", 0);
    const StoreFolder folder(kMailFolder);
    EXPECT_EQ(StoreIndex_Commit(nullptr, 0), kCommitFailed);
    EXPECT_EQ(TraceOf(reports_), "WARNING!: StoreIndex is NULL when passed to StoreIndex_Commit");
    FolderIndex index;
    EXPECT_EQ(StoreIndex_Commit(&index, 0), kCommitFailed);
    EXPECT_EQ(TraceOf(reports_), "WARNING!: StoreIndex Folder has not been set. Commit is ignored");
    index.folder = folder.scratch.Path();
    ASSERT_EQ(StoreIndex_Open(&index, 1), kOpenLoaded);
    index.entries.Add("C.MAI");
    const std::string before = ReadBytesOf(folder.index);
    TraceOf(reports_);
    const ObjectHandle mutex = OpenFolderMutex(index.folder);
    const xMutexLock held(mutex.Get(), INFINITE);
    std::thread([&] { EXPECT_EQ(StoreIndex_Commit(&index, 1), kCommitFailed); }).join();
    EXPECT_EQ(TraceOf(reports_),
              "StoreIndex_Commit:: Was abandoned due to mutex timeout " + index.folder);
    EXPECT_EQ(ReadBytesOf(folder.index), before);
}

// Without the setting the notified mode waits too, and the other mode whatever is set.
TEST_F(StoreIndexCommit, WaitsForTheMutexUnlessItIsNotifiedAndHasATimeOut) {
    const StoreFolder folder(kMailFolder);
    for (const int mode : {kCommitNotified, kCommit}) {
        if (mode == kCommit) SetProduct("Index Notification Timeout", 0);
        FolderIndex index = IndexOf(folder.scratch.Path());
        ASSERT_EQ(StoreIndex_Open(&index, 1), kOpenLoaded);
        const ObjectHandle mutex = OpenFolderMutex(index.folder);
        int result = -1;
        std::thread waiting;
        {
            const xMutexLock held(mutex.Get(), INFINITE);
            waiting = std::thread([&] { result = StoreIndex_Commit(&index, mode); });
            Sleep(20);
            EXPECT_EQ(result, -1);
        }
        waiting.join();
        EXPECT_EQ(result, kCommitted) << mode;
    }
}

TEST_F(StoreIndexSaveAndClose, ClosesWhatItCannotSaveAndMakesTheFolder) {
    const StoreFolder folder(kMailFolder);
    FolderIndex index;
    for (FolderIndex* const nothing : {static_cast<FolderIndex*>(nullptr), &index}) {
        File block(folder.scratch.Path("_index.blk"), kOpenTruncate);
        EXPECT_EQ(StoreIndex_SaveAndClose(nothing, true, true, block, nullptr), 1);
        EXPECT_FALSE(block.IsOpen());
    }
    index.folder = folder.scratch.Path("new");
    index.entries.SetLoadStatus(kLoadFull);
    index.entries.Add("N.MAI");
    EXPECT_EQ(StoreIndex_SaveAndClose(&index, true, false, none_, nullptr), 1);
    EXPECT_EQ(ReadBytesOf(folder.scratch.Path("new\\_index.xml")),
              IndexText("x00000001", EntryText("N.MAI", 1)));
}

TEST_F(StoreIndexSaveAndClose, MarksTheFolderBeforeTheMutexIsFree) {
    for (const std::string_view failing : {"WriteFile", "WaitForSingleObject"}) {
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
        TraceOf(reports_);
        StoreIndex_SaveAndClose(&index, true, false, none_, nullptr);
        watch.reset();
        EXPECT_EQ(TraceOf(reports_).find("Close handled an exception") != std::string::npos,
                  failing != "WriteFile");
        EXPECT_EQ(mutexAtTheMark, failing == "WriteFile" ? WAIT_TIMEOUT : WAIT_OBJECT_0);
        EXPECT_EQ(ReadBytesOf(path + "\\_CHANGE.DTY"),
                  "This file is a flag file that denotes that this folder has been changed");
    }
}

// Between machines no mutex holds: another may save as soon as this one's reader is closed.
TEST_F(StoreIndexSaveAndClose, SeesASaveRightBehindItsLoad) {
    const StoreFolder folder(kMailFolder);
    FolderIndex index = IndexOf(folder.scratch.Path());
    const std::string other = IndexText("x00000009", folder.Entry("C.", 9));
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
            WriteFile(writer.Native(), other.data(), static_cast<DWORD>(other.size()), &written,
                      nullptr);
            SetEndOfFile(writer.Native());
            return 0;
        });
        EXPECT_EQ(StoreIndex_Open(&index, kOpenUnverified), kOpenLoaded);
    }
    if (!changed) WriteBytesTo(folder.index, other);
    index.entries.SetProperty(*index.entries.FindById("B.MAI"), "READ", "1");
    StoreIndex_SaveAndClose(&index, true, false, none_, nullptr);
    EXPECT_EQ(folder.Stored(), "A.5+ B.7+ ");
    EXPECT_TRUE(IsFolderMarkedChanged(folder.scratch.Path())) << "or nobody looks for C";
}

}  // namespace
}  // namespace tarnwick

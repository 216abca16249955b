// Opening, committing, closing and recovering where a model of the files cannot show it: locks,
// refusals of single calls, what comes between two calls.
#include "common/WindowsApi.h"

#include <comdef.h>

#include <gtest/gtest.h>

#include <thread>

#include "common/CaughtException.h"
#include "common/MutexLock.h"
#include "common/Reports.h"
#include "Library/FolderFiles.h"
#include "Library/FolderMutex.h"
#include "Library/IndexBlockFile.h"
#include "Library/IndexRecovery.h"
#include "Library/SerialiserChoice.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::EntryText;
using testing::IndexOf;
using testing::IndexText;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

// In a folder of its own with the files A, B and C and an index that knows A and B.
class StoreIndexLife : public ::testing::Test {
  protected:
    void SetUp() override {
        // It has run, and been judged, in a process of its own by then.
        if (!testing::IsAlone()) GTEST_SKIP();
        testing::Use({.backups = true});
        Fill("MAI", kMailFolder);
    }
    void Fill(const std::string& extension, FolderType type) {
        for (const char* name : {"A.", "B.", "C."})
            WriteBytesTo(folder_.Path(name + extension), "");
        stored_ = IndexText("x00000007", EntryText("A." + extension, 5, "<CC>x</CC>") +
                                             EntryText("B." + extension, 7));
        file_ = folder_.Path(type == kGroupsFolder ? "_groups.xml" : "_index.xml");
        WriteBytesTo(file_, stored_);
        index_ = IndexOf(folder_.Path(), type);
    }
    void RestOn(ReportChannel channel, const std::string& ending) {
        EXPECT_TRUE(reports_.Joined(channel).ends_with(ending)) << reports_.Joined(channel);
        reports_.Take();
    }
    int Close(bool save) { return StoreIndex_SaveAndClose(&index_, save, false, none_, nullptr); }

    ScratchRegistry registry_;
    ScratchFolder folder_;
    ReportRecorder reports_;
    CountingSleeper sleeper_;
    std::string stored_, file_;
    FolderIndex index_;
    File none_;
};

TEST_F(StoreIndexLife, RefusesWhatIsNoFolder) {
    FolderIndex none;
    EXPECT_EQ(StoreIndex_Open(nullptr, 1), kOpenFailed);
    RestOn(ReportChannel::Trace,
           "StoreIndex_Open::WARNING!: StoreIndex is NULL when passed to StoreIndex_Open");
    EXPECT_EQ(StoreIndex_Open(&none, 2), kOpenFailed);
    RestOn(ReportChannel::Trace, "StoreIndex_Open:: (Error) Attempted to open a blank folder name");
    EXPECT_EQ(StoreIndex_Commit(nullptr, 0), kCommitFailed);
    RestOn(ReportChannel::Trace, "WARNING!: StoreIndex is NULL when passed to StoreIndex_Commit");
    EXPECT_EQ(StoreIndex_Commit(&none, 0), kCommitFailed);
    RestOn(ReportChannel::Trace, "WARNING!: StoreIndex Folder has not been set. Commit is ignored");
    for (FolderIndex* const nothing : {static_cast<FolderIndex*>(nullptr), &none}) {
        File block(folder_.Path("_index.blk"), kOpenTruncate);
        EXPECT_EQ(StoreIndex_SaveAndClose(nothing, true, true, block, nullptr), 1);
        EXPECT_FALSE(block.IsOpen());
    }
    for (const std::string& missing : {std::string(2000, 'x'), folder_.Path("missing\\folder")}) {
        none.folder = missing;
        EXPECT_EQ(StoreIndex_Open(&none, 1), kOpenFailed);
    }
    EXPECT_FALSE(PathExists(folder_.Path("missing")));
    // A save makes the folder.
    index_.folder = folder_.Path("new");
    index_.entries.SetLoadStatus(kLoadFull);
    EXPECT_EQ(Close(true), 1);
    EXPECT_EQ(ReadBytesOf(folder_.Path("new\\_index.xml")), IndexText("x00000000", ""));
}

TEST_F(StoreIndexLife, WithoutItsBlockFileNothingIsScanned) {
    MarkFolderChanged(folder_.Path());
    CallRecorder calls;
    calls.FailAll("CreateFile _index.blk", ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(StoreIndex_Open(&index_, 1), kOpenLoaded);
    EXPECT_EQ(ReadBytesOf(file_), stored_);
    EXPECT_TRUE(IsFolderMarkedChanged(folder_.Path()));
}

// It drops no entry whose file it cannot look for.
TEST_F(StoreIndexLife, AScanWhoseSaveBreaksOffSavesAgainAndAMarkMeanwhileStays) {
    RemoveFile(folder_.Path("B.MAI"));
    MarkFolderChanged(folder_.Path());
    int writes = 0;
    CallRecorder calls;
    calls.onCall = [&](const SystemCall& call) -> std::uint32_t {
        if (call.name == "WaitForSingleObject") MarkFolderChanged(folder_.Path());
        if (calls.Calls().back() == "FindFirstFile B.MAI") return ERROR_ACCESS_DENIED;
        return call.name == "WriteFile" && ++writes == 2 ? ERROR_DISK_FULL : 0;
    };
    EXPECT_EQ(StoreIndex_Open(&index_, 1), kOpenLoaded);
    EXPECT_NE(ReadBytesOf(file_).find("B.MAI"), std::string::npos);
    EXPECT_NE(ReadBytesOf(file_).find("C.MAI"), std::string::npos);
    EXPECT_TRUE(IsFolderMarkedChanged(folder_.Path()));
}

TEST_F(StoreIndexLife, AFailedWaitForTheMutexIsReportedAndThrownOnByAnOpenAlone) {
    ASSERT_EQ(StoreIndex_Open(&index_, 3), kOpenLoaded);
    CallRecorder calls;
    calls.FailAll("WaitForSingleObject", ERROR_INVALID_HANDLE);
    index_.entries.Add("N.MAI");
    Close(true);
    EXPECT_NE(reports_.Joined(ReportChannel::EventLogError).find("StoreIndex_SaveAndClose handled"),
              std::string::npos);
    for (const int mode : {2, 3}) {
        index_.loadedFolder = "elsewhere";
        RemoveFile(folder_.Path("_CHANGE.DTY"));
        EXPECT_THROW(StoreIndex_Open(&index_, mode), LibraryException);
        EXPECT_NE(reports_.Joined(ReportChannel::EventLogError).find("StoreIndex_Open handled"),
                  std::string::npos);
        EXPECT_EQ(IsFolderMarkedChanged(folder_.Path()), mode == 2);
    }
    EXPECT_EQ(ReadBytesOf(file_), stored_);
}

TEST_F(StoreIndexLife, AnIndexThatIsHeldIsNotDamagedAndItsSaveNotRepeated) {
    {
        const File held(file_, {GENERIC_READ, 0, OPEN_EXISTING});
        WriteBytesTo(file_ + ".bak", "backup");
        EXPECT_EQ(StoreIndex_Open(&index_, kOpenChecked), kOpenFailed);
        RestOn(ReportChannel::EventLogError, "Failed to deserialise index: " + index_.folder);
    }
    EXPECT_EQ(ReadBytesOf(file_) + ReadBytesOf(file_ + ".bak"), stored_ + "backup");
    const std::uint64_t before = sleeper_.TotalMilliseconds();
    const File reader(file_, kOpenRead);
    EXPECT_EQ(StoreIndex_Open(&index_, kOpenReindexed), kOpenLoaded);
    EXPECT_EQ(sleeper_.TotalMilliseconds() - before, 40'000U);
}

// The DOM opens files itself, past the observer.
TEST_F(StoreIndexLife, TheDomNeverReplacesAnIndexThatCannotBeReached) {
    testing::Use({.streamLoads = false, .streamSaves = false});
    for (const OpenMode& other : {OpenMode{GENERIC_READ, 0, OPEN_EXISTING},
                                  OpenMode{GENERIC_WRITE, kShareReadWrite, OPEN_EXISTING}}) {
        MarkFolderChanged(folder_.Path());
        const File held(file_, other);
        for (const int mode : {1, 2, 3}) EXPECT_EQ(StoreIndex_Open(&index_, mode), kOpenFailed);
    }
    EXPECT_EQ(ReadBytesOf(file_), stored_);
}

// Without the setting the notified mode waits too, and the other mode whatever is set.
TEST_F(StoreIndexLife, ACommitWaitsForTheMutexUnlessItIsNotifiedAndHasATimeOut) {
    ASSERT_EQ(StoreIndex_Open(&index_, 1), kOpenLoaded);
    const ObjectHandle mutex = OpenFolderMutex(index_.folder);
    struct Row {
        int mode;
        bool limited;
        int result;
    };
    for (const Row& row : {Row{1, false, 1}, Row{1, true, 0}, Row{0, true, 1}}) {
        if (row.limited) testing::SetProduct("Index Notification Timeout", 0);
        std::atomic<int> result = -1;
        std::thread waiting;
        {
            const xMutexLock held(mutex.Get(), INFINITE);
            waiting = std::thread([&] { result = StoreIndex_Commit(&index_, row.mode); });
            for (int tries = 0; tries < 20 && result == -1; ++tries) Sleep(10);
            EXPECT_EQ(result, row.result == 0 ? 0 : -1);
        }
        waiting.join();
        EXPECT_EQ(result, row.result);
        RestOn(ReportChannel::Trace,
               (row.result == 0 ? "StoreIndex_Commit:: Was abandoned due to mutex timeout "
                                : "Committed Index for folder ") +
                   index_.folder);
    }
}

TEST_F(StoreIndexLife, AFailedSaveMarksTheFolderBeforeTheMutexIsFree) {
    ASSERT_EQ(StoreIndex_Open(&index_, kOpenChecked), kOpenLoaded);
    index_.entries.Add("N.MAI");
    const ObjectHandle mutex = OpenFolderMutex(index_.folder);
    DWORD mutexAtTheMark = WAIT_FAILED;
    CallRecorder calls;
    calls.onCall = [&](const SystemCall&) -> std::uint32_t {
        if (calls.Calls().back() == "CreateFile _CHANGE.DTY") {
            std::thread([&] { mutexAtTheMark = WaitForSingleObject(mutex.Get(), 0); }).join();
        }
        const bool first = mutexAtTheMark == WAIT_FAILED;
        return first && calls.Calls().back() == "WriteFile" ? ERROR_DISK_FULL : 0;
    };
    Close(true);
    EXPECT_EQ(mutexAtTheMark, static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_TRUE(IsFolderMarkedChanged(index_.folder));
}

// Between machines no mutex holds: another may save as soon as this one's reader is closed.
TEST_F(StoreIndexLife, SeesASaveRightBehindItsLoad) {
    bool read = false;
    {
        CallRecorder calls;
        calls.onCall = [&](const SystemCall& call) -> std::uint32_t {
            read = read || call.name == "ReadFile";
            if (read && call.name == "FindFirstFile") WriteBytesTo(file_, "another");
            return 0;
        };
        EXPECT_EQ(StoreIndex_Open(&index_, kOpenUnverified), kOpenLoaded);
    }
    WriteBytesTo(file_, "another");
    index_.entries.SetProperty(*index_.entries.FindById("B.MAI"), "READ", "1");
    Close(true);
    EXPECT_TRUE(IsFolderMarkedChanged(index_.folder)) << "or nobody looks for what was overwritten";
}

struct FailingLoader final : StoreIndexSerialiser {
    explicit FailingLoader(bool loads) : loads_(loads) {}
    bool Serialise(StoreIndex&, const std::string&, FolderType) override { return false; }
    std::uint32_t Deserialise(StoreIndex&, const std::string&, FolderType,
                              const DeserialiseRequest&) override {
        return loads_ ? kLoadFull : throw std::runtime_error("torn");
    }
    bool RequiresFullLoad() override { return true; }
    bool SupportsRecovery() override { return true; }
    bool BackupExists(const std::string&) override { throw 7; }

  private:
    bool loads_;
};

TEST_F(StoreIndexLife, WhatALoaderOrItsBackupThrowsIsTold) {
    const auto load = [&](SerialiserOwner loader) {
        index_.entries.SetLoadStatus(kLoadIdentifiers);
        const auto status =
            LoadWithRecovery(loader, index_.entries, "F", kMailFolder, {}, BackupWish::Refresh);
        EXPECT_EQ(status, index_.entries.LoadStatus());
        return status;
    };
    EXPECT_EQ(load(MakeSerialiser<FailingLoader>(true)), kLoadFull);
    RestOn(ReportChannel::StandardOutput, "Exception occured when backing up");
    EXPECT_EQ(load(MakeSerialiser<FailingLoader>(false)), kLoadFailed);
    const std::string thrown =
        "StoreIndexSerialiser::Deserialise handled an exception; session will be dropped.\n"
        "The exception was: torn\n";
    EXPECT_EQ(reports_.Joined(ReportChannel::EventLogError), thrown);
    RestOn(ReportChannel::Trace, thrown + "StoreIndexSerialiser::Deserialise raised an exception");
    EXPECT_EQ(load(NoSerialiser()), kLoadFailed);
    try {
        throw _com_error(E_OUTOFMEMORY);
    } catch (...) {
        ReportCaughtException("Operation");
    }
    EXPECT_EQ(reports_.Joined(ReportChannel::EventLogError), "");
    RestOn(ReportChannel::Trace, "\nSource = \nEror Description = \n");
}

// Beside what an open asks for, which the model shows.
TEST_F(StoreIndexLife, ALoaderThatIsForcedLooksAtTheFiles) {
    struct Row {
        bool exists;
        FolderType type;
        bool forced;
        const char* entries;
    };
    const Row rows[] = {{true, kTaskFolder, false, "A.TSK:5[CC=x] "},
                        {true, kTaskFolder, true, "A.TSK:5[CC=x] B.TSK:7 C.TSK:8"},
                        {false, kTaskFolder, true, ""},
                        {true, kGroupsFolder, true, ""}};
    // A scan needs the whole index, whatever part is wished.
    const IdSet known{"A.TSK"};
    for (const Row& row : rows) {
        Fill(row.type == kTaskFolder ? "TSK" : "GRP", row.type);
        if (!row.exists) RemoveFile(file_);
        SerialiserOwner loader =
            ChooseLoader(folder_.Path(), row.type, {.forceReindex = row.forced},
                         LookForIndex(folder_.Path(), row.type));
        EXPECT_EQ(
            loader->Deserialise(index_.entries, folder_.Path(), row.type, {.knownIds = &known}),
            kLoadFull);
        const std::string entries = testing::Describe(index_.entries);
        EXPECT_EQ(entries.substr(0, entries.find("[MOD")), row.entries);
        EXPECT_EQ(index_.entries.IsWhole(), row.forced);
        EXPECT_EQ(loader->SupportsRecovery(), !row.forced);
        EXPECT_EQ(loader->RequiresFullLoad(), row.forced);
        EXPECT_TRUE(!row.forced || !loader->Serialise(index_.entries, folder_.Path(), row.type));
    }
    EXPECT_FALSE(SaverRequiresFullLoad());
    SerialiserOwner loader =
        ChooseLoader("F", FolderType(9), {.reindexIfFlagged = true}, IndexPresence::Gone);
    EXPECT_EQ(loader->Deserialise(index_.entries, "F", FolderType(9), {}), kLoadFailed)
        << "no type";
}

// The setting is read once a process.
class IndexBlocks : public ::testing::TestWithParam<bool> {};

TEST_P(IndexBlocks, AreWaitedForAsTheErrorSays) {
    if (!testing::IsAlone()) return;
    struct Row {
        DWORD error;  // with which every creation fails; 0: a block file stands there
        int level;
        bool locked;
        int waits;
        const char* file;
    };
    const bool orphans = GetParam();
    const Row rows[] = {{0, 5, true, orphans ? 1 : 61, "_index.blk"},
                        {0, 5, true, 61, "_groups.blk"},
                        {ERROR_PATH_NOT_FOUND, 5, false, 0, "_index.blk"},
                        {ERROR_FILENAME_EXCED_RANGE, 5, false, 0, "_index.blk"},
                        {ERROR_INVALID_NAME, 5, false, 0, "_index.blk"},
                        {ERROR_ACCESS_DENIED, 5, false, 61, "_index.blk"},
                        {ERROR_ACCESS_DENIED, 6, false, 0, "_index.blk"},
                        {ERROR_SHARING_VIOLATION, 5, false, 61, "_index.blk"},
                        {0, 5, true, orphans ? 1 : 61, "_index.blk"}};
    EXPECT_EQ(DiagnosticLevel(), 5);
    const ScratchRegistry registry;
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.error) + row.file);
        // A value set behind the first wait does not count.
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey, "Index Unblock Mode",
                                  orphans == (&row == rows) ? 1 : 0);
        const ScratchFolder folder;
        const ReportRecorder reports;
        const CountingSleeper sleeper;
        CallRecorder calls;
        DiagnosticLevel() = row.level;
        WriteBytesTo(folder.Path(row.file), "");
        if (row.error != 0) calls.FailAll("CreateFile", row.error);
        EXPECT_EQ(WaitForAccessToIndexFileEx(folder.Path(row.file)).IsOpen(), row.locked);
        EXPECT_EQ(sleeper.Count(), row.waits);
        EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
                  row.waits == 1 ? "deleted orphan" : "");
        const std::string denied = "[" + std::to_string(GetCurrentThreadId()) +
                                   "] Access Denied error occured in WaitForAccessToIndexFileEx "
                                   "for block file: " +
                                   folder.Path(row.file) + "\r\n";
        EXPECT_EQ(reports.Joined(ReportChannel::EventLogError), row.level == 6 ? denied : "");
    }
    // One that is held cannot be removed.
    const ScratchFolder folder;
    const std::string path = folder.Path("_index.blk");
    const ReportRecorder reports;
    const CountingSleeper sleeper;
    File none, held = WaitForAccessToIndexFileEx(path);
    EXPECT_FALSE(WaitForAccessToIndexFileEx(path).IsOpen());
    EXPECT_EQ(sleeper.Count(), 61 + 80);
    ReleaseIndexBlock(none, path);
    EXPECT_EQ(sleeper.Count(), 61 + 80 + 80);
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 0), IndexAvailability::Busy);
    CallRecorder calls;
    calls.FailCall(1, ERROR_INVALID_HANDLE);
    ReleaseIndexBlock(held, path);
    EXPECT_FALSE(PathExists(path));
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "ScanFoldersOrdered::Unable to remove blocking file"
              "An error occured closing the handle of a block file: 6");
}

INSTANTIATE_TEST_SUITE_P(Setting, IndexBlocks, ::testing::Bool());

TEST(IndexAvailability, TellsBusyMissingAndPresent) {
    const ScratchFolder folder;
    const ReportRecorder reports;
    const CountingSleeper sleeper;
    EXPECT_EQ(IndexBlockPath(std::string(2000, 'x'), kMailFolder), std::string(1023, 'x'));
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path("gone"), 0), IndexAvailability::Busy);
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 0), IndexAvailability::NoIndex);
    WriteBytesTo(folder.Path("_index.xml"), "x");
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 0), IndexAvailability::IndexExists);
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"_index.xml"});
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), "");
    CallRecorder calls;
    calls.FailAll("DeleteFile", ERROR_SHARING_VIOLATION);
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 0), IndexAvailability::IndexExists);
    EXPECT_EQ(sleeper.Count(), 80);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "CheckIndexFileAvailability::Unable to remove blocking file");
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 99), IndexAvailability::IndexExists);
}

}  // namespace
}  // namespace tarnwick

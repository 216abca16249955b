#include <gtest/gtest.h>

#include <thread>

#include "common/MutexLock.h"
#include "Library/FolderFlags.h"
#include "tests/Library/StoreFolders.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::EntryText;
using testing::Identifiers;
using testing::IndexOf;
using testing::IndexText;
using testing::kMail;
using testing::MailFolder;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::SetProduct;
using testing::TraceOf;
using testing::WriteBytesTo;

// The numbers are those of a whole index before the save.
TEST(StoreIndexCommit, WritesDetailsOutsideTheFileRootAlone) {
    MailFolder folder;
    testing::MakePath(folder.Path("MAILROOT\\PO\\Inbox"));
    const std::string details = folder.Path("MAILROOT\\PO\\Inbox\\_FOLDER.DAT");
    const std::string expected = "ITEMS\t2\r\nUNREAD\t1\r\nSIZE\t120\r\nLASTUID\t6\r\n";
    for (const bool close : {false, true}) {
        for (const char* kind : {"whole", "part", "$FileRoot"}) {
            const std::string path = folder.Path(kind);
            testing::MakePath(path);
            WriteBytesTo(
                path + "\\_index.xml",
                IndexText("x00000006", EntryText("A.MAI", 5, "<READ>1</READ><SIZE>100</SIZE>") +
                                           EntryText("B.MAI", 6, "<SIZE>20</SIZE>")));
            RemoveFile(details);
            FolderIndex index = IndexOf(path);
            index.dataDirectory = folder.Path();
            index.postoffice = "PO";
            index.folderName = "Inbox";
            const bool part = std::string_view(kind) == "part";
            if (part) index.entries.SetIdFilter("A.MAI");
            ASSERT_EQ(StoreIndex_Open(&index, 5), 1);
            ReportRecorder reports;
            File none;
            if (close) {
                StoreIndex_SaveAndClose(&index, true, false, none, nullptr);
            } else {
                StoreIndex_Commit(&index, 0);
            }
            const bool written = std::string_view(kind) == "whole";
            EXPECT_EQ(ReadBytesOf(details), written ? expected : "") << kind << close;
            EXPECT_EQ(TraceOf(reports).ends_with(
                          "StoreIndex_SaveAndClose::SetCacheDetailsToFile for folder " + path),
                      close && written);
        }
    }
}

TEST(StoreIndexCommit, SavesTheOpenIndexAndTheFoldersDetails) {
    const MailFolder folder;
    ReportRecorder reports;
    FolderIndex index = IndexOf(folder.Path());
    index.dataDirectory = folder.Path();
    index.postoffice = "PO";
    index.folderName = "Inbox";
    testing::MakePath(folder.Path("MAILROOT\\PO\\Inbox"));
    EXPECT_EQ(StoreIndex_Commit(&index, 0), 2);
    ASSERT_EQ(StoreIndex_Open(&index, 1), 1);
    index.entries.SetProperty(*index.entries.Add("C.MAI"), "SIZE", "100");
    TraceOf(reports);
    EXPECT_EQ(StoreIndex_Commit(&index, 0), 1);
    EXPECT_EQ(TraceOf(reports), "StoreIndex_Commit::Committed Index for folder " + folder.Path());
    EXPECT_EQ(folder.Index(),
              IndexText("x00000006", EntryText("A.MAI", 5, "<SUBJECT>kept</SUBJECT>") +
                                         EntryText("C.MAI", 6, "<SIZE>100</SIZE>")));
    EXPECT_EQ(ReadBytesOf(folder.Path("MAILROOT\\PO\\Inbox\\_FOLDER.DAT")),
              "ITEMS\t2\r\nUNREAD\t2\r\nSIZE\t100\r\nLASTUID\t6\r\n");
    EXPECT_EQ(StoreIndex_Commit(&index, 1), 1);
    EXPECT_EQ(TraceOf(reports),
              "StoreIndex_Commit::(Notified and Committed Index for folder " + folder.Path());
}

TEST(StoreIndexCommit, ThePartOfAnIndexIsNotSavedAsTheWholeByTheDom) {
    MailFolder folder;
    SetProduct("Use XML Stream Index Serialisation", 0);
    folder.WriteIndex("x00000005", EntryText("A.MAI", 4) + EntryText("B.MAI", 5));
    const std::string before = folder.Index();
    FolderIndex index = IndexOf(folder.Path());
    index.entries.SetIdFilter("A.MAI");
    ASSERT_EQ(StoreIndex_Open(&index, 5), 1);
    ASSERT_EQ(Identifiers(index.entries), "A.MAI:4 ");
    index.entries.SetProperty(*index.entries.FindById("A.MAI"), "READ", "1");
    EXPECT_EQ(StoreIndex_Commit(&index, 0), 0);
    EXPECT_EQ(folder.Index(), before);
    File none;
    StoreIndex_SaveAndClose(&index, true, false, none, nullptr);
    EXPECT_EQ(folder.Index(), before);
    EXPECT_TRUE(IsFolderMarkedChanged(folder.Path()));
}

TEST(StoreIndexCommit, SaysWhyItDidNothing) {
    const MailFolder folder;
    SetProduct("Index Notification Timeout", 0);
    ReportRecorder reports;
    EXPECT_EQ(StoreIndex_Commit(nullptr, 0), 0);
    EXPECT_EQ(TraceOf(reports), "WARNING!: StoreIndex is NULL when passed to StoreIndex_Commit");
    FolderIndex index;
    EXPECT_EQ(StoreIndex_Commit(&index, 0), 0);
    EXPECT_EQ(TraceOf(reports), "WARNING!: StoreIndex Folder has not been set. Commit is ignored");
    index.folder = folder.Path();
    ASSERT_EQ(StoreIndex_Open(&index, 1), 1);
    index.entries.Add("C.MAI");
    const std::string before = folder.Index();
    TraceOf(reports);
    const ObjectHandle mutex = OpenFolderMutex(folder.Path());
    const xMutexLock held(mutex.Get(), INFINITE);
    std::thread([&] { EXPECT_EQ(StoreIndex_Commit(&index, 1), 0); }).join();
    EXPECT_EQ(TraceOf(reports),
              "StoreIndex_Commit:: Was abandoned due to mutex timeout " + folder.Path());
    EXPECT_EQ(folder.Index(), before);
}

// Without the setting the notified mode waits too, and the other mode whatever is set.
TEST(StoreIndexCommit, WaitsForTheMutexUnlessItIsNotifiedAndHasATimeOut) {
    const MailFolder folder;
    for (const int mode : {kCommitNotified, kCommit}) {
        if (mode == kCommit) SetProduct("Index Notification Timeout", 0);
        FolderIndex index = IndexOf(folder.Path());
        ASSERT_EQ(StoreIndex_Open(&index, 1), 1);
        const ObjectHandle mutex = OpenFolderMutex(folder.Path());
        int result = -1;
        std::thread waiting;
        {
            const xMutexLock held(mutex.Get(), INFINITE);
            waiting = std::thread([&] { result = StoreIndex_Commit(&index, mode); });
            Sleep(20);
            EXPECT_EQ(result, -1);
        }
        waiting.join();
        EXPECT_EQ(result, 1) << mode;
    }
}

TEST(StoreIndexSaveAndClose, SavesAndRemovesTheBlockFile) {
    const MailFolder folder;
    ReportRecorder reports;
    FolderIndex index = IndexOf(folder.Path());
    ASSERT_EQ(StoreIndex_Open(&index, 1), 1);
    File block(folder.Path("_index.blk"), kCreateBlockFile);
    index.entries.Add("C.MAI");
    TraceOf(reports);
    EXPECT_EQ(StoreIndex_SaveAndClose(&index, true, true, block, nullptr), 1);
    EXPECT_FALSE(block.IsOpen());
    EXPECT_EQ(folder.scratch.Names(), (std::vector<std::string>{"A.MAI", "B.MAI", "_index.xml"}));
    EXPECT_EQ(TraceOf(reports),
              "StoreIndex_SaveAndClose::Committing Index for folder " + folder.Path());
    EXPECT_EQ(StoreIndex_Commit(&index, 0), 2);
}

TEST(StoreIndexSaveAndClose, WritesTheGivenDetailsButNotInTheFileRoot) {
    const MailFolder folder;
    const FolderDetails details{7, 6, 5, 4};
    for (const bool inFileRoot : {false, true}) {
        const std::string path = folder.Path(inFileRoot ? "$FileRoot" : "Inbox");
        testing::MakePath(folder.Path("MAILROOT\\PO\\Inbox"));
        RemoveFile(folder.Path("MAILROOT\\PO\\Inbox\\_FOLDER.DAT"));
        FolderIndex index = IndexOf(path);
        index.dataDirectory = folder.Path();
        index.postoffice = "PO";
        index.folderName = "Inbox";
        testing::MakePath(path);
        ASSERT_EQ(StoreIndex_Open(&index, 1), 1);
        File none;
        StoreIndex_SaveAndClose(&index, true, false, none, &details);
        EXPECT_EQ(ReadBytesOf(folder.Path("MAILROOT\\PO\\Inbox\\_FOLDER.DAT")),
                  inFileRoot ? "" : "ITEMS\t7\r\nUNREAD\t6\r\nSIZE\t5\r\nLASTUID\t4\r\n");
    }
}

TEST(StoreIndexSaveAndClose, MarksTheFolderWhenAnotherSaveCameBetween) {
    const MailFolder folder;
    FolderIndex mine = IndexOf(folder.Path());
    FolderIndex other = IndexOf(folder.Path());
    File none;
    ASSERT_EQ(StoreIndex_Open(&mine, 1), 1);
    ASSERT_EQ(StoreIndex_Open(&other, 1), 1);
    WriteBytesTo(folder.Path("C.MAI"), kMail);
    other.entries.Add("C.MAI");
    StoreIndex_SaveAndClose(&other, true, false, none, nullptr);
    EXPECT_FALSE(IsFolderMarkedChanged(folder.Path()));
    mine.entries.Add("B.MAI");
    ReportRecorder reports;
    StoreIndex_SaveAndClose(&mine, true, false, none, nullptr);
    EXPECT_TRUE(TraceOf(reports).ends_with(
        "StoreIndex_SaveAndClose::Failed to commit index for folder " + folder.Path() +
        ". Index was changed while being transacted. Folder will be marked as dirty." +
        "StoreIndex_SaveAndClose::Failed to commit index for folder " + folder.Path() +
        ". Folder will be marked as dirty."));
    EXPECT_EQ(ReadBytesOf(folder.Path("_CHANGE.DTY")),
              "This file is a flag file that denotes that this folder has been changed");
    FolderIndex next = IndexOf(folder.Path());
    EXPECT_EQ(StoreIndex_Open(&next, 1), 1);
    EXPECT_EQ(Identifiers(next.entries), "A.MAI:5 B.MAI:6 C.MAI:7 ");
}

TEST(StoreIndexSaveAndClose, ClosesWhatItCannotSaveAndMakesTheFolder) {
    const MailFolder folder;
    File block(folder.Path("_index.blk"), kCreateBlockFile);
    EXPECT_EQ(StoreIndex_SaveAndClose(nullptr, true, true, block, nullptr), 1);
    EXPECT_FALSE(block.IsOpen());
    // The block file goes although this caller does not hold it.
    FolderIndex index = IndexOf(folder.Path());
    File none;
    EXPECT_EQ(StoreIndex_SaveAndClose(&index, false, false, none, nullptr), 1);
    EXPECT_FALSE(PathExists(folder.Path("_index.blk")));
    index.folder = folder.Path("new");
    index.entries.SetLoadStatus(kLoadFull);
    index.entries.Add("N.MAI");
    EXPECT_EQ(StoreIndex_SaveAndClose(&index, true, false, none, nullptr), 1);
    EXPECT_EQ(ReadBytesOf(folder.Path("new\\_index.xml")),
              IndexText("x00000001", EntryText("N.MAI", 1)));
}

TEST(FolderIndex, EachCallThatFailsLeavesAFolderThatOpens) {
    for (int number = 1;; ++number) {
        const MailFolder folder;
        SetProduct("Backup Index", 1);
        MarkFolderChanged(folder.Path());
        CountingSleeper sleeper;
        int count = 0;
        std::string failed;
        {
            CallRecorder calls;
            calls.FailCall(number, ERROR_GEN_FAILURE);
            FolderIndex index = IndexOf(folder.Path());
            try {
                StoreIndex_Open(&index, 1);
                if (StoreIndex::Entry* const entry = index.entries.FindById("A.MAI")) {
                    index.entries.SetProperty(*entry, "READ", "1");
                }
            } catch (const LibraryException&) {
                // A mutex that cannot be had.
            }
            File none;
            StoreIndex_SaveAndClose(&index, index.open, false, none, nullptr);
            count = calls.Count();
            if (number <= count) failed = calls.Calls()[static_cast<std::size_t>(number - 1)];
        }
        // Only a call that opens, reads or writes the index's own bytes may cost what it alone
        // held.
        const bool touchedTheIndex =
            failed == "CreateFile _index.xml" || failed == "ReadFile" || failed == "WriteFile";
        // Whatever failed: after the folder is marked, everything that its files say is there.
        MarkFolderChanged(folder.Path());
        FolderIndex after = IndexOf(folder.Path());
        SCOPED_TRACE("call " + std::to_string(number));
        if (StoreIndex_Open(&after, 1) != 1) {
            ASSERT_EQ(StoreIndex_Open(&after, 1), 1);
        }
        EXPECT_EQ(after.entries.Count(), 2U);
        EXPECT_NE(after.entries.FindById("B.MAI"), nullptr);
        const StoreIndex::Entry* const kept = after.entries.FindById("A.MAI");
        ASSERT_NE(kept, nullptr);
        if (!touchedTheIndex) {
            EXPECT_EQ(kept->Uid(), 5U) << failed;
            EXPECT_EQ(kept->Property("SUBJECT"), "kept") << failed;
        }
        if (number > count) break;
    }
}

}  // namespace
}  // namespace tarnwick

// Saves in the middle of which the disk fills up; each test has a small one of its own.
#include <gtest/gtest.h>

#include "Library/FolderFlags.h"
#include "tests/Library/StoreFolders.h"

namespace tarnwick {
namespace {

using testing::Identifiers;
using testing::IndexOf;
using testing::ReadBytesOf;
using testing::WriteBytesTo;

const std::string kStored =
    testing::IndexText("x00000002", testing::EntryText("A.MAI", 1, "<SUBJECT>a</SUBJECT>") +
                                        testing::EntryText("B.MAI", 2));

// Makes a folder on the small disk, if there is one, and saves so much that it fills up.
std::string FolderOfACutOffSave(const std::string& name, std::size_t length, bool inFull) {
    const std::string folder = testing::Environment("TARNWICK_SMALL_DISK") + name;
    testing::MakePath(folder);
    for (const char* file : {"\\A.MAI", "\\B.MAI"}) WriteBytesTo(folder + file, "Subject: m\r\n");
    WriteBytesTo(folder + "\\_index.xml", kStored);
    FolderIndex index = IndexOf(folder);
    EXPECT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
    const std::string text(length, 's');
    index.entries.SetProperty(*index.entries.FindById("A.MAI"), "SUBJECT", text);
    if (inFull) index.entries.InvalidateExtents();
    testing::ReportRecorder reports;
    File none;
    EXPECT_EQ(StoreIndex_SaveAndClose(&index, true, false, none, nullptr), 1);
    EXPECT_TRUE(testing::TraceOf(reports).ends_with(
        "StoreIndex_SaveAndClose::Failed to commit index for folder " + folder +
        ". Folder will be marked as dirty."));
    EXPECT_TRUE(IsFolderMarkedChanged(folder));
    return folder;
}

// The disk is still full: what is put aside and back is moved.
TEST(FolderIndexSmallDisk, ACutOffStreamSaveIsReplacedByTheBackupOrPutAside) {
    if (testing::Environment("TARNWICK_SMALL_DISK").empty()) return;
    const testing::ScratchRegistry registry;
    testing::UseStreams();
    testing::SetProduct("Backup Index", 1);
    for (const char* name : {"\\place", "\\full", "\\no backup"}) {
        SCOPED_TRACE(name);
        const std::string folder = FolderOfACutOffSave(name, 100'000, name[1] == 'f');
        EXPECT_EQ(ReadBytesOf(folder + "\\_index.xml.bak"), kStored);
        if (name[1] == 'n') RemoveFile(folder + "\\_index.xml.bak");
        const std::string torn = ReadBytesOf(folder + "\\_index.xml");
        FolderIndex next = IndexOf(folder);
        const int opened = StoreIndex_Open(&next, kOpenChecked);
        EXPECT_EQ(ReadBytesOf(folder + "\\_index.xml.bad"), torn);
        RemoveFile(folder + "\\_index.xml.bad");
        if (name[1] == 'n') {
            StoreIndex_Open(&next, kOpenChecked);
            EXPECT_EQ(next.entries.Count(), 2U);
        } else {
            EXPECT_EQ(opened, kOpenLoaded);
            EXPECT_EQ(Identifiers(next.entries), "A.MAI:1 B.MAI:2 ");
            EXPECT_EQ(next.entries.FindById("A.MAI")->Property("SUBJECT"), "a");
        }
    }
}

// The length decides whether the system is told in the last write or in one before it.
TEST(FolderIndexSmallDisk, ACutOffDomSaveMarksTheFolder) {
    if (testing::Environment("TARNWICK_SMALL_DISK").empty()) return;
    const testing::ScratchRegistry registry;
    for (const std::size_t length : {100'000U, 66'000U, 60'000U}) {
        const std::string folder =
            FolderOfACutOffSave("\\" + std::to_string(length), length, false);
        FolderIndex next = IndexOf(folder);
        EXPECT_EQ(StoreIndex_Open(&next, kOpenChecked), kOpenFailed) << length;
        RemoveFile(folder + "\\_index.xml");
        EXPECT_EQ(StoreIndex_Open(&next, kOpenChecked), kOpenLoaded) << length;
        EXPECT_EQ(next.entries.Count(), 2U);
        RemoveFile(folder + "\\_index.xml");
    }
}

}  // namespace
}  // namespace tarnwick

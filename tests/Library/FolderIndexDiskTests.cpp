// Saves that the disk does not take: one that fills up in the middle, a file that must not be
// written.
#include <gtest/gtest.h>

#include "Library/FolderFlags.h"
#include "tests/Library/IndexFixtures.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::EntryText;
using testing::Environment;
using testing::Identifiers;
using testing::IndexOf;
using testing::IndexText;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::SetProduct;
using testing::WriteBytesTo;

constexpr const char* kSmallDisk = "TARNWICK_SMALL_DISK";
// More than the small disk has.
constexpr std::size_t kTooMuch = 100'000;

const std::string kStored =
    IndexText("x00000002", EntryText("A.MAI", 1, "<SUBJECT>a</SUBJECT>") + EntryText("B.MAI", 2));

void MakeMailFolder(const std::string& folder) {
    testing::MakePath(folder);
    for (const char* name : {"\\A.MAI", "\\B.MAI"}) WriteBytesTo(folder + name, "Subject: m\r\n");
    WriteBytesTo(folder + "\\_index.xml", kStored);
}

// Refuses to open the index, as the system does for writing a read-only file: the superuser of a
// Wine prefix may write one all the same.
class ReadOnlyIndex : public CallObserver {
  public:
    ReadOnlyIndex() { SetCallObserver(this); }
    ~ReadOnlyIndex() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        const bool refused = call.name == "CreateFile" && call.path.ends_with("_index.xml");
        return refused ? ERROR_ACCESS_DENIED : 0;
    }
};

std::string LastTrace(ReportRecorder& reports) {
    std::string last;
    for (const auto& [channel, text] : reports.Take()) {
        if (channel == ReportChannel::Trace) last = text;
    }
    return last;
}

// Lets A's subject grow and saves; gives the last line of the trace.
std::string SaveTooMuch(const std::string& folder, std::size_t length, bool inFull) {
    FolderIndex index = IndexOf(folder);
    EXPECT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
    index.entries.SetProperty(*index.entries.FindById("A.MAI"), "SUBJECT",
                              std::string(length, 's'));
    if (inFull) index.entries.InvalidateExtents();
    ReportRecorder reports;
    File none;
    EXPECT_EQ(StoreIndex_SaveAndClose(&index, true, false, none, nullptr), 1);
    return LastTrace(reports);
}

std::string MarkedText(const std::string& folder) {
    return "StoreIndex_SaveAndClose::Failed to commit index for folder " + folder +
           ". Folder will be marked as dirty.";
}

TEST(FolderIndexSmallDisk, ACutOffStreamSaveIsReplacedByTheBackup) {
    const std::string disk = Environment(kSmallDisk);
    if (disk.empty()) return;
    const ScratchRegistry registry;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    for (const bool inFull : {false, true}) {
        const std::string folder = disk + (inFull ? "\\full" : "\\place");
        SCOPED_TRACE(folder);
        MakeMailFolder(folder);
        EXPECT_EQ(SaveTooMuch(folder, kTooMuch, inFull), MarkedText(folder));
        EXPECT_TRUE(IsFolderMarkedChanged(folder));
        EXPECT_EQ(ReadBytesOf(folder + "\\_index.xml.bak"), kStored);
        const std::string torn = ReadBytesOf(folder + "\\_index.xml");
        EXPECT_LT(torn.size(), kTooMuch);
        // The disk is still full: the torn file makes way for the backup.
        FolderIndex next = IndexOf(folder);
        EXPECT_EQ(StoreIndex_Open(&next, kOpenChecked), kOpenLoaded);
        EXPECT_EQ(Identifiers(next.entries), "A.MAI:1 B.MAI:2 ");
        EXPECT_EQ(next.entries.FindById("A.MAI")->Property("SUBJECT"), "a");
        EXPECT_EQ(ReadBytesOf(folder + "\\_index.xml.bad"), torn);
        RemoveFile(folder + "\\_index.xml.bad");
    }
}

TEST(FolderIndexSmallDisk, ACutOffStreamSaveWithoutABackupIsPutAside) {
    const std::string disk = Environment(kSmallDisk);
    if (disk.empty()) return;
    const ScratchRegistry registry;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    MakeMailFolder(disk);
    EXPECT_EQ(SaveTooMuch(disk, kTooMuch, false), MarkedText(disk));
    RemoveFile(disk + "\\_index.xml.bak");
    const std::string torn = ReadBytesOf(disk + "\\_index.xml");
    // Its copy has no room either.
    FolderIndex next = IndexOf(disk);
    StoreIndex_Open(&next, kOpenChecked);
    EXPECT_EQ(ReadBytesOf(disk + "\\_index.xml.bad"), torn);
    RemoveFile(disk + "\\_index.xml.bad");
    StoreIndex_Open(&next, kOpenChecked);
    EXPECT_EQ(next.entries.Count(), 2U);
}

// The length decides whether the system is told in the last write or in one before it.
TEST(FolderIndexSmallDisk, ACutOffDomSaveMarksTheFolder) {
    const std::string disk = Environment(kSmallDisk);
    if (disk.empty()) return;
    const ScratchRegistry registry;
    for (const std::size_t length : {kTooMuch, std::size_t{66'000}, std::size_t{60'000}}) {
        SCOPED_TRACE(length);
        const std::string folder = disk + "\\" + std::to_string(length);
        MakeMailFolder(folder);
        EXPECT_EQ(SaveTooMuch(folder, length, false), MarkedText(folder));
        EXPECT_TRUE(IsFolderMarkedChanged(folder));
        FolderIndex next = IndexOf(folder);
        EXPECT_EQ(StoreIndex_Open(&next, kOpenChecked), kOpenFailed);
        RemoveFile(folder + "\\_index.xml");
        EXPECT_EQ(StoreIndex_Open(&next, kOpenChecked), kOpenLoaded);
        EXPECT_EQ(next.entries.Count(), 2U);
        RemoveFile(folder + "\\_index.xml");
    }
}

TEST(FolderIndexDisk, AReadOnlyIndexIsReportedKeptAndMarked) {
    const ScratchRegistry registry;
    const ScratchFolder scratch;
    testing::UseStreams();
    const std::string& folder = scratch.Path();
    MakeMailFolder(folder);
    for (const bool inFull : {false, true}) {
        FolderIndex index = IndexOf(folder);
        ASSERT_EQ(StoreIndex_Open(&index, kOpenUnverified), kOpenLoaded);
        index.entries.Add("C.MAI");
        if (inFull) index.entries.InvalidateExtents();
        {
            const ReadOnlyIndex refusals;
            testing::CountingSleeper sleeper;
            ReportRecorder reports;
            File none;
            EXPECT_EQ(StoreIndex_SaveAndClose(&index, true, false, none, nullptr), 1);
            EXPECT_EQ(sleeper.TotalMilliseconds(), 40'000U);
            EXPECT_EQ(reports.Joined(ReportChannel::EventLogError),
                      "Failed to deserialise index: " + folder +
                          ". A File Access error occured when opening the file (was retried for "
                          "40 seconds). No data can be written.");
            EXPECT_EQ(LastTrace(reports), MarkedText(folder));
        }
        EXPECT_EQ(ReadBytesOf(folder + "\\_index.xml"), kStored);
        EXPECT_TRUE(IsFolderMarkedChanged(folder));
        EXPECT_EQ(StoreIndex_Open(&index, kOpenChecked), kOpenLoaded);
        EXPECT_EQ(Identifiers(index.entries), "A.MAI:1 B.MAI:2 ");
    }
}

}  // namespace
}  // namespace tarnwick

#include "Library/IndexRecovery.h"

#include <gtest/gtest.h>

#include "common/Clock.h"
#include "Library/FolderScan.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "Library/SerialiserChoice.h"
#include "Library/UnindexedStoreIndexSerialiser.h"
#include "tests/Library/IndexFixtures.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::EntryText;
using testing::Identifiers;
using testing::IndexText;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::SetProduct;
using testing::WriteBytesTo;

const std::string kGood = IndexText("x00000002", EntryText("A.MAI", 1) + EntryText("B.MAI", 2));
const std::string kGoodBackup = IndexText("x00000001", EntryText("A.MAI", 1));

struct Damage {
    const char* name;
    std::string text;
};
const Damage kDamages[] = {
    {"empty", ""},
    {"no root end", "<BASEELEMENT LASTUID=\"x00000002\">" + EntryText("A.MAI", 1)},
    {"cut in an entry", kGood.substr(0, 60)},
    {"order of UIDs", IndexText("x00000009", EntryText("A.MAI", 5) + EntryText("B.MAI", 3))},
    {"not an index", "MZ\x90 something else"},
};

enum class Backup { None, Good, Damaged };

struct Outcome {
    std::uint32_t status;
    std::string identifiers;
    std::string failure;  // behind the first line of reports
    bool indexStays;
    bool badCopy;
    bool backupStays;
};

Outcome ExpectedFor(Backup backup, bool enabled) {
    if (!enabled) return {0, "", "", true, false, backup != Backup::None};
    if (backup == Backup::None) {
        return {0,
                "",
                ". Unable to find recovery index. Recovering Index (there may be some flag loss)",
                false,
                true,
                false};
    }
    if (backup == Backup::Good) {
        return {3, "A.MAI:1 B.MAI:2 ", ". Successfully loaded recovery index.", true, true, true};
    }
    return {0, "", ". Backup Index is also corrupt.", true, true, false};
}

// Entries of a failed load are whatever was read, so they are looked at after a good one alone.
void ExpectRecovery(const Damage& damage, Backup backup, bool enabled) {
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("A.MAI"), "\r\n");
    WriteBytesTo(folder.Path("B.MAI"), "\r\n");
    WriteBytesTo(folder.Path("_index.xml"), damage.text);
    if (backup == Backup::Good) WriteBytesTo(folder.Path("_index.xml.bak"), kGoodBackup);
    if (backup == Backup::Damaged) WriteBytesTo(folder.Path("_index.xml.bak"), "<BASEELEMENT");
    ReportRecorder reports;
    StoreIndex index;
    SerialiserOwner loader = ChooseLoader(folder.Path(), 0, {});
    const std::uint32_t status =
        LoadWithRecovery(loader, index, folder.Path(), 0, {}, BackupWish::Refresh);
    const Outcome expected = ExpectedFor(backup, enabled);
    EXPECT_EQ(status, expected.status);
    EXPECT_EQ(index.LoadStatus(), expected.status);
    if (status != 0) {
        EXPECT_EQ(Identifiers(index), expected.identifiers);
    }
    const std::string log = reports.Joined(ReportChannel::EventLogError);
    const std::string plain = "Failed to deserialise index: " + folder.Path();
    // A backup that is damaged too fails by the rules of any load first.
    const bool twice = enabled && backup == Backup::Damaged;
    EXPECT_TRUE(log.ends_with((twice ? plain : "") + plain + expected.failure)) << log;
    EXPECT_EQ(PathExists(folder.Path("_index.xml")), expected.indexStays);
    EXPECT_EQ(PathExists(folder.Path("_index.xml.bak")), expected.backupStays);
    ASSERT_EQ(PathExists(folder.Path("_index.xml.bad")), expected.badCopy);
    if (expected.badCopy) {
        EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml.bad")), damage.text);
    }
}

TEST(IndexRecovery, EveryDamageWithEveryBackup) {
    const ScratchRegistry registry;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    for (const Damage& damage : kDamages) {
        for (const Backup backup : {Backup::None, Backup::Good, Backup::Damaged}) {
            SCOPED_TRACE(std::string(damage.name) + ", backup " +
                         std::to_string(static_cast<int>(backup)));
            ExpectRecovery(damage, backup, true);
        }
    }
}

TEST(IndexRecovery, AGoodBackupOutlivesAnIndexThatIsHeldOpen) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    WriteBytesTo(folder.Path("_index.xml"), kGood);
    WriteBytesTo(folder.Path("_index.xml.bak"), kGoodBackup);
    {
        const File held(folder.Path("_index.xml"), {GENERIC_READ, 0, OPEN_EXISTING});
        ASSERT_TRUE(held.IsOpen());
        ReportRecorder reports;
        StoreIndex index;
        SerialiserOwner loader = ChooseLoader(folder.Path(), 0, {});
        EXPECT_EQ(LoadWithRecovery(loader, index, folder.Path(), 0, {}, BackupWish::Refresh), 0U);
        EXPECT_TRUE(reports.Joined(ReportChannel::EventLogError)
                        .ends_with("Failed to deserialise index: " + folder.Path()));
    }
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), kGood);
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml.bak")), kGoodBackup);
}

TEST(IndexRecovery, NoSerialiserIsAFailedLoad) {
    StoreIndex index;
    index.SetLoadStatus(kLoadFull);
    SerialiserOwner none = NoSerialiser();
    EXPECT_EQ(LoadWithRecovery(none, index, "F", 0, {}, BackupWish::Refresh), 0U);
    EXPECT_EQ(index.LoadStatus(), kLoadFailed);
}

TEST(IndexRecovery, WithoutTheSettingADamagedIndexIsLeftAlone) {
    const ScratchRegistry registry;
    testing::UseStreams();
    ExpectRecovery(kDamages[0], Backup::Good, false);
}

constexpr std::uint64_t kUnitsPerMinute = 600'000'000;
std::uint64_t backupTime = 0;
std::uint64_t ageMinutes = 0;
std::uint64_t LaterClock() {
    return backupTime + ageMinutes * kUnitsPerMinute;
}

TEST(IndexRecovery, AnOldBackupIsRefreshedByAGoodLoad) {
    const ScratchRegistry registry;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    for (const std::uint64_t age : {370U, 371U}) {
        const ScratchFolder folder;
        WriteBytesTo(folder.Path("_index.xml"), kGood);
        WriteBytesTo(folder.Path("_index.xml.bak"), kGoodBackup);
        backupTime = *File(folder.Path("_index.xml.bak"), kOpenRead).LastWriteTime();
        ageMinutes = age;
        SetClock(LaterClock);
        StoreIndex index;
        SerialiserOwner loader = ChooseLoader(folder.Path(), 0, {});
        EXPECT_EQ(LoadWithRecovery(loader, index, folder.Path(), 0, {}, BackupWish::Refresh), 3U);
        EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml.bak")), age == 371 ? kGood : kGoodBackup);
    }
}

TEST(IndexRecovery, TheCopiesOfAGroupFolderAreThoseOfItsOtherIndex) {
    const ScratchFolder folder;
    StreamXMLStoreIndexSerialiser serialiser;
    WriteBytesTo(folder.Path("_groups.xml"), "groups");
    WriteBytesTo(folder.Path("_index.xml"), "index");
    serialiser.CreateBackup(folder.Path());
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml.bak")), "index");
    EXPECT_EQ(folder.Names().size(), 3U);
}

TEST(IndexRecovery, TheFirstGoodLoadMakesABackupWhenItIsWished) {
    const ScratchRegistry registry;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    for (const BackupWish wish : {BackupWish::None, BackupWish::Refresh}) {
        const ScratchFolder folder;
        WriteBytesTo(folder.Path("_index.xml"), kGood);
        StoreIndex index;
        SerialiserOwner loader = ChooseLoader(folder.Path(), 0, {});
        LoadWithRecovery(loader, index, folder.Path(), 0, {}, wish);
        EXPECT_EQ(PathExists(folder.Path("_index.xml.bak")), wish == BackupWish::Refresh);
    }
}

class ThrowingLoader final : public StoreIndexSerialiser {
  public:
    explicit ThrowingLoader(bool loads = false) : loads_(loads) {}
    bool Serialise(StoreIndex&, const std::string&, std::uint32_t) override { return false; }
    std::uint32_t Deserialise(StoreIndex&, const std::string&, std::uint32_t,
                              const DeserialiseRequest&) override {
        if (!loads_) throw std::runtime_error("torn");
        return kLoadFull;
    }
    bool RequiresFullLoad() override { return true; }
    bool SupportsRecovery() override { return loads_; }
    bool BackupExists(const std::string&) override { throw std::runtime_error("backup"); }

  private:
    bool loads_;
};

TEST(IndexRecovery, ABackupThatThrowsIsPrintedAndTheLoadGood) {
    const ScratchRegistry registry;
    SetProduct("Backup Index", 1);
    const ReportRecorder reports;
    StoreIndex index;
    SerialiserOwner loader = MakeSerialiser<ThrowingLoader>(true);
    EXPECT_EQ(LoadWithRecovery(loader, index, "F", 0, {}, BackupWish::Refresh), 3U);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), "Exception occured when backing up");
}

TEST(IndexRecovery, WhatALoaderThrowsIsReportedAndAFailure) {
    const ScratchRegistry registry;
    ReportRecorder reports;
    StoreIndex index;
    SerialiserOwner loader = MakeSerialiser<ThrowingLoader>();
    EXPECT_EQ(LoadWithRecovery(loader, index, "F", 0, {}, BackupWish::Refresh), 0U);
    EXPECT_EQ(reports.Joined(ReportChannel::Trace),
              "StoreIndexSerialiser::Deserialise handled an exception; session will be "
              "dropped.\nThe exception was: torn\nFailed to deserialise index: F");
}

struct LoaderCase {
    const char* name;
    bool indexExists;
    bool flagged;
    std::uint32_t folderType;
    LoaderChoice choice;
    std::uint32_t calendarMode;
    std::string identifiers;  // with A in the index and B a file of the folder's type
};

TEST(SerialiserChoice, WrapsTheLoaderWhenTheFilesMustBeLookedAt) {
    const LoaderCase cases[] = {
        {"index, nothing asked", true, true, 3, {false, false}, 0, "A.TSK:1 "},
        {"index, not flagged", true, false, 3, {true, false}, 0, "A.TSK:1 "},
        {"index, flagged", true, true, 3, {true, false}, 0, "A.TSK:1 B.TSK:2 "},
        {"index, forced", true, false, 3, {false, true}, 0, "A.TSK:1 B.TSK:2 "},
        {"no index, nothing asked", false, true, 3, {false, false}, 0, ""},
        {"no index, forced", false, true, 3, {false, true}, 0, ""},
        {"no index, looked at", false, false, 3, {true, false}, 0, "A.TSK:1 B.TSK:2 "},
        {"calendar", true, false, 2, {false, false}, 0, "A.CAL:1 "},
        {"calendar, always", true, false, 2, {false, false}, 7, "A.CAL:1 B.CAL:2 "},
        {"tasks are not calendars", true, false, 3, {false, false}, 7, "A.TSK:1 "},
        {"groups forced", true, false, 54, {false, true}, 0, ""},
    };
    for (const LoaderCase& row : cases) {
        // Settings are read once a process, so each calendar mode needs its own.
        if (std::to_string(row.calendarMode) != testing::Environment("TARNWICK_CALENDAR_MODE")) {
            continue;
        }
        const ScratchRegistry registry;
        const ScratchFolder folder;
        testing::UseStreams();
        SetProduct("Calendar ReIndex Mode", row.calendarMode);
        const std::string extension = row.folderType == 2 ? ".CAL" : ".TSK";
        for (const char* name : {"A", "B"}) WriteBytesTo(folder.Path(name + extension), "");
        const std::string indexName = row.folderType == 54 ? "_groups.xml" : "_index.xml";
        if (row.indexExists) {
            WriteBytesTo(folder.Path(indexName),
                         IndexText("x00000001", EntryText("A" + extension, 1)));
        }
        if (row.flagged) WriteBytesTo(folder.Path("_CHANGE.DTY"), "");
        StoreIndex index;
        SerialiserOwner loader = ChooseLoader(folder.Path(), row.folderType, row.choice);
        EXPECT_EQ(loader->Deserialise(index, folder.Path(), row.folderType, {}), 3U) << row.name;
        EXPECT_EQ(Identifiers(index), row.identifiers) << row.name;
    }
    if (testing::Environment("TARNWICK_CALENDAR_MODE").empty()) {
        for (const char* mode : {"TARNWICK_CALENDAR_MODE=0", "TARNWICK_CALENDAR_MODE=7"}) {
            EXPECT_EQ(testing::RunSelf("SerialiserChoice.WrapsTheLoader*", {mode}), 0U) << mode;
        }
    }
}

TEST(SerialiserChoice, AScanLoadsTheWholeIndexWhateverPartIsWished) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    testing::UseStreams();
    for (const char* name : {"A.TSK", "B.TSK"}) WriteBytesTo(folder.Path(name), "");
    WriteBytesTo(folder.Path("_index.xml"),
                 IndexText("x00000002", EntryText("A.TSK", 1) + EntryText("B.TSK", 2)));
    const IdSet known{"A.TSK"};
    for (const bool byFilter : {false, true}) {
        StoreIndex index;
        if (byFilter) index.SetIdFilter("A.TSK");
        SerialiserOwner loader = ChooseLoader(folder.Path(), 3, {false, true});
        DeserialiseRequest request;
        if (!byFilter) request.knownIds = &known;
        EXPECT_EQ(loader->Deserialise(index, folder.Path(), 3, request), 3U);
        EXPECT_EQ(Identifiers(index), "A.TSK:1 B.TSK:2 ");
        EXPECT_TRUE(index.IsWhole());
    }
}

TEST(SerialiserChoice, TheStreamSavesPartsToo) {
    const ScratchRegistry registry;
    testing::UseStreams();
    EXPECT_FALSE(SaverRequiresFullLoad());
}

static_assert(std::has_virtual_destructor_v<UnindexedStoreIndexSerialiser>);

TEST(SerialiserChoice, WhatOnlyLoadsDoesNotSave) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    StoreIndex index;
    for (const bool reindex : {false, true}) {
        SerialiserOwner loader = ChooseLoader(folder.Path(), 3, {reindex, false});
        EXPECT_EQ(loader->Deserialise(index, folder.Path(), 3, {}), kLoadFull);
        EXPECT_FALSE(loader->Serialise(index, folder.Path(), 3));
        EXPECT_FALSE(loader->SupportsRecovery());
    }
    EXPECT_TRUE(folder.Names().empty());
}

TEST(FolderScan, AnUnknownFolderTypeFails) {
    const ScratchFolder folder;
    StoreIndex index;
    SerialiserOwner loader = ChooseLoader(folder.Path(), 9, {true, false});
    EXPECT_EQ(loader->Deserialise(index, folder.Path(), 9, {}), 0U);
}

}  // namespace
}  // namespace tarnwick

// The serialiser over real files.
#include <gtest/gtest.h>

#include "common/Files.h"
#include "common/Registry.h"
#include "Library/LIBStoreIndexSerialisation/BackedUpIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"
#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/NullStoreIndexDeserialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tests/Library/LIBStoreIndexSerialisation/NaiveIndex.h"
#include "tests/support/Faults.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick::testing {
namespace {

const std::string kTwo = Index(9, Element("A", "1") + Element("B", "2"));
const std::string kChanged =
    Index(9, Element("A", "1") + Element("B", "2", "<FROM>a</FROM><SUBJECT></SUBJECT>"));

// A folder with an index of two entries, loaded.
class IndexSerialiser : public ::testing::Test {
  protected:
    IndexSerialiser() { Restart(); }
    void Restart(const std::string& filter = {}) {
        WriteBytesTo(path_, kTwo);
        index_.SetIdFilter(filter);
        EXPECT_EQ(serialiser_.Deserialise(index_, folder_.Path(), kMailFolder, {}), kLoadFull);
        reports_.Take();
    }
    bool Save() { return serialiser_.Serialise(index_, folder_.Path(), kMailFolder); }
    bool ChangeAndSave() {
        index_.SetProperty(*index_.FindById("B"), "SUBJECT", "");
        return Save();
    }

    const ScratchFolder folder_;
    const std::string path_ = folder_.Path("_index.xml");
    ReportRecorder reports_;
    StreamXMLStoreIndexSerialiser serialiser_;
    StoreIndex index_;
};

TEST_F(IndexSerialiser, SavesInPlaceAndCutsTheFile) {
    EXPECT_TRUE(ChangeAndSave());
    EXPECT_EQ(ReadBytesOf(path_), kChanged);
    const CallRecorder calls;
    EXPECT_TRUE(Save());
    EXPECT_EQ(calls.Count(), 1) << "the file is looked for and not touched";
}

TEST_F(IndexSerialiser, GroupsHaveTheirOwnFile) {
    EXPECT_EQ(serialiser_.Deserialise(index_, folder_.Path(), kGroupsFolder, {}), kLoadFailed);
    EXPECT_FALSE(serialiser_.Serialise(index_, folder_.Path(), kGroupsFolder))
        << "none is made of nothing";
    WriteBytesTo(folder_.Path("_groups.xml"), "damaged");
    EXPECT_EQ(serialiser_.Deserialise(index_, folder_.Path(), kGroupsFolder, {}), kLoadFailed);
    EXPECT_EQ(index_.FileStamp(), StampOf(folder_.Path("_groups.xml"))) << "whatever the outcome";
    EXPECT_EQ(folder_.Names(), (std::vector<std::string>{"_groups.xml", "_index.xml"}));
}

TEST_F(IndexSerialiser, LeavesOutEntriesWhoseFilesAreGone) {
    WriteBytesTo(folder_.Path("B"), "");
    const DeserialiseRequest request{.verifyFiles = true};
    // A look-up that fails says nothing of the file.
    const std::pair<std::uint32_t, std::size_t> rows[] = {{ERROR_FILE_NOT_FOUND, 0},
                                                          {ERROR_PATH_NOT_FOUND, 0},
                                                          {ERROR_ACCESS_DENIED, 2},
                                                          {ERROR_NETNAME_DELETED, 2}};
    for (const auto& [error, count] : rows) {
        CallRecorder calls;
        calls.FailAll("FindFirstFile", error);
        EXPECT_EQ(serialiser_.Deserialise(index_, folder_.Path(), kMailFolder, request), kLoadFull);
        EXPECT_EQ(index_.Count(), count) << error;
    }
    EXPECT_EQ(serialiser_.Deserialise(index_, folder_.Path(), kMailFolder, request), kLoadFull);
    EXPECT_TRUE(Save());
    EXPECT_EQ(ReadBytesOf(path_), Index(9, Element("B", "2")));
}

// Ten operations, and in three of the classes an eleventh.
static_assert(!std::has_virtual_destructor_v<StoreIndexSerialiser>);
static_assert(!std::has_virtual_destructor_v<StreamXMLStoreIndexSerialiser>);
static_assert(std::has_virtual_destructor_v<MSXMLStoreIndexSerialiser>);
static_assert(std::has_virtual_destructor_v<NullStoreIndexDeserialiser>);

TEST_F(IndexSerialiser, AnothersChangeIsOverwrittenOrRefused) {
    for (const bool partial : {false, true}) {
        for (const bool whileSaveWaits : {false, true}) {
            Restart(partial ? "B" : "");
            File holder(path_, kOpenRead);
            const CountingSleeper sleeper([&](int) {
                holder.Close();
                WriteBytesTo(path_, Index(7, ""));
            });
            if (!whileSaveWaits) WaitMilliseconds(1);
            EXPECT_EQ(ChangeAndSave(), !partial);
            EXPECT_EQ(ReadBytesOf(path_), partial ? Index(7, "") : kChanged);
            const std::string trace = reports_.Joined(ReportChannel::Trace);
            EXPECT_TRUE(trace.starts_with(partial ? "Index file modified since load (" + path_
                                                  : "Index file has changed: " + folder_.Path()))
                << trace;
        }
    }
}

TEST_F(IndexSerialiser, AReaderRightBehindTheLastWriteFindsTheFileCut) {
    const CountingSleeper sleeper;
    FileHandle reader;
    bool isWriting = false;
    CallRecorder calls;
    // It opens the index as soon as it can.
    calls.onCall = [&](const SystemCall& call) -> std::uint32_t {
        isWriting = isWriting || call.name == "WriteFile";
        if (!isWriting || reader.IsValid()) return 0;
        reader = FileHandle(CreateFileA(path_.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
        return 0;
    };
    EXPECT_TRUE(ChangeAndSave());
    EXPECT_EQ(ReadBytesOf(path_), kChanged);
    EXPECT_EQ(sleeper.Count(), 0);
}

TEST_F(IndexSerialiser, TriesForFortySecondsToOpenAndToCut) {
    for (const char* call : {"CreateFile", "SetEndOfFile"}) {
        for (const bool allowedAtLast : {true, false}) {
            Restart();
            CallRecorder calls;
            calls.FailAll(call, ERROR_USER_MAPPED_FILE);
            const CountingSleeper sleeper([&](int count) {
                if (count == 20 && allowedAtLast) calls.FailAll("", 0);
            });
            EXPECT_EQ(ChangeAndSave(), allowedAtLast) << call;
            EXPECT_EQ(ReadBytesOf(path_) == kChanged, allowedAtLast) << call;
            EXPECT_EQ(sleeper.TotalMilliseconds(), 40'000U);
            const bool refused = *call == 'C' && !allowedAtLast;
            EXPECT_EQ(reports_.Joined(ReportChannel::EventLogError),
                      refused ? "Failed to deserialise index: " + folder_.Path() +
                                    ". A File Access error occured when opening the file (was "
                                    "retried for 40 seconds). No data can be written."
                              : "");
        }
    }
}

TEST_F(IndexSerialiser, WhatAFailureOrADeathLeftUnsavedIsSavedByTheNextTry) {
    const auto load = [this] {
        return serialiser_.Deserialise(index_, FaultFolder(), kMailFolder, {}) == kLoadFull;
    };
    const auto save = [this] {
        index_.SetProperty(*index_.FindById("B"), "SUBJECT", "");
        return serialiser_.Serialise(index_, FaultFolder(), kMailFolder);
    };
    const auto outcome = [&](const Trial& trial) -> std::string {
        const std::string bytes = ReadBytesOf(FaultFolder() + "\\_index.xml");
        if (trial.result == "1" && bytes != kChanged) return "unsaved";
        if (trial.result != "0" && !load()) return "torn";
        if (!save() || !load() || index_.Count() != 2) return "lost";
        return "saved" + std::string(*index_.FindById("B")->Property("SUBJECT"));
    };
    ExpectOutcomes({{"save",
                     [](const std::string& folder) { WriteBytesTo(folder + "\\_index.xml", kTwo); },
                     [&](const std::string&) { return !load()  ? "unread"
                                                      : save() ? "1"
                                                               : "0"; },
                     {{Fault::Call, "0 saved|"}, {Fault::Death, "1 saved|"}},
                     outcome}},
                   ERROR_DISK_FULL);
}

TEST(IndexSettingsOwnProcess, AreReadOnce) {
    const ScratchRegistry registry;
    const auto set = [](const char* name, std::uint32_t number) {
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, name, number);
    };
    set("Index Garbage Collection Threshold", 3);
    const IndexSettings& settings = StoredIndexSettings();
    EXPECT_EQ(settings.maximumRows, 100000U);
    EXPECT_EQ(settings.backupIntervalMinutes, 370U);
    EXPECT_EQ(settings.domWritesOldFormat, 1U);
    EXPECT_EQ(settings.backupIndex + settings.streamSerialisation + settings.streamDeserialisation,
              0U);
    set("Index Garbage Collection Threshold", 4);
    const ScratchFolder folder;
    std::string garbage = Element("-", "-");
    for (const bool trusted : {true, true, false, false}) {
        WriteBytesTo(folder.Path("_index.xml"), Index(9, garbage));
        StoreIndex index;
        StreamXMLStoreIndexSerialiser().Deserialise(index, folder.Path(), kMailFolder, {});
        EXPECT_EQ(index.ExtentsTrusted(), trusted);
        garbage += Element("-", "-");
    }
}

// By a copy, or where it has no room by a move; what is refused loses nothing.
TEST_F(IndexSerialiser, BackupsComeAndGo) {
    EXPECT_FALSE(serialiser_.BackupExists(folder_.Path()));
    EXPECT_FALSE(serialiser_.RestoreBackup(folder_.Path()));
    EXPECT_EQ(serialiser_.BackupAgeMinutes(folder_.Path()), 0U);
    WriteBytesTo(folder_.Path("_groups.xml"), "never copied");
    for (const std::uint32_t error : {DWORD{0}, DWORD{ERROR_DISK_FULL}}) {
        WriteBytesTo(path_, kTwo);
        serialiser_.CreateBackup(folder_.Path());
        WriteBytesTo(path_, "bad");
        WriteBytesTo(path_ + ".bad", "older");
        CallRecorder calls;
        calls.FailAll("CopyFile", ERROR_ACCESS_DENIED);
        const std::string before = folder_.Contents();
        EXPECT_FALSE(serialiser_.RestoreBackup(folder_.Path()));
        serialiser_.QuarantineIndex(folder_.Path());
        EXPECT_EQ(folder_.Contents(), before);
        calls.FailAll("CopyFile", error);
        EXPECT_TRUE(serialiser_.RestoreBackup(folder_.Path()));
        EXPECT_EQ(ReadBytesOf(path_) + ReadBytesOf(path_ + ".bad"), kTwo + "bad");
        serialiser_.DeleteBackup(folder_.Path());
        EXPECT_TRUE(serialiser_.QuarantineIndex(folder_.Path()));
        EXPECT_EQ(ReadBytesOf(path_ + ".bad"), kTwo);
        EXPECT_EQ(folder_.Names(), (std::vector<std::string>{"_groups.xml", "_index.xml.bad"}));
    }
}

TEST(IndexBackup, AgeCountsMonthsOfThirtyDays) {
    constexpr std::uint64_t kMinute = 600'000'000;
    constexpr std::uint64_t kDay = 24 * 60 * kMinute;
    const std::pair<std::uint64_t, std::uint32_t> rows[] = {{0, 0},
                                                            {kMinute - 1, 0},
                                                            {371 * kMinute, 371},
                                                            {10 * kDay, 14400},
                                                            {30 * kDay, 43200},
                                                            {31 * kDay, 43200},
                                                            {40 * kDay, 56160},
                                                            {365 * kDay, 525600},
                                                            {~std::uint64_t{0}, 0}};
    for (const auto& [span, minutes] : rows) EXPECT_EQ(CalendarMinutes(span), minutes) << span;
}

}  // namespace
}  // namespace tarnwick::testing

#include "Library/IndexRecovery.h"

#include <gtest/gtest.h>

#include "Library/UnindexedStoreIndexSerialiser.h"
#include "tests/Library/StoreFolders.h"

namespace tarnwick {
namespace {

using testing::Identifiers;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::SetProduct;
using testing::StoreFolder;
using testing::TraceOf;

TEST(IndexRecovery, AGoodBackupOutlivesAnIndexThatIsHeldOpen) {
    if (!testing::IsAlone()) return;
    const ScratchRegistry registry;
    testing::UseStreams();
    SetProduct("Backup Index", 1);
    const StoreFolder folder(kMailFolder);
    const std::string& path = folder.scratch.Path();
    testing::WriteBytesTo(folder.index + ".bak", "backup");
    const std::string before = ReadBytesOf(folder.index);
    {
        const File held(folder.index, {GENERIC_READ, 0, OPEN_EXISTING});
        ASSERT_TRUE(held.IsOpen());
        ReportRecorder reports;
        StoreIndex index;
        SerialiserOwner loader = ChooseLoader(path, 0, {});
        EXPECT_EQ(LoadWithRecovery(loader, index, path, 0, {}, BackupWish::Refresh), kLoadFailed);
        EXPECT_TRUE(reports.Joined(ReportChannel::EventLogError)
                        .ends_with("Failed to deserialise index: " + path));
    }
    EXPECT_EQ(ReadBytesOf(folder.index), before);
    EXPECT_EQ(ReadBytesOf(folder.index + ".bak"), "backup");
}

class ThrowingLoader final : public StoreIndexSerialiser {
  public:
    ThrowingLoader(bool loads, bool recovers) : loads_(loads), recovers_(recovers) {}
    bool Serialise(StoreIndex&, const std::string&, std::uint32_t) override { return false; }
    std::uint32_t Deserialise(StoreIndex&, const std::string&, std::uint32_t,
                              const DeserialiseRequest&) override {
        if (!loads_) throw std::runtime_error("torn");
        return kLoadFull;
    }
    bool RequiresFullLoad() override { return true; }
    bool SupportsRecovery() override { return recovers_; }
    bool BackupExists(const std::string&) override { throw std::runtime_error("backup"); }

  private:
    bool loads_;
    bool recovers_;
};

TEST(IndexRecovery, WhatALoaderOrItsBackupThrowsIsTold) {
    if (!testing::IsAlone()) return;
    const ScratchRegistry registry;
    SetProduct("Backup Index", 1);
    ReportRecorder reports;
    StoreIndex index;
    const auto load = [&](SerialiserOwner loader) {
        return LoadWithRecovery(loader, index, "F", 0, {}, BackupWish::Refresh);
    };
    EXPECT_EQ(load(MakeSerialiser<ThrowingLoader>(true, true)), kLoadFull);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), "Exception occured when backing up");
    EXPECT_EQ(TraceOf(reports), "");
    const std::string thrown =
        "StoreIndexSerialiser::Deserialise handled an exception; session will be dropped.\n"
        "The exception was: ";
    EXPECT_EQ(load(MakeSerialiser<ThrowingLoader>(false, false)), kLoadFailed);
    EXPECT_EQ(TraceOf(reports), thrown + "torn\nFailed to deserialise index: F");
    EXPECT_EQ(load(MakeSerialiser<ThrowingLoader>(false, true)), kLoadFailed);
    EXPECT_EQ(TraceOf(reports), thrown + "torn\n" + thrown + "backup\n");
    index.SetLoadStatus(kLoadFull);
    EXPECT_EQ(load(NoSerialiser()), kLoadFailed);
    EXPECT_EQ(index.LoadStatus(), kLoadFailed);
}

// Beside what an open asks for, which the folders' model shows.
TEST(SerialiserChoice, LooksAtTheFilesWhenItIsForcedTo) {
    if (!testing::IsAlone()) return;
    const ScratchRegistry registry;
    testing::UseStreams();
    struct Row {
        bool exists;
        std::uint32_t type;
        LoaderChoice choice;
        const char* identifiers;
    };
    const LoaderChoice forced{.forceReindex = true};
    const LoaderChoice flagged{.reindexIfFlagged = true};
    const Row rows[] = {{true, 3, {}, "A.TSK:5 B.TSK:7 "},
                        {true, 3, flagged, "A.TSK:5 B.TSK:7 "},
                        {true, 3, forced, "A.TSK:5 B.TSK:7 C.TSK:8 "},
                        {false, 3, forced, ""},
                        {false, 3, flagged, "A.TSK:2 B.TSK:3 C.TSK:4 "},
                        {true, 54, forced, ""}};
    const IdSet known{"A.TSK"};
    for (const Row& row : rows) {
        const StoreFolder folder(row.type);
        const std::string& path = folder.scratch.Path();
        if (!row.exists) RemoveFile(folder.index);
        StoreIndex index;
        index.Add("OLD.TSK");
        SerialiserOwner loader = ChooseLoader(path, row.type, row.choice);
        // A scan needs the whole index, whatever part is wished.
        DeserialiseRequest request;
        if (row.choice.forceReindex) request = {.loadMode = kLoadHeader, .knownIds = &known};
        EXPECT_EQ(loader->Deserialise(index, path, row.type, request), kLoadFull);
        EXPECT_EQ(Identifiers(index), row.identifiers);
        EXPECT_EQ(index.IsWhole(), true);
        const bool stream = row.exists && !row.choice.forceReindex;
        EXPECT_EQ(loader->SupportsRecovery(), stream);
        EXPECT_EQ(loader->RequiresFullLoad(), !stream);
        EXPECT_TRUE(stream || !loader->Serialise(index, path, row.type));
    }
    EXPECT_FALSE(SaverRequiresFullLoad());
    const ScratchFolder folder;
    StoreIndex index;
    SerialiserOwner loader = ChooseLoader(folder.Path(), 9, flagged);
    EXPECT_EQ(loader->Deserialise(index, folder.Path(), 9, {}), kLoadFailed) << "no such type";
}

static_assert(std::has_virtual_destructor_v<UnindexedStoreIndexSerialiser>);

}  // namespace
}  // namespace tarnwick

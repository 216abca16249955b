#include "Library/IndexBlockFile.h"

#include <gtest/gtest.h>

#include "common/DiagnosticLevel.h"
#include "common/Registry.h"
#include "tests/Library/IndexFixtures.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

TEST(IndexBlockPath, DiffersInGroupFoldersAndIsBounded) {
    EXPECT_EQ(IndexBlockPath("F", 0), "F\\_index.blk");
    EXPECT_EQ(IndexBlockPath("F", 54), "F\\_groups.blk");
    EXPECT_EQ(IndexBlockPath(std::string(2000, 'x'), 0), std::string(1023, 'x'));
}

struct WaitCase {
    const char* name;
    DWORD createError;  // with which every creation fails; 0: a block file stands there
    int diagnosticLevel;
    int unblockMode;
    bool locked;
    int waits;
    const char* printed;
    const char* file = "_index.blk";
};

class IndexBlockWait : public ::testing::TestWithParam<WaitCase> {};

TEST_P(IndexBlockWait, EndsAsTheErrorSays) {
    if (!testing::IsAlone()) return;
    const WaitCase& row = GetParam();
    const ScratchRegistry registry;
    const ScratchFolder folder;
    ReportRecorder reports;
    CountingSleeper sleeper;
    CallRecorder calls;
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey, "Index Unblock Mode",
                              static_cast<std::uint32_t>(row.unblockMode));
    DiagnosticLevel() = row.diagnosticLevel;
    const std::string path = folder.Path(row.file);
    WriteBytesTo(path, "");
    if (row.createError != 0) calls.FailAll("CreateFile", row.createError);
    File lock = WaitForAccessToIndexFileEx(path);
    EXPECT_EQ(lock.IsOpen(), row.locked);
    EXPECT_EQ(sleeper.Count(), row.waits);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), row.printed);
    char denied[512] = "";
    if (row.diagnosticLevel >= 6) {
        std::snprintf(denied, sizeof denied,
                      "[%ld] Access Denied error occured in WaitForAccessToIndexFileEx for block "
                      "file: %s\r\n",
                      GetCurrentThreadId(), path.c_str());
    }
    EXPECT_EQ(reports.Joined(ReportChannel::EventLogError), denied);
    // Read once.
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey, "Index Unblock Mode", 1);
    if (row.unblockMode == 0 && row.createError == 0) {
        lock.Close();
        WaitForAccessToIndexFileEx(path);
        EXPECT_EQ(sleeper.Count(), 2 * row.waits);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, IndexBlockWait,
    ::testing::Values(WaitCase{"Abandoned", 0, 5, 0, true, 61, ""},
                      WaitCase{"OrphanModeBreaksAfterOneWait", 0, 5, 1, true, 1, "deleted orphan"},
                      WaitCase{"OrphanModeIsNotForGroups", 0, 5, 1, true, 61, "", "_groups.blk"},
                      WaitCase{"PathGone", ERROR_PATH_NOT_FOUND, 5, 0, false, 0, ""},
                      WaitCase{"NameTooLong", ERROR_FILENAME_EXCED_RANGE, 5, 0, false, 0, ""},
                      WaitCase{"NameInvalid", ERROR_INVALID_NAME, 5, 0, false, 0, ""},
                      WaitCase{"DeniedWaits", ERROR_ACCESS_DENIED, 5, 0, false, 61, ""},
                      WaitCase{"DeniedIsReported", ERROR_ACCESS_DENIED, 6, 0, false, 0, ""},
                      WaitCase{"SharingWaits", ERROR_SHARING_VIOLATION, 5, 1, false, 61, ""}),
    [](const auto& test) { return test.param.name; });

TEST(IndexBlockWait, AnOrphanThatStaysIsNotSaidToBeDeleted) {
    if (!testing::IsAlone()) return;
    const ScratchRegistry registry;
    const ScratchFolder folder;
    ReportRecorder reports;
    CountingSleeper sleeper;
    EXPECT_EQ(DiagnosticLevel(), 5);
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey, "Index Unblock Mode", 1);
    const File other(folder.Path("_index.blk"), kCreateBlockFile);
    EXPECT_FALSE(WaitForAccessToIndexFileEx(folder.Path("_index.blk")).IsOpen());
    EXPECT_EQ(sleeper.Count(), 61 + 80);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), "");
}

TEST(IndexBlockWait, TakesAFreeFolderAtOnceAndOneReleasedMeanwhile) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    const std::string path = folder.Path("_index.blk");
    File first = WaitForAccessToIndexFileEx(path);
    ASSERT_TRUE(first.IsOpen());
    CountingSleeper sleeper([&](int count) {
        if (count == 7) ReleaseIndexBlock(first, path);
    });
    EXPECT_TRUE(WaitForAccessToIndexFileEx(path).IsOpen());
    EXPECT_EQ(sleeper.Count(), 7);
}

TEST(IndexBlockRelease, TriesForEightySecondsAndSaysWhenItCouldNot) {
    const ScratchFolder folder;
    const std::string path = folder.Path("_index.blk");
    ReportRecorder reports;
    CountingSleeper sleeper;
    const File other(path, kOpenTruncate);
    CallRecorder calls;
    File lock;
    ReleaseIndexBlock(lock, path);
    EXPECT_EQ(sleeper.Count(), 80);
    EXPECT_EQ(calls.Count(), 81 + 1);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "ScanFoldersOrdered::Unable to remove blocking file");
}

TEST(IndexBlockRelease, AFailedCloseIsPrintedAndTheFileStillRemoved) {
    const ScratchFolder folder;
    const std::string path = folder.Path("_index.blk");
    ReportRecorder reports;
    File lock(path, kCreateBlockFile);
    CallRecorder calls;
    calls.FailCall(1, ERROR_INVALID_HANDLE);
    ReleaseIndexBlock(lock, path);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "An error occured closing the handle of a block file: 6");
    EXPECT_TRUE(folder.Names().empty());
}

TEST(IndexAvailability, TellsBusyMissingAndPresent) {
    const ScratchFolder folder;
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 0), IndexAvailability::NoIndex);
    WriteBytesTo(folder.Path("_index.xml"), "x");
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 0), IndexAvailability::IndexExists);
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"_index.xml"});
    WriteBytesTo(folder.Path("_index.blk"), "");
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 0), IndexAvailability::Busy);
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 99), IndexAvailability::IndexExists);
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path("gone"), 0), IndexAvailability::Busy);
}

TEST(IndexAvailability, SaysWhenItsBlockFileStays) {
    const ScratchFolder folder;
    ReportRecorder reports;
    CountingSleeper sleeper;
    CallRecorder calls;
    calls.FailAll("DeleteFile", ERROR_SHARING_VIOLATION);
    EXPECT_EQ(CheckIndexFileAvailability(folder.Path(), 0), IndexAvailability::NoIndex);
    EXPECT_EQ(sleeper.Count(), 80);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "CheckIndexFileAvailability::Unable to remove blocking file");
}

}  // namespace
}  // namespace tarnwick

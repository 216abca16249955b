// The serialiser over real files.
#include <gtest/gtest.h>

#include "common/Clock.h"
#include "common/Files.h"
#include "common/Registry.h"
#include "Library/LIBStoreIndexSerialisation/IndexBackup.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"
#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/NullStoreIndexDeserialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tests/Library/LIBStoreIndexSerialisation/IndexTexts.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::Describe;
using testing::Element;
using testing::Environment;
using testing::Index;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::RunSelf;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

const std::string kTwo = Index(9, Element("A", "1") + Element("B", "2"));
const std::string kChanged =
    Index(9, Element("A", "1") + Element("B", "2", "<FROM>a</FROM><SUBJECT></SUBJECT>"));

bool SaveWithEmptySubject(const std::string& folder) {
    StreamXMLStoreIndexSerialiser serialiser;
    StoreIndex index;
    serialiser.Deserialise(index, folder, 0, {});
    index.SetProperty(*index.FindById("B"), "SUBJECT", "");
    return serialiser.Serialise(index, folder, 0);
}

TEST(Serialiser, SavesInPlaceAndCutsTheFile) {
    const ScratchFolder folder;
    for (const std::uint32_t type : {0U, 54U}) {
        const std::string path = folder.Path(type == 54 ? "_groups.xml" : "_index.xml");
        WriteBytesTo(path, kTwo);
        StreamXMLStoreIndexSerialiser serialiser;
        StoreIndex index;
        ASSERT_EQ(serialiser.Deserialise(index, folder.Path(), type, {}), kLoadFull);
        index.SetProperty(*index.FindById("B"), "SUBJECT", "");
        EXPECT_TRUE(serialiser.Serialise(index, folder.Path(), type));
        EXPECT_EQ(ReadBytesOf(path), kChanged);
        CallRecorder calls;
        EXPECT_TRUE(serialiser.Serialise(index, folder.Path(), type));
        EXPECT_EQ(calls.Count(), 1) << "the file is looked for and not touched";
    }
}

TEST(Serialiser, LeavesOutEntriesWithoutTheirFiles) {
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("_index.xml"), kTwo);
    WriteBytesTo(folder.Path("B"), "");
    StreamXMLStoreIndexSerialiser serialiser;
    StoreIndex index;
    DeserialiseRequest request;
    request.verifyFiles = true;
    EXPECT_EQ(serialiser.Deserialise(index, folder.Path(), 0, request), kLoadFull);
    EXPECT_EQ(Describe(index), "B 2 1 1 FROM=a SUBJECT=b;");
    EXPECT_TRUE(serialiser.Serialise(index, folder.Path(), 0));
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), Index(9, Element("B", "2")));
}

TEST(Serialiser, KeepsEntriesWhoseFilesCouldNotBeLookedFor) {
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("_index.xml"), kTwo);
    struct Row {
        std::uint32_t error;
        const char* entries;
    };
    const Row rows[] = {
        {ERROR_FILE_NOT_FOUND, ""},
        {ERROR_PATH_NOT_FOUND, ""},
        {ERROR_ACCESS_DENIED, "A 1 1 1 FROM=a SUBJECT=b;B 2 2 2 FROM=a SUBJECT=b;"},
        {ERROR_NETNAME_DELETED, "A 1 1 1 FROM=a SUBJECT=b;B 2 2 2 FROM=a SUBJECT=b;"},
    };
    for (const Row& row : rows) {
        StreamXMLStoreIndexSerialiser serialiser;
        StoreIndex index;
        DeserialiseRequest request;
        request.verifyFiles = true;
        CallRecorder calls;
        calls.FailAll("FindFirstFile", row.error);
        EXPECT_EQ(serialiser.Deserialise(index, folder.Path(), 0, request), kLoadFull);
        EXPECT_EQ(Describe(index), row.entries) << row.error;
    }
}

TEST(Serialiser, AMissingIndexIsDamagedAndNotMade) {
    const ScratchFolder folder;
    ReportRecorder reports;
    StreamXMLStoreIndexSerialiser serialiser;
    StoreIndex index;
    EXPECT_EQ(serialiser.Deserialise(index, folder.Path(), 0, {}), kLoadFailed);
    EXPECT_EQ(reports.Take().size(), 2U);
    EXPECT_FALSE(serialiser.Serialise(index, folder.Path(), 0));
    EXPECT_TRUE(folder.Names().empty());
}

TEST(Serialiser, ALoadNotesTheFileWhateverItsOutcome) {
    const ScratchFolder folder;
    const ReportRecorder reports;
    WriteBytesTo(folder.Path("_index.xml"), "damaged");
    StreamXMLStoreIndexSerialiser serialiser;
    StoreIndex index;
    EXPECT_EQ(serialiser.Deserialise(index, folder.Path(), 0, {}), kLoadFailed);
    EXPECT_EQ(index.FileStamp(), StampOf(folder.Path("_index.xml")));
}

// Ten operations, and in three of the classes an eleventh.
static_assert(!std::has_virtual_destructor_v<StoreIndexSerialiser>);
static_assert(!std::has_virtual_destructor_v<StreamXMLStoreIndexSerialiser>);
static_assert(std::has_virtual_destructor_v<MSXMLStoreIndexSerialiser>);
static_assert(std::has_virtual_destructor_v<NullStoreIndexDeserialiser>);

TEST(Serialiser, AnothersChangeIsOverwrittenOrRefused) {
    const std::string anothers = Index(7, "");
    for (const bool partial : {false, true}) {
        for (const bool whileSaveWaits : {false, true}) {
            const ScratchFolder folder;
            const ReportRecorder reports;
            const std::string path = folder.Path("_index.xml");
            WriteBytesTo(path, kTwo);
            StreamXMLStoreIndexSerialiser serialiser;
            StoreIndex index;
            if (partial) index.SetIdFilter("B");
            serialiser.Deserialise(index, folder.Path(), 0, {});
            index.SetProperty(*index.FindById("B"), "SUBJECT", "");
            File holder(path, kOpenRead);
            const CountingSleeper sleeper([&](int) {
                holder.Close();
                WriteBytesTo(path, anothers);
            });
            if (!whileSaveWaits) WaitMilliseconds(1);
            EXPECT_EQ(serialiser.Serialise(index, folder.Path(), 0), !partial);
            EXPECT_EQ(ReadBytesOf(path), partial ? anothers : kChanged);
            const std::string report =
                partial ? "Index file modified since load (" + path +
                              "). Index was not fully loaded: aborting save."
                        : "Index file has changed: " + folder.Path() +
                              ". Cached offset information is now inaccurate. Index will be "
                              "rewritten in full.";
            EXPECT_EQ(reports.Joined(ReportChannel::Trace), report) << whileSaveWaits;
        }
    }
}

// Opens the index as soon as it can, before any call of the save.
class EagerReader : public CallObserver {
  public:
    explicit EagerReader(const std::string& path) : path_(path) { SetCallObserver(this); }
    ~EagerReader() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        exclusive_ = exclusive_ || call.name == "WriteFile";
        if (exclusive_ && !file_.IsValid()) {
            file_ = FileHandle(CreateFileA(path_.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                           OPEN_EXISTING, 0, nullptr));
        }
        return 0;
    }

  private:
    std::string path_;
    FileHandle file_;
    bool exclusive_ = false;
};

TEST(Serialiser, AReaderRightBehindTheLastWriteFindsTheFileCut) {
    const ScratchFolder folder;
    const CountingSleeper sleeper;
    WriteBytesTo(folder.Path("_index.xml"), kTwo);
    {
        const EagerReader reader(folder.Path("_index.xml"));
        EXPECT_TRUE(SaveWithEmptySubject(folder.Path()));
    }
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), kChanged);
    EXPECT_EQ(sleeper.Count(), 0);
}

TEST(Serialiser, ACutThatIsRefusedIsTriedForFortySeconds) {
    for (const bool allowedAtLast : {true, false}) {
        const ScratchFolder folder;
        WriteBytesTo(folder.Path("_index.xml"), kTwo);
        CallRecorder calls;
        calls.FailAll("SetEndOfFile", ERROR_USER_MAPPED_FILE);
        const CountingSleeper sleeper([&](int count) {
            if (count == 20 && allowedAtLast) calls.FailAll("", 0);
        });
        EXPECT_EQ(SaveWithEmptySubject(folder.Path()), allowedAtLast);
        EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")) == kChanged, allowedAtLast);
        EXPECT_EQ(sleeper.Count(), 20);
    }
}

TEST(Serialiser, TriesForFortySecondsToOpen) {
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("_index.xml"), kTwo);
    const ReportRecorder reports;
    StreamXMLStoreIndexSerialiser serialiser;
    StoreIndex index;
    serialiser.Deserialise(index, folder.Path(), 0, {});
    index.Add("N");
    File reader(folder.Path("_index.xml"), kOpenRead);
    {
        const CountingSleeper sleeper;
        EXPECT_FALSE(serialiser.Serialise(index, folder.Path(), 0));
        EXPECT_EQ(sleeper.Count(), 20);
        EXPECT_EQ(sleeper.TotalMilliseconds(), 40'000U);
    }
    const std::string message =
        "Failed to deserialise index: " + folder.Path() +
        ". A File Access error occured when opening the file (was retried for 40 "
        "seconds). No data can be written.";
    EXPECT_EQ(reports.Joined(ReportChannel::Trace), message);
    EXPECT_EQ(reports.Joined(ReportChannel::EventLogError), message);
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), kTwo);
    const CountingSleeper sleeper([&](int count) {
        if (count == 20) reader.Close();
    });
    EXPECT_TRUE(serialiser.Serialise(index, folder.Path(), 0));
}

TEST(Serialiser, EachFailingCallLeavesAnIndexOrReportsDamage) {
    const ReportRecorder reports;
    for (int number = 1;; ++number) {
        const ScratchFolder folder;
        WriteBytesTo(folder.Path("_index.xml"), kTwo);
        StreamXMLStoreIndexSerialiser serialiser;
        StoreIndex index;
        serialiser.Deserialise(index, folder.Path(), 0, {});
        index.SetProperty(*index.FindById("B"), "SUBJECT", "");
        const CountingSleeper sleeper;
        int calls = 0;
        bool saved = false;
        {
            CallRecorder recorder;
            recorder.FailCall(number, ERROR_DISK_FULL);
            saved = serialiser.Serialise(index, folder.Path(), 0);
            calls = recorder.Count();
        }
        if (saved) {
            EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), kChanged) << number;
        }
        // What was left unsaved is saved by the next try, unless damage took the file.
        EXPECT_TRUE(serialiser.Serialise(index, folder.Path(), 0)) << number;
        EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), kChanged) << number;
        if (number > calls) break;
    }
}

TEST(Serialiser, DiesAtACall) {
    const std::string folder = Environment("TARNWICK_INDEX_FOLDER");
    if (folder.empty()) return;
    CallRecorder recorder;
    recorder.DieAtCall(std::stoi(Environment("TARNWICK_INDEX_CALL")));
    SaveWithEmptySubject(folder);
}

TEST(Serialiser, AProcessThatDiesLeavesTheOldOrTheNewIndex) {
    const ReportRecorder reports;
    for (int call = 1;; ++call) {
        const ScratchFolder folder;
        WriteBytesTo(folder.Path("_index.xml"), kTwo);
        const unsigned status =
            RunSelf("Serialiser.DiesAtACall", {"TARNWICK_INDEX_FOLDER=" + folder.Path(),
                                               "TARNWICK_INDEX_CALL=" + std::to_string(call)});
        StreamXMLStoreIndexSerialiser serialiser;
        StoreIndex index;
        ASSERT_EQ(serialiser.Deserialise(index, folder.Path(), 0, {}), kLoadFull) << call;
        const std::string subject(index.FindById("B")->Property("SUBJECT").value_or("missing"));
        EXPECT_TRUE(subject.empty() || subject == "b") << call << subject;
        EXPECT_EQ(index.Count(), 2U);
        if (status == 0) break;
        ASSERT_EQ(status, testing::kDiedAtCall);
        ASSERT_LT(call, 60);
    }
}

TEST(Settings, AreReadOncePerProcess) {
    const ScratchRegistry registry;
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Index Garbage Collection Threshold",
                              3);
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Backup Index", 0);
    const IndexSettings& settings = StoredIndexSettings();
    EXPECT_EQ(settings.garbageThreshold, 3U);
    EXPECT_EQ(settings.maximumRows, 100000U);
    EXPECT_EQ(settings.backupIntervalMinutes, 370U);
    EXPECT_EQ(settings.domWritesOldFormat, 1U);
    EXPECT_EQ(settings.backupIndex + settings.streamSerialisation + settings.streamDeserialisation,
              0U);
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Index Garbage Collection Threshold",
                              4);
    EXPECT_EQ(StoredIndexSettings().garbageThreshold, 3U);
}

TEST(Backup, CopiesComeAndGo) {
    const ScratchFolder folder;
    StreamXMLStoreIndexSerialiser serialiser;
    EXPECT_FALSE(serialiser.BackupExists(folder.Path()));
    EXPECT_FALSE(serialiser.RestoreBackup(folder.Path()));
    EXPECT_EQ(serialiser.BackupAgeMinutes(folder.Path()), 0U);
    WriteBytesTo(folder.Path("_index.xml"), "good");
    WriteBytesTo(folder.Path("_groups.xml"), "never copied");
    serialiser.CreateBackup(folder.Path());
    EXPECT_TRUE(serialiser.BackupExists(folder.Path()));
    WriteBytesTo(folder.Path("_index.xml"), "bad");
    WriteBytesTo(folder.Path("_index.xml.bad"), "older");
    EXPECT_TRUE(serialiser.RestoreBackup(folder.Path()));
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), "good");
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml.bad")), "bad");
    serialiser.DeleteBackup(folder.Path());
    EXPECT_TRUE(serialiser.QuarantineIndex(folder.Path()));
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml.bad")), "good");
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"_groups.xml", "_index.xml.bad"}));
}

TEST(Backup, AgeCountsMonthsOfThirtyDays) {
    constexpr std::uint64_t kMinute = 600'000'000;
    constexpr std::uint64_t kDay = 24 * 60 * kMinute;
    struct Row {
        std::uint64_t span;
        std::uint32_t minutes;
    };
    const Row rows[] = {{0, 0},
                        {kMinute - 1, 0},
                        {371 * kMinute, 371},
                        {10 * kDay, 14400},
                        {30 * kDay, 43200},
                        {31 * kDay, 43200},
                        {40 * kDay, 56160},
                        {365 * kDay, 525600},
                        {~std::uint64_t{0}, 0}};
    for (const Row& row : rows) EXPECT_EQ(CalendarMinutes(row.span), row.minutes) << row.span;
}

}  // namespace
}  // namespace tarnwick

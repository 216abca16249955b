// What an index holds outlives whatever fails while it is opened, scanned, recovered and saved:
// each file call, once and for ever, and each allocation.
#include <gtest/gtest.h>

#include "common/MutexLock.h"
#include "Library/FolderFlags.h"
#include "tests/Library/FolderModel.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/FailingAllocations.h"

namespace tarnwick {
namespace {

using testing::FolderSettings;
using testing::IndexContent;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::StoreFolder;
using testing::WriteBytesTo;

enum class Stored { Sound, Missing, Torn, TornWithBackup };
struct Operation {
    const char* name;
    std::uint32_t type;
    int mode;
    Stored stored;
    bool closes;  // else it commits
};
const Operation kOperations[] = {
    {"checked", kMailFolder, 1, Stored::Sound, true},
    {"forced", kContactsFolder, 2, Stored::Sound, false},
    {"unscanned", kMailFolder, 3, Stored::Sound, true},
    {"tasks", kTaskFolder, 1, Stored::Sound, false},
    {"tasks forced", kTaskFolder, 2, Stored::Sound, true},
    {"groups", kGroupsFolder, 1, Stored::Sound, true},
    {"built", kMailFolder, 3, Stored::Missing, false},
    {"torn", kMailFolder, 1, Stored::Torn, true},
    {"recovered", kMailFolder, 1, Stored::TornWithBackup, true},
};

enum class Failing { Once, LikeIt, All };  // this call; it and all like it from there on; all
struct Fault {
    std::string call;  // its name and path, empty for memory
    Failing failing = Failing::Once;
    bool Touches(const char* ending) const { return call.ends_with(ending); }
    bool MayTearIndex() const {
        return failing == Failing::All || call == "WriteFile" || call == "SetEndOfFile" ||
               call == "SetFilePointer";
    }
};

class Life {
  public:
    Life(const Operation& operation, bool backups, const std::string& elsewhere)
        : operation_(operation), backups_(backups), elsewhere_(elsewhere), folder_(operation.type) {
        const std::string whole = ReadBytesOf(folder_.index);
        if (operation.stored == Stored::Missing) RemoveFile(folder_.index);
        if (operation.stored >= Stored::Torn) {
            torn_ = whole.substr(0, whole.find("B."));
            WriteBytesTo(folder_.index, torn_);
        }
        if (operation.stored == Stored::TornWithBackup) {
            WriteBytesTo(folder_.index + ".bak", whole);
        }
        if (operation.mode == 1) MarkFolderChanged(folder_.scratch.Path());
        // The object was in use: what it holds is not this folder's, or no more.
        index_ = testing::IndexOf(elsewhere_, operation.type);
        WriteBytesTo(
            elsewhere_ + (operation.type == kGroupsFolder ? "\\_groups.xml" : "\\_index.xml"),
            testing::IndexText("x00000003", folder_.Entry("X.", 3)));
        EXPECT_EQ(StoreIndex_Open(&index_, kOpenUnverified), kOpenLoaded);
        index_.folder = folder_.scratch.Path();
        first_ = "A." + folder_.extension;
    }

    // Nothing in here takes memory but the product.
    void Live() {
        try {
            opened_ = StoreIndex_Open(&index_, operation_.mode);
            count_ = index_.entries.Count();
            if (StoreIndex::Entry* const entry = index_.entries.FindById(first_)) {
                index_.entries.SetProperty(*entry, "READ", "1");
            }
        } catch (const LibraryException&) {
            // A mutex that cannot be had.
        } catch (const std::bad_alloc&) {
            // Reported and thrown on.
        }
        if (operation_.closes) {
            File none;
            StoreIndex_SaveAndClose(&index_, index_.open, false, none, nullptr);
        } else {
            committed_ = StoreIndex_Commit(&index_, kCommit);
        }
    }

    void Check(const Fault& fault) {
        const std::string path = folder_.scratch.Path();
        const bool sound = operation_.stored == Stored::Sound;
        const bool marked = IsFolderMarkedChanged(path);
        const bool markSafe = !fault.Touches("_CHANGE.DTY") && fault.failing != Failing::All &&
                              (fault.failing == Failing::Once || fault.call != "WriteFile");
        const IndexContent stored = testing::ReadIndex(ReadBytesOf(folder_.index));
        if (operation_.stored != Stored::Missing && !fault.MayTearIndex()) {
            // What cannot be read is put aside where backups are kept; nothing else replaces it.
            const std::string aside = ReadBytesOf(folder_.index + ".bad");
            EXPECT_TRUE(Keeps(stored) || (backups_ && Keeps(testing::ReadIndex(aside))) ||
                        (!sound && (ReadBytesOf(folder_.index) == torn_ || aside == torn_)));
        }
        if (opened_ == kOpenLoaded && sound) {
            EXPECT_GE(count_, 2U);
        }
        if (opened_ == kOpenFailed) {
            EXPECT_FALSE(index_.open);
            EXPECT_NE(committed_, kCommitted);
        }
        const bool inStep =
            testing::WrittenIndex(stored.entries, stored.lastUid) ==
            testing::WrittenIndex(testing::EntriesOf(index_.entries), index_.entries.LastUid());
        if (committed_ == kCommitted) {
            EXPECT_TRUE(inStep && stored.whole);
        }
        if (markSafe) {
            if (operation_.closes && opened_ == kOpenLoaded) {
                // Open: there was no memory even for the name of the mark, and nothing was begun.
                EXPECT_TRUE(inStep || marked || index_.open);
            }
            // A backup that is put in the index's place may know less than a scan has just saved.
            const bool scanned =
                operation_.mode != 3 && operation_.stored != Stored::TornWithBackup;
            if (scanned && stored.whole && opened_ != kThrown) {
                EXPECT_TRUE(stored.entries.size() == 3 || marked);
            }
            const bool keepsBlock = fault.failing == Failing::LikeIt && fault.Touches(Block()) &&
                                    fault.call.starts_with("DeleteFile");
            EXPECT_FALSE(PathExists(path + "\\" + Block()) && !keepsBlock);
        }
        ExpectNames();
        // Whatever failed: a scan finds everything that the files say.
        MarkFolderChanged(path);
        FolderIndex after = testing::IndexOf(path, operation_.type);
        const testing::CountingSleeper sleeper;
        int result = kOpenFailed;
        for (int tries = 0; tries < 3 && result == kOpenFailed; ++tries) {
            // The way that is left to an operator comes last.
            result = StoreIndex_Open(&after, tries < 2 ? kOpenChecked : kOpenReindexed);
        }
        EXPECT_EQ(result, kOpenLoaded);
        EXPECT_EQ(after.entries.Count(), 3U);
    }

  private:
    static constexpr int kThrown = -1;
    const char* Block() const {
        return operation_.type == kGroupsFolder ? "_groups.blk" : "_index.blk";
    }
    bool Keeps(const IndexContent& index) const {
        const auto has = [&](std::size_t at, const std::string& name, std::uint32_t uid) {
            return index.entries.size() > at && index.entries[at].id == name + folder_.extension &&
                   index.entries[at].uid == uid &&
                   index.entries[at].properties.at("SUBJECT") == name;
        };
        return index.whole && has(0, "A.", 5) && (!torn_.empty() || has(1, "B.", 7));
    }
    void ExpectNames() const {
        for (const std::string& name : folder_.scratch.Names()) {
            const bool known = name.ends_with(folder_.extension) || name.ends_with(".xml") ||
                               name == "_CHANGE.DTY" || name == Block() ||
                               (backups_ && (name.ends_with(".bak") || name.ends_with(".bad")));
            EXPECT_TRUE(known || name.ends_with(".bak")) << name;
        }
    }

    const Operation& operation_;
    bool backups_;
    std::string elsewhere_;
    StoreFolder folder_;
    FolderIndex index_;
    std::string first_, torn_;
    int opened_ = kThrown;
    int committed_ = kThrown;
    std::size_t count_ = 0;
};

// Whatever is told meanwhile must need no memory.
class Silence : public ReportSink {
  public:
    Silence() { SetReportSink(this); }
    ~Silence() override { SetReportSink(nullptr); }
    void Report(ReportChannel, std::string_view) override {}
};

class FolderFaults : public ::testing::TestWithParam<FolderSettings> {};

TEST_P(FolderFaults, ACallThatFailsLosesNothing) {
    if (!testing::IsAlone()) return;
    const testing::ScratchRegistry registry;
    testing::Use(GetParam());
    const Silence silence;
    const testing::ScratchFolder elsewhere;
    for (const Operation& operation : kOperations) {
        for (const Failing failing : {Failing::Once, Failing::LikeIt, Failing::All}) {
            bool reached = true;
            for (int number = 1; reached; ++number) {
                const testing::CountingSleeper sleeper;
                Life life(operation, GetParam().backups, elsewhere.Path());
                Fault fault{"", failing};
                int count = 0;
                {
                    const testing::AtEachCall calls([&](const SystemCall& call) -> std::uint32_t {
                        const std::string made = std::string(call.name) + std::string(call.path);
                        if (++count == number) fault.call = made;
                        if (count < number || (failing == Failing::Once && count > number))
                            return 0;
                        return failing == Failing::LikeIt && made != fault.call ? 0U
                                                                                : ERROR_GEN_FAILURE;
                    });
                    life.Live();
                }
                reached = count >= number;
                SCOPED_TRACE(operation.name + std::string(" ") + std::to_string(number) + " " +
                             fault.call + std::to_string(static_cast<int>(failing)));
                life.Check(fault);
            }
        }
    }
}

TEST_P(FolderFaults, MemoryThatRunsShortLosesNothing) {
    if (!testing::IsAlone()) return;
    const testing::ScratchRegistry registry;
    testing::Use(GetParam());
    const Silence silence;
    const testing::ScratchFolder elsewhere;
    for (const Operation& operation : kOperations) {
        // Where backups are kept, what cannot be read is put aside; they matter to torn ones alone.
        const bool torn = operation.stored >= Stored::Torn;
        if (torn != GetParam().backups || (!GetParam().streamLoads && &operation != kOperations))
            continue;
        const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
            const testing::CountingSleeper sleeper;
            Life life(operation, GetParam().backups, elsewhere.Path());
            {
                const testing::FailingAllocations failing(number, andAllAfter);
                life.Live();
            }
            const bool failed = testing::FailingAllocations::Any();
            SCOPED_TRACE(operation.name + std::to_string(number) + (andAllAfter ? " and on" : ""));
            life.Check({});
            return failed;
        });
        EXPECT_GT(count, 40) << operation.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, FolderFaults,
                         ::testing::Values(FolderSettings{true, true, true, false, true},
                                           FolderSettings{true, true, false, false, true},
                                           FolderSettings{false, false, false, false, true}),
                         testing::SettingsName);

}  // namespace
}  // namespace tarnwick

// Long random sequences of changes, and writers that die on the way.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "tests/Library/LIBStoreIndexSerialisation/IndexTexts.h"
#include "tests/support/IndexStreams.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Element;
using testing::Index;
using testing::MemoryIndexFile;
using testing::ReportRecorder;

using Properties = std::map<std::string, std::string>;
using Model = std::map<std::pair<std::uint32_t, std::string>, Properties>;  // by UID and ID

Model Content(const StoreIndex& index) {
    Model content;
    for (const StoreIndex::Entry& entry : index.InUidOrder()) {
        Properties& properties = content[{entry.Uid(), std::string(entry.Id())}];
        for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
            properties.emplace(entry.Names().Name(at), entry.Value(at));
        }
    }
    return content;
}

// A folder whose index is changed at random, beside a plain map that is changed alike.
class RandomFolder {
  public:
    explicit RandomFolder(unsigned seed) : random_(seed) {}

    void Change(StoreIndex& index) {
        const unsigned kind = Below(10);
        if (model.empty() || kind < 3) return Add(index);
        auto picked = model.begin();
        std::advance(picked, Below(static_cast<unsigned>(model.size())));
        StoreIndex::Entry& entry = *index.FindById(picked->first.second);
        if (kind < 5) {
            index.Remove(entry);
            model.erase(picked);
        } else if (kind < 6) {
            ASSERT_TRUE(index.RemoveProperty(entry, "B"));
            picked->second.erase("B");
        } else {
            Set(index, entry, picked->second);
        }
    }

    Model model;

  private:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    std::string Value() {
        static constexpr std::string_view kBytes("&<>\"';#x\r\n\0\x01\x7F\x80\xFF ab", 19);
        std::string value;
        const unsigned length = Below(20) == 0 ? Below(3000) : Below(30);
        while (value.size() < length) value += kBytes[Below(19)];
        return value;
    }

    void Set(StoreIndex& index, StoreIndex::Entry& entry, Properties& properties) {
        const std::string name(1, static_cast<char>('A' + Below(4)));
        const std::string value = Value();
        ASSERT_TRUE(index.SetProperty(entry, name, value));
        properties[name] = value;
    }

    void Add(StoreIndex& index) {
        // Names come back after their entries were removed.
        const std::string id = std::to_string(Below(40)) + ".MAI";
        StoreIndex::Entry* const entry = index.Add(id);
        if (entry == nullptr) return;
        Properties& properties = model[{entry->Uid(), id}];
        for (unsigned count = Below(4); count != 0; --count) Set(index, *entry, properties);
    }

    std::mt19937 random_;
};

void RunSequence(unsigned seed, bool fullWrites, unsigned changesAStep) {
    constexpr int kSteps = 1000;
    const ReportRecorder reports;
    RandomFolder folder(seed);
    MemoryIndexFile file(Index(0, ""));
    StoreIndex index;
    ASSERT_EQ(file.Load(index), kLoadFull);
    for (int step = 0; step < kSteps; ++step) {
        for (unsigned change = 0; change < changesAStep; ++change) folder.Change(index);
        if (fullWrites) index.InvalidateExtents();
        ASSERT_TRUE(file.Save(index));
        StoreIndex fresh;
        ASSERT_NE(file.Load(fresh), kLoadFailed) << step << reports.Joined(ReportChannel::Trace);
        ASSERT_EQ(Content(fresh), folder.model) << step;
        ASSERT_EQ(fresh.LastUid(), index.LastUid());
        for (const StoreIndex::Entry& entry : fresh.InUidOrder()) {
            const StoreIndex::Entry* const kept = index.FindById(entry.Id());
            ASSERT_EQ(entry.ItemOffset(), kept->ItemOffset()) << step;
            ASSERT_EQ(entry.ItemLength(), kept->ItemLength()) << step;
        }
        // Now and then the index is loaded anew, as it is after a restart.
        if (step % 97 == 0) file.Load(index);
    }
}

TEST(Sequence, SavesEqualAFreshLoad) {
    for (const unsigned seed : {1U, 2U, 3U}) RunSequence(seed, false, 1);
    RunSequence(4, false, 7);
    RunSequence(5, true, 1);
}

TEST(Sequence, RemovedEntriesAreSweptOut) {
    StoreIndex index;
    for (int round = 0; round < 20'000; ++round) {
        const std::string id = "N" + std::to_string(round % 50);
        if (StoreIndex::Entry* const old = index.FindById(id)) index.Remove(*old);
        ASSERT_NE(index.Add(id), nullptr);
    }
    EXPECT_EQ(index.Count(), 50U);
    std::uint32_t uid = 19'950;
    for (const StoreIndex::Entry& entry : index.InPositionOrder()) {
        EXPECT_EQ(entry.Uid(), ++uid);
        EXPECT_EQ(index.FindByPosition(entry.Idx()), &entry);
        EXPECT_EQ(index.FindById(entry.Id()), &entry);
    }
}

// A folder of some two hundred kilobytes, so that a save takes several writes. All entries are of
// one length.
MemoryIndexFile LargeFile() {
    std::string entries;
    for (int number = 101; number <= 300; ++number) {
        entries +=
            Element("E" + std::to_string(number), std::to_string(number),
                    "<X>" + std::string(1000, static_cast<char>('a' + number % 26)) + "</X>");
        if (number % 20 == 0) entries += Element("----", "--", "<X>garbage</X>");
    }
    return MemoryIndexFile(Index(300, entries));
}

struct DyingSave {
    const char* name;
    void (*change)(StoreIndex&);
};

const DyingSave kDyingSaves[] = {
    {"nothing but the header", [](StoreIndex& index) { index.Remove(*index.Add("N")); }},
    {"deletions",
     [](StoreIndex& index) {
         for (const char* id : {"E103", "E107", "E300"}) index.Remove(*index.FindById(id));
     }},
    {"an addition", [](StoreIndex& index) { index.SetProperty(*index.Add("N"), "X", "new"); }},
    {"a large addition",
     [](StoreIndex& index) { index.SetProperty(*index.Add("N"), "X", std::string(150'000, 'n')); }},
    {"the first one grown",
     [](StoreIndex& index) {
         index.SetProperty(*index.FindById("E101"), "X", std::string(1500, 'z'));
     }},
    // What stands behind a place that the writer reached is then old, and fits.
    {"the first one grown by an entry's length",
     [](StoreIndex& index) {
         StoreIndex::Entry& first = *index.FindById("E101");
         index.SetProperty(first, "X", std::string(1000 + first.ItemLength(), 'z'));
     }},
    {"the first one shrunk by a little",
     [](StoreIndex& index) {
         index.SetProperty(*index.FindById("E101"), "X", std::string(995, 'z'));
     }},
    {"the first one shrunk",
     [](StoreIndex& index) { index.SetProperty(*index.FindById("E101"), "X", ""); }},
    {"the last one shrunk",
     [](StoreIndex& index) { index.SetProperty(*index.FindById("E300"), "X", ""); }},
    {"several changes and deletions",
     [](StoreIndex& index) {
         for (const char* id : {"E105", "E150", "E250"})
             index.SetProperty(*index.FindById(id), "X", std::string(3000, 'q'));
         for (const char* id : {"E106", "E199"}) index.Remove(*index.FindById(id));
     }},
    {"the whole file", [](StoreIndex& index) { index.InvalidateExtents(); }},
};

// Whether each entry of `content` is one of the old or of the new index, unchanged.
void ExpectWholeEntries(const Model& content, const Model& before, const Model& after,
                        const char* name) {
    for (const auto& [key, properties] : content) {
        const auto old = before.find(key);
        const auto fresh = after.find(key);
        const bool whole = (old != before.end() && old->second == properties) ||
                           (fresh != after.end() && fresh->second == properties);
        EXPECT_TRUE(whole) << name << ": " << key.second;
    }
}

TEST(DyingWriter, LeavesDamageThatALoadReportsOrWholeEntries) {
    for (const DyingSave& save : kDyingSaves) {
        int writes = 1;
        for (int died = 0; died <= writes; ++died) {
            ReportRecorder reports;
            MemoryIndexFile file = LargeFile();
            StoreIndex index;
            file.Load(index);
            const Model before = Content(index);
            save.change(index);
            const Model after = Content(index);
            file.dieAtWrite = died;
            file.Save(index);
            writes = file.writes;
            StoreIndex next;
            if (file.Load(next) == kLoadFailed) {
                EXPECT_NE(reports.Joined(ReportChannel::EventLogError), "") << save.name << died;
                continue;
            }
            const Model content = Content(next);
            ExpectWholeEntries(content, before, after, save.name);
            // Nothing is lost that was not to be removed.
            for (const auto& entry : after) {
                if (before.contains(entry.first)) {
                    EXPECT_TRUE(content.contains(entry.first)) << save.name << died;
                }
            }
            if (died == writes) {
                EXPECT_EQ(content, after) << save.name;
            }
        }
    }
}

TEST(DyingWriter, BeforeTheFileIsCutLeavesDamageOrWholeEntries) {
    for (const std::size_t shorter : {1U, 5U, 15U, 16U, 17U, 40U, 900U}) {
        const ReportRecorder reports;
        const std::string old =
            Index(9, Element("A", "1", "<X>" + std::string(1000, 'x') + "</X>"));
        MemoryIndexFile file(old);
        StoreIndex index;
        file.Load(index);
        const std::string value(1000 - shorter, 'y');
        index.SetProperty(*index.FindById("A"), "X", value);
        file.Save(index);
        file.bytes += old.substr(file.bytes.size());
        StoreIndex next;
        const std::uint32_t status = file.Load(next);
        EXPECT_EQ(status, shorter < 16 ? kLoadFull : kLoadFailed) << shorter;
        EXPECT_EQ(next.FindById("A")->Property("X"), value) << shorter;
        if (status == kLoadFailed) continue;
        // The tail that is left is overwritten by what is added next.
        next.Add("N");
        EXPECT_TRUE(file.Save(next));
        EXPECT_EQ(file.bytes,
                  Index(10, Element("A", "1", "<X>" + value + "</X>") + Element("N", "10", "")));
    }
}

}  // namespace
}  // namespace tarnwick

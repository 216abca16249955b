// What the message store may do to a loaded index, and what it may not.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <new>

#include "tests/Library/LIBStoreIndexSerialisation/IndexTexts.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/IndexStreams.h"

namespace tarnwick {
namespace {

using testing::Describe;
using testing::Element;
using testing::FailingAllocations;
using testing::Index;
using testing::MemoryIndexFile;

// Everything that a caller or the next save sees of an index.
std::string State(const StoreIndex& index) {
    std::string state = Describe(index) + std::to_string(index.LastUid());
    for (const StoreIndex::Entry& entry : index.InPositionOrder()) {
        state += index.FindById(entry.Id()) == &entry && index.FindByPosition(entry.Idx()) == &entry
                     ? " found"
                     : " lost";
    }
    const auto* const first = index.FirstChanged();
    state += first == nullptr ? " unchanged" : " from " + std::string(first->Id());
    for (const RemovedEntry& removed : index.Removed()) state += " -" + removed.blankedStart;
    return state + (index.IsModified() ? " modified" : "") +
           (index.ExtentsTrusted() ? " trusted" : "") + std::to_string(index.Count());
}

// A loaded index of `count` entries, "1" and so on with the UIDs 10, 20 and so on.
StoreIndex Loaded(int count) {
    std::string entries;
    for (int number = 1; number <= count; ++number) {
        entries += Element(std::to_string(number), std::to_string(number * 10));
    }
    StoreIndex index;
    MemoryIndexFile(Index(static_cast<std::uint32_t>(count) * 10, entries)).Load(index);
    return index;
}

// As many as an index of three entries keeps: the next removal sweeps them out.
void FillWithRemoved(StoreIndex& index) {
    for (int round = 0; round < 1029; ++round) index.Remove(*index.Add("gone"));
}

// Uses the records of removed entries again, and none of them twice.
void AddMore(StoreIndex& index) {
    for (int number = 0; number < 2100; ++number) index.Add("N" + std::to_string(number));
    for (int number = 0; number < 2100; ++number) {
        EXPECT_NE(index.FindById("N" + std::to_string(number)), nullptr);
    }
}

TEST(Changes, LeaveTheIndexAsItWasWhenMemoryIsShort) {
    struct Row {
        const char* name;
        int entries;  // 192 fill the table of IDs, 255 and 256 the orders
        void (*prepare)(StoreIndex&);
        void (*change)(StoreIndex&);
    };
    const auto nothing = [](StoreIndex&) {};
    // An ID that needs memory.
    const auto add = [](StoreIndex& index) { index.Add(std::string(900, 'I')); };
    const auto remove = [](StoreIndex& index) { index.Remove(*index.FindById("2")); };
    const std::string value(40, 'v');
    const Row rows[] = {
        {"add to none", 0, nothing, add},
        {"add", 3, nothing, add},
        {"add with a new table", 192, nothing, add},
        {"add with a longer order", 255, nothing, add},
        {"add with a longer list", 256, nothing, add},
        {"add in the middle", 3, [](StoreIndex& index) { index.SetLastUid(15); }, add},
        {"add after a sweep", 3,
         [](StoreIndex& index) {
             FillWithRemoved(index);
             index.Remove(*index.FindById("1"));
         },
         add},
        {"set", 3, nothing,
         [](StoreIndex& index) {
             index.SetProperty(*index.FindById("2"), "FROM", std::string(40, 'v'));
         }},
        {"set a new name", 3, nothing,
         [](StoreIndex& index) { index.SetProperty(*index.FindById("2"), "A new name", "v"); }},
        {"set again", 3,
         [](StoreIndex& index) { index.SetProperty(*index.FindById("2"), "FROM", "once"); },
         [](StoreIndex& index) { index.SetProperty(*index.FindById("2"), "FROM", "twice"); }},
        {"take away", 3, nothing,
         [](StoreIndex& index) { index.RemoveProperty(*index.FindById("2"), "FROM"); }},
        {"remove", 3, nothing, remove},
        {"remove what was changed", 3,
         [](StoreIndex& index) { index.SetProperty(*index.FindById("2"), "X", "v"); }, remove},
        {"remove and sweep", 3, FillWithRemoved, remove},
    };
    for (const Row& row : rows) {
        StoreIndex whole = Loaded(row.entries);
        row.prepare(whole);
        row.change(whole);
        const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
            StoreIndex index = Loaded(row.entries);
            row.prepare(index);
            const std::string before = State(index);
            bool failed = false;
            try {
                const FailingAllocations failing(number, andAllAfter);
                row.change(index);
            } catch (const std::bad_alloc&) {
                failed = true;
            }
            EXPECT_EQ(FailingAllocations::Any(), failed) << row.name << number;
            EXPECT_EQ(State(index), failed ? before : State(whole)) << row.name << number;
            if (failed) row.change(index);
            EXPECT_EQ(State(index), State(whole)) << row.name << number;
            if (row.prepare == FillWithRemoved) AddMore(index);
            return failed;
        });
        EXPECT_GT(count, 0) << row.name;
    }
}

TEST(Changes, KeepToWhatAReaderTakes) {
    StoreIndex index = Loaded(1);
    StoreIndex::Entry& entry = *index.FindById("1");
    for (const char* id : {"", "---", "a\"b", "a<b", "a>b", "1"}) {
        EXPECT_EQ(index.Add(id), nullptr) << id;
    }
    for (const char* name : {"", "ELEMENTS", "BASEELEMENT", "/X", "X/", "!X", "?X", "A<", "A>",
                             "ID", "UID", "LASTUID", "IDX", "SEQ"}) {
        EXPECT_FALSE(index.SetProperty(entry, name, "x")) << name;
    }
    EXPECT_FALSE(index.SetProperty(entry, std::string(kTagLimit, 'N'), "x"));
    EXPECT_FALSE(index.IsModified());
    // 16 MiB as it stands in the file: each of these bytes takes six there.
    const std::string longest(kTextLimit / 6, '\x80');
    EXPECT_FALSE(index.SetProperty(entry, "X", longest + "12345"));
    EXPECT_TRUE(index.SetProperty(entry, "X", longest + "1234"));
    EXPECT_TRUE(index.SetProperty(entry, "X", std::string(kTextLimit, 'x')));
}

TEST(Changes, AddHandsOutTheNextUidAsLongAsThereIsOne) {
    constexpr std::uint32_t kLast = std::numeric_limits<std::uint32_t>::max();
    StoreIndex index = Loaded(2);
    index.SetLastUid(kLast - 1);
    EXPECT_EQ(index.Add("N")->Uid(), kLast);
    EXPECT_EQ(index.Add("O"), nullptr);
    EXPECT_EQ(index.LastUid(), kLast);
    EXPECT_TRUE(index.ExtentsTrusted());
}

TEST(Changes, AnAdditionInTheMiddleNeedsAFullSave) {
    for (const bool partial : {false, true}) {
        StoreIndex index;
        if (partial) index.SetIdFilter("B");
        MemoryIndexFile file(Index(1, Element("A", "5", "") + Element("B", "7", "")));
        file.Load(index);
        StoreIndex::Entry* const added = index.Add("N");
        EXPECT_EQ(added == nullptr, partial);
        EXPECT_EQ(index.ExtentsTrusted(), partial);
        if (partial) continue;
        EXPECT_TRUE(file.Save(index));
        EXPECT_EQ(file.bytes,
                  Index(2, Element("N", "2", "") + Element("A", "5", "") + Element("B", "7", "")));
    }
}

TEST(Changes, PropertiesThatWereNotLoadedAreNotWritten) {
    const std::string bytes = Index(9, Element("A", "1", "<X>x</X><Y>y</Y>"));
    MemoryIndexFile file(bytes);
    StoreIndex index;
    IndexLoad load;
    load.mode = kLoadIdentifiers;
    file.Load(index, load);
    StoreIndex::Entry& entry = *index.FindById("A");
    EXPECT_FALSE(index.SetProperty(entry, "X", "new"));
    EXPECT_FALSE(index.RemoveProperty(entry, "X"));
    EXPECT_TRUE(file.Save(index));
    EXPECT_EQ(file.bytes, bytes);
    StoreIndex::Entry& added = *index.Add("N");
    EXPECT_TRUE(index.SetProperty(added, "X", "new"));
    EXPECT_TRUE(index.RemoveProperty(added, "Y"));
}

TEST(Changes, InvalidExtentsEndTheFilter) {
    StoreIndex index;
    index.SetIdFilter("A");
    index.InvalidateExtents();
    EXPECT_EQ(index.IdFilter(), "");
    EXPECT_FALSE(index.ExtentsTrusted());
}

}  // namespace
}  // namespace tarnwick

// Memory that runs short, calls that fail and writers that die.
#include <gtest/gtest.h>

#include <functional>
#include <new>

#include "tests/Library/LIBStoreIndexSerialisation/IndexSteps.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/Model.h"

namespace tarnwick::testing {
namespace {

using Change = std::function<void(RealIndex&)>;

// A loaded index of some entries, changed.
std::unique_ptr<RealIndex> Prepared(int count, const Change& prepare) {
    std::string entries;
    for (int number = 1; number <= count; ++number) {
        entries += Element("E" + std::to_string(number), std::to_string(number * 10));
    }
    auto index =
        std::make_unique<RealIndex>(Index(static_cast<std::uint32_t>(count) * 10, entries));
    index->Load({});
    prepare(*index);
    return index;
}

TEST(IndexFaults, AnIndexThatIsLoadedAgainHoldsNoMoreMemory) {
    std::string many;
    for (int name = 0; name < 999; ++name) {
        many += "<" + std::to_string(name) + "></" + std::to_string(name) + ">";
    }
    RealIndex index(Index(9, Element("1", "1", many)));
    std::vector<int> held;
    while (held.size() < 4) index.Load({}), held.push_back(FailingAllocations::Held());
    EXPECT_EQ(held[2], held[3]);
}

TEST(IndexFaults, AChangeWithoutMemoryLeavesTheIndexAsItWas) {
    const Change nothing = [](RealIndex&) {};
    const Change add = [](RealIndex& index) { index.Add(std::string(900, 'I')); };
    const Change set = [](RealIndex& index) { index.Set("E2", "FROM", std::string(40, 'v')); };
    const Change setNew = [](RealIndex& index) { index.Set("E2", "A new name", "v"); };
    const Change unset = [](RealIndex& index) { index.Set("E2", "FROM", std::nullopt); };
    const Change remove = [](RealIndex& index) { index.Remove("E2"); };
    const Change lowerUid = [](RealIndex& index) { index.SetLastUid(15); };
    // As many as an index of three entries keeps: the next removal sweeps them out.
    const Change fill = [](RealIndex& index) {
        for (int round = 0; round < 1029; ++round) index.Add("gone"), index.Remove("gone");
    };
    const Change sweep = [&](RealIndex& index) { fill(index), index.Remove("E1"); };
    struct Row {
        int entries;  // 192 fill the table of IDs, 255 and 256 the orders
        Change prepare, change;
    };
    const Row rows[] = {{0, nothing, add},   {3, nothing, add},   {192, nothing, add},
                        {255, nothing, add}, {256, nothing, add}, {3, lowerUid, add},
                        {3, sweep, add},     {3, nothing, set},   {3, nothing, setNew},
                        {3, setNew, set},    {3, nothing, unset}, {3, nothing, remove},
                        {3, set, remove},    {3, fill, remove}};
    for (const Row& row : rows) {
        const auto whole = Prepared(row.entries, row.prepare);
        const std::string before = whole->State();
        row.change(*whole);
        const std::string after = whole->State();
        whole->Save();
        const std::string saved = whole->State();
        const int count = FailEachAllocation([&](int number, bool andAllAfter) {
            const auto index = Prepared(row.entries, row.prepare);
            bool failed = false;
            try {
                const FailingAllocations failing(number, andAllAfter);
                row.change(*index);
            } catch (const std::bad_alloc&) {
                failed = true;
            }
            EXPECT_EQ(FailingAllocations::Any(), failed) << number;
            EXPECT_EQ(index->State(), failed ? before : after) << number;
            if (failed) row.change(*index);
            index->Save();
            EXPECT_EQ(index->State(), saved) << number;
            return failed;
        });
        EXPECT_GT(count, 0) << row.entries;
    }
}

// The report of each failing call of a save in place, then what a load finds in the file.
std::string OutcomesOfFailures(const std::string& filter) {
    const std::string start = "Warning. File contention occured when accessing index file (";
    const std::string end = ").Contention in Function: LIBStoreIndexSerialisation, Module Line: ";
    std::string outcomes;
    for (int number = 1;; ++number) {
        RealIndex real(Index(9, Element("A", "1") + Element("-", "-", "") + Element("B", "2") +
                                    Element("C", "3") + Element("D", "4")));
        real.SetIdFilter(filter);
        real.Load({});
        real.Set("A", "FROM", std::string(60, 'a'));
        real.Remove("D");
        const std::size_t trailer = real.file.bytes.find("</BASEELEMENT>");
        MemoryStream stream(real.file.bytes);
        stream.FailCall(number);
        const auto outcome = WriteIndex(real, stream, "F\\_index.xml", SaveKind::InPlace);
        EXPECT_EQ(outcome.sound, !stream.HasFailed());
        if (!stream.HasFailed()) return outcomes;
        EXPECT_EQ(real.file.bytes.find('\0'), std::string::npos);
        if (outcome.newEnd) real.file.bytes.resize(static_cast<std::size_t>(*outcome.newEnd));
        const std::string report = real.reports.Joined(ReportChannel::EventLogError);
        const std::string trace = real.reports.Joined(ReportChannel::Trace);
        EXPECT_TRUE(report.starts_with(start)) << report;
        outcomes += report.substr(start.size(), report.find(end) - start.size());
        const std::size_t info = std::min(trace.find("Info: "), trace.size());
        outcomes += trace.substr(info);
        if (info != trace.size()) {
            EXPECT_EQ(real.file.bytes.find("</BASEELEMENT>"), trailer) << "all is behind it";
        }
        RealIndex next(real.file.bytes);
        outcomes += next.Load({}) ? " " : " damaged ";
        for (const StoreIndex::Entry& entry : next.InUidOrder()) outcomes += entry.Id();
        outcomes += "|";
        // The whole is then written afresh; nobody has what a part left out.
        FinishSave(real, false, {});
        EXPECT_EQ(real.Save(), filter.empty()) << number;
    }
}

TEST(IndexFaults, AFailedCallIsReportedAndNothingIsLost) {
    EXPECT_EQ(
        OutcomesOfFailures(""),
        "bad ABC|fail ABC|bad ABC|fail ABC|fail ABC|fail{tail} ABC|fail ABC|fail{A} ABC|"
        "fail ABC|fail{C} ABC|failInfo: Insertion attempt at Position: 33 with Stream Length: "
        "355.File Pointer will is positioned to end of file, so as to allow diagnosis. Check "
        ".bad file damaged ABC|bad ABC|bad ABC|");
    EXPECT_EQ(OutcomesOfFailures("A|D"),
              "bad ABC|fail ABCD|bad ABCD|fail ABC|fail ABC|fail{tail} ABC|fail ABC|fail{A} ABC|"
              "fail ABC|bad ABC|bad ABC|");
}

// Entries of one length, in a file that takes several writes; its growth by a step's longest value
// is twice that length, so that what stands behind a block is old and fits.
std::string LargeFile() {
    std::string entries;
    for (int number = 101; number <= 180; ++number) {
        entries += Element(std::to_string(number), std::to_string(number),
                           "<P>" + std::string(970, static_cast<char>('a' + number % 26)) + "</P>");
        if (number % 20 == 0) entries += Element("---", "---", "<P>garbage</P>");
    }
    return Index(180, entries);
}

TEST(IndexFaults, AWriterThatDiesLeavesWholeEntriesOrDamage) {
    const std::string file = LargeFile();
    std::vector<std::string> cases{"....x", "......x", "n", "rmm", "mar", "....xm"};
    for (std::size_t seed = 1; seed <= 6; ++seed) {
        Random random(seed);
        cases.emplace_back();
        for (int step = 0; step < 7; ++step) cases.back() += "axyzurm."[random.Below(8)];
    }
    for (const std::string& steps : cases) {
        NaiveIndex before;
        before.file = file;
        before.Load({});
        NaiveIndex after = before;
        for (std::size_t at = 0; at < steps.size(); ++at) Do(after, steps[at], at);
        int writes = 1;
        for (int died = 0; died <= writes; ++died) {
            RealIndex real(file);
            real.Load({});
            for (std::size_t at = 0; at < steps.size(); ++at) Do(real, steps[at], at);
            real.file.dieAtWrite = died;
            real.Save();
            writes = real.file.writes;
            NaiveIndex left;
            left.file = real.file.bytes;
            if (!left.Load({})) continue;
            const auto isIn = [](NaiveIndex& index, const NaiveEntry& entry) {
                const auto* const found = index.Find(entry.id);
                return found != nullptr && found->Written() == entry.Written();
            };
            for (const auto& entry : left.entries) {
                EXPECT_TRUE(isIn(before, entry) || isIn(after, entry)) << steps << died << entry.id;
            }
            for (const auto* entry : after.InUidOrder()) {
                const bool isLeft = left.Find(entry->id) != nullptr;
                EXPECT_TRUE(isLeft || (died < writes && before.Find(entry->id) == nullptr))
                    << steps << died << entry->id;
            }
        }
        EXPECT_TRUE(steps != "n" || writes > 2) << "a block at a time";
    }
}

}  // namespace
}  // namespace tarnwick::testing

#include <gtest/gtest.h>

#include <functional>

#include "tests/Library/LIBStoreIndexSerialisation/IndexTexts.h"
#include "tests/support/IndexStreams.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Describe;
using testing::Element;
using testing::Index;
using testing::MemoryIndexFile;
using testing::MemoryStream;
using testing::ReportRecorder;

const std::string kA = Element("A.MAI", "1", "<X>a</X>");
const std::string kB = Element("B.MAI", "2", "<X>b</X>");
const std::string kC = Element("C.MAI", "3", "<X>c</X>");
const std::string kNoUid = "<ELEMENT ID=\"N.MAI\"><X>n</X></ELEMENT>";
const std::string kBlankedB = Element("-----", "-", "<X>b</X>");
const std::string kGarbage = Element("--", "--", "<X>old</X>");

using Change = std::function<void(StoreIndex&)>;

Change Set(const std::string& id, const std::string& value) {
    return
        [=](StoreIndex& index) { ASSERT_TRUE(index.SetProperty(*index.FindById(id), "X", value)); };
}
Change Remove(const char* id) {
    return [=](StoreIndex& index) { index.Remove(*index.FindById(id)); };
}
Change Add(const char* id) {
    return [=](StoreIndex& index) { ASSERT_NE(index.Add(id), nullptr); };
}
Change Both(const Change& first, const Change& second) {
    return [=](StoreIndex& index) { first(index), second(index); };
}

TEST(Save, WritesTheseBytes) {
    std::string garbage500;
    for (int count = 0; count < 500; ++count) garbage500 += kGarbage;
    struct Row {
        const char* name;
        std::string before;
        Change change;
        std::string after;
        int writes;
    };
    const Row rows[] = {
        {"nothing changed", Index(9, kA + kB), [](StoreIndex&) {}, Index(9, kA + kB), 0},
        {"one deleted", Index(9, kA + kB + kC), Remove("B.MAI"), Index(9, kA + kBlankedB + kC), 2},
        {"all removed", Index(9, kA + kB), Both(Remove("B.MAI"), Remove("A.MAI")),
         Index(9, Element("-----", "-", "<X>a</X>") + kBlankedB), 3},
        {"last grown", Index(9, kA + kB), Set("B.MAI", "longer & longer"),
         Index(9, kA + Element("B.MAI", "2", "<X>longer &amp; longer</X>")), 2},
        {"first shrunk", Index(9, kA + kGarbage + kB), Set("A.MAI", ""),
         Index(9, Element("A.MAI", "1", "<X></X>") + kGarbage + kB), 2},
        {"middle changed with gaps behind it", Index(9, kA + kB + kGarbage + kC + kGarbage),
         Set("B.MAI", std::string(40, 'b')),
         Index(9, kA + Element("B.MAI", "2", "<X>" + std::string(40, 'b') + "</X>") + kGarbage +
                      kC + kGarbage),
         2},
        {"middle removed and first changed", Index(9, kA + kB + kC),
         Both(Remove("B.MAI"), Set("A.MAI", "aa")),
         Index(9, Element("A.MAI", "1", "<X>aa</X>") + kBlankedB + kC), 3},
        {"added", Index(9, kA + kGarbage), Add("N"),
         Index(10, kA + kGarbage + Element("N", "10", "")), 2},
        {"added to an empty folder", Index(0x99, ""), Add("N"),
         Index(0x9A, Element("N", "154", "")), 2},
        {"added and removed again", Index(9, kA), Both(Add("N"), Remove("N")), Index(10, kA), 1},
        {"changed and then removed", Index(9, kA + kB),
         Both(Set("B.MAI", "changed"), Remove("B.MAI")), Index(9, kA + kBlankedB), 2},
        {"set to what it was", Index(9, kA), Set("A.MAI", "a"), Index(9, kA), 0},
        {"removed and added anew", Index(9, kA + kB), Both(Remove("B.MAI"), Add("B.MAI")),
         Index(10, kA + kBlankedB + Element("B.MAI", "10", "")), 3},
        {"without a UID, changed", Index(9, kNoUid + kB), Set("N.MAI", "nn"),
         Index(9, "<ELEMENT ID=\"N.MAI\"><X>nn</X></ELEMENT>" + kB), 2},
        {"without a UID, deleted", Index(9, kNoUid + kB), Remove("N.MAI"),
         Index(9, "<ELEMENT ID=\"-----\"><X>n</X></ELEMENT>" + kB), 1},
        {"older format", "<BASEELEMENT LASTUID=\"9\">" + kB + kA + "</BASEELEMENT>",
         [](StoreIndex&) {}, Index(9, kA + kB), 1},
        {"500 blanked", Index(9, kA + garbage500 + kB), [](StoreIndex&) {}, Index(9, kA + kB), 1},
        {"an empty value that closed itself", Index(9, Element("A", "1", "<X/>") + kB),
         Set("B.MAI", "x"), Index(9, Element("A", "1", "<X/>") + Element("B.MAI", "2", "<X>x</X>")),
         2},
        {"without its line break", Index(9, kA).substr(0, 33 + kA.size() + 14), Add("N"),
         Index(10, kA + Element("N", "10", "")), 2},
    };
    for (const Row& row : rows) {
        const ReportRecorder reports;
        MemoryIndexFile file(row.before);
        StoreIndex index;
        ASSERT_EQ(file.Load(index), kLoadFull) << row.name;
        row.change(index);
        EXPECT_TRUE(file.Save(index)) << row.name;
        EXPECT_EQ(file.bytes, row.after) << row.name;
        EXPECT_EQ(file.writes, row.writes) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), "") << row.name;
        // A second save has nothing to do, and does not take the first for another's.
        file.writes = 0;
        EXPECT_TRUE(file.Save(index)) << row.name;
        EXPECT_EQ(file.writes, 0) << row.name;
    }
}

TEST(Save, LooksAtTheFileBeforeItWrites) {
    const std::string bytes = Index(9, kA + kB);
    const std::string changed =
        "Index file has changed: F. Cached offset information is now inaccurate. Index will be "
        "rewritten in full.";
    const std::string refused =
        "Index file modified since load (F\\_index.xml). Index was not fully loaded: aborting "
        "save.";
    struct Row {
        const char* name;
        std::uint32_t mode;
        const char* filter;
        bool exists;
        bool saved;
        std::string trace, eventLog;
    };
    const Row rows[] = {
        {"whole", kLoadFull, "", true, true, changed, ""},
        {"partial", kLoadFull, "A.MAI", true, false, refused, refused},
        {"identifiers", kLoadIdentifiers, "", true, false, refused, refused},
        {"header", kLoadHeader, "", true, false, refused, refused},
        {"failed", kLoadFailed, "", true, false, refused, refused},
        {"whole, file gone", kLoadFull, "", false, true, "", ""},
        {"partial, file gone", kLoadFull, "A.MAI", false, false, "", ""},
        {"header, file gone", kLoadHeader, "", false, false, "", ""},
    };
    for (const Row& row : rows) {
        const ReportRecorder reports;
        StoreIndex index;
        index.SetIdFilter(row.filter);
        IndexLoad load;
        load.mode = row.mode;
        MemoryIndexFile(bytes).Load(index, load);
        if (row.mode == kLoadFailed) index.SetLoadStatus(kLoadFailed);
        index.SetFileStamp({1, 2});
        const auto file = row.exists ? std::optional(IndexFileStamp{1, 3}) : std::nullopt;
        const SaveKind kind = ChooseSave(index, file, "F", "F\\_index.xml");
        EXPECT_EQ(kind, row.saved ? SaveKind::Full : SaveKind::Refused) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), row.trace) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::EventLogError), row.eventLog) << row.name;
    }
}

TEST(Save, APartOfTheIndexLeavesTheRestAlone) {
    struct Row {
        std::uint32_t mode;
        const char* filter;
        Change change;
        std::string after;
    };
    const Row rows[] = {
        {kLoadFull, "B.MAI", Set("B.MAI", "bbb"),
         Index(9, kA + Element("B.MAI", "2", "<X>bbb</X>") + kC)},
        {kLoadFull, "A.MAI|C.MAI", Both(Set("A.MAI", ""), Set("C.MAI", "ccc")),
         Index(9, Element("A.MAI", "1", "<X></X>") + kB + Element("C.MAI", "3", "<X>ccc</X>"))},
        {kLoadFull, "A.MAI", Add("N"), Index(10, kA + kB + kC + Element("N", "10", ""))},
        {kLoadIdentifiers, "", Both(Remove("B.MAI"), Add("N")),
         Index(10, kA + kBlankedB + kC + Element("N", "10", ""))},
        {kLoadHeader, "", Add("N"), Index(10, kA + kB + kC + Element("N", "10", ""))},
    };
    for (const Row& row : rows) {
        MemoryIndexFile file(Index(9, kA + kB + kC));
        StoreIndex index;
        index.SetIdFilter(row.filter);
        IndexLoad load;
        load.mode = row.mode;
        file.Load(index, load);
        row.change(index);
        EXPECT_TRUE(file.Save(index));
        EXPECT_EQ(file.bytes, row.after);
    }
}

TEST(Save, APartIsNeverWrittenAsAWhole) {
    const ReportRecorder reports;
    const IdSet known{"B.MAI"};
    struct Row {
        const char* name;
        const char* filter;
        const IdSet* knownIds;
    };
    const Row rows[] = {{"filter", "B.MAI", nullptr}, {"known IDs", "", &known}};
    for (const Row& row : rows) {
        MemoryIndexFile file(Index(9, kA + kB + kC));
        StoreIndex index;
        index.SetIdFilter(row.filter);
        IndexLoad load;
        load.knownIds = row.knownIds;
        load.fileExists = [](std::string_view) { return true; };
        ASSERT_EQ(file.Load(index, load), kLoadFull) << row.name;
        EXPECT_FALSE(index.IsWhole()) << row.name;
        Set("B.MAI", "bbb")(index);
        EXPECT_TRUE(file.Save(index)) << row.name;
        const std::string saved = Index(9, kA + Element("B.MAI", "2", "<X>bbb</X>") + kC);
        EXPECT_EQ(file.bytes, saved) << row.name;
        ++file.version;
        EXPECT_FALSE(file.Save(index)) << row.name << ", changed by another";
        index.InvalidateExtents();
        EXPECT_FALSE(file.Save(index)) << row.name << ", extents not trusted";
        EXPECT_EQ(file.bytes, saved) << row.name;
        index.SetIdFilter({});
        ASSERT_EQ(file.Load(index), kLoadFull) << row.name;
        EXPECT_EQ(index.Count(), 3U) << row.name << ", loaded again";
        EXPECT_TRUE(index.IsWhole()) << row.name;
    }
}

TEST(Save, APartEndsWhereTheRestCannotBeRead) {
    const std::string d = Element("D", "4", "");
    const std::string bytes = Index(9, kA + kB + kC + d);
    for (const char* filter : {"A.MAI|D", "A.MAI|C.MAI|D"}) {
        bool failed = true;
        for (int number = 1; failed; ++number) {
            const ReportRecorder reports;
            MemoryIndexFile file(bytes);
            StoreIndex index;
            index.SetIdFilter(filter);
            file.Load(index);
            Both(Set("A.MAI", std::string(60, 'a')), Remove("D"))(index);
            MemoryStream stream(file.bytes);
            stream.FailSeekReadOrSize(number);
            const auto outcome = WriteIndex(index, stream, "F\\_index.xml", SaveKind::InPlace);
            failed = stream.HasFailed();
            EXPECT_EQ(outcome.sound, !failed) << number;
            EXPECT_EQ(file.bytes.size() == bytes.size(), failed) << number;
            EXPECT_EQ(file.bytes.find('\0'), std::string::npos) << number;
            StoreIndex fresh;
            EXPECT_EQ(file.Load(fresh), kLoadFull) << number;
            for (const char* id : {"A.MAI", "B.MAI", "C.MAI"}) {
                EXPECT_NE(fresh.FindById(id), nullptr) << number << id;
            }
        }
    }
}

TEST(Save, ReportsWhatLooksCorruptAndWrites) {
    const std::string textGap = " a gap that is no entry ";
    struct Row {
        std::string before;
        Change change;
        std::string report, after;
    };
    const std::string grown(kB.size() + 2, 'a');
    const Row rows[] = {
        {Index(9, kA + textGap + kB), Set("A.MAI", "x"),
         "Corrupting index F\\_index.xml. Gap after A.MAI does not start at the start of an "
         "element.",
         Index(9, Element("A.MAI", "1", "<X>x</X>") + textGap + kB)},
        {Index(9, kA + kGarbage + " " + kB), Set("A.MAI", "x"),
         "Corrupting index F\\_index.xml. Gap before B.MAI does not end at the end of an element.",
         Index(9, Element("A.MAI", "1", "<X>x</X>") + kGarbage + " " + kB)},
        {Index(9, kA + kGarbage + " "), Set("A.MAI", "x"),
         "Corrupting index F\\_index.xml. Gap after A.MAI does not end at the end of an element.",
         Index(9, Element("A.MAI", "1", "<X>x</X>") + kGarbage + " ")},
        {Index(9, kA + "1234567890" + kB), Set("A.MAI", "x"), "",
         Index(9, Element("A.MAI", "1", "<X>x</X>") + "1234567890" + kB)},
        {Index(9, kA + "12345678901" + kB), Set("A.MAI", "x"),
         "Corrupting index F\\_index.xml. Gap after A.MAI does not start at the start of an "
         "element.",
         Index(9, Element("A.MAI", "1", "<X>x</X>") + "12345678901" + kB)},
        {Index(9, kA + kGarbage + kB), Set("A.MAI", std::string(kB.size() + 1, 'a')), "",
         Index(9, Element("A.MAI", "1", "<X>" + std::string(kB.size() + 1, 'a') + "</X>") +
                      kGarbage + kB)},
        {Index(9, kA + kGarbage + kB), Set("A.MAI", grown),
         "Corrupting index F\\_index.xml. Item size for A.MAI has grown so much that the gap will "
         "overflow the next item.",
         Index(9, Element("A.MAI", "1", "<X>" + grown + "</X>") + kGarbage + kB)},
        {Index(9, kA + Element("D", "1", "") + kC), Set("A.MAI", "x"),
         "Serialisation Issue: UID incorrectly ordered at 1.",
         Index(9, Element("A.MAI", "1", "<X>x</X>") + Element("D", "1", "") + kC)},
    };
    for (const Row& row : rows) {
        const ReportRecorder reports;
        MemoryIndexFile file(row.before);
        StoreIndex index;
        file.Load(index);
        row.change(index);
        EXPECT_TRUE(file.Save(index));
        EXPECT_EQ(file.bytes, row.after);
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), row.report);
        EXPECT_EQ(reports.Joined(ReportChannel::EventLogError), row.report);
    }
}

TEST(Save, FailuresAreReportedAndTheNextSaveStartsAfresh) {
    const std::string bad =
        "Warning. File contention occured when accessing index file (bad).Contention in Function: "
        "LIBStoreIndexSerialisation, Module Line: ";
    std::string bytes = Index(9, kA);
    MemoryIndexFile file(bytes);
    StoreIndex index;
    file.Load(index);
    ASSERT_TRUE(index.SetProperty(*index.FindById("A.MAI"), "X", "changed"));
    ReportRecorder reports;
    MemoryStream stream(file.bytes);
    stream.FailWrites();
    const SaveOutcome outcome = WriteIndex(index, stream, "F\\_index.xml", SaveKind::InPlace);
    EXPECT_FALSE(outcome.sound);
    const auto reported = reports.Take();
    ASSERT_EQ(reported.size(), 4U) << "the header and the tail, each on two channels";
    for (const auto& report : reported)
        EXPECT_TRUE(report.second.starts_with(bad)) << report.second;
    EXPECT_EQ(file.bytes, bytes);
    FinishSave(index, false, file.Stamp());
    EXPECT_TRUE(file.Save(index));
    EXPECT_EQ(file.bytes, Index(9, Element("A.MAI", "1", "<X>changed</X>")));
}

TEST(Save, AFailedSeekOrReadIsReportedAndASaveOfTheWholeGoesOn) {
    const std::string before = Index(9, kA + kGarbage + kB);
    const std::string a = Element("A.MAI", "1", "<X>x</X>");
    const std::string end(kTrailer);
    struct Row {
        const char* failure;
        std::string written;
    };
    // The last: where an entry cannot be placed, all goes behind the old file.
    const Row rows[] = {
        {"fail", Index(9, a + kB)},        {"fail", Index(9, a + kB)},
        {"fail{tail}", Index(9, a + kB)},  {"fail", Index(9, a + kB)},
        {"fail{A.MAI}", Index(9, a + kB)}, {"fail", before + a + kGarbage + kB + end},
    };
    int number = 0;
    for (const Row& row : rows) {
        const ReportRecorder reports;
        MemoryIndexFile file(before);
        StoreIndex index;
        file.Load(index);
        Set("A.MAI", "x")(index);
        MemoryStream stream(file.bytes);
        stream.FailSeekReadOrSize(++number);
        const auto outcome = WriteIndex(index, stream, "F\\_index.xml", SaveKind::InPlace);
        EXPECT_FALSE(outcome.sound);
        file.bytes.resize(static_cast<std::size_t>(outcome.newEnd.value()));
        EXPECT_EQ(file.bytes, row.written) << number;
        const bool appended = file.bytes.size() > before.size();
        const std::string text =
            std::string("Warning. File contention occured when accessing index file (") +
            row.failure + ").Contention in Function: LIBStoreIndexSerialisation, Module Line: ";
        const std::string eventLog = reports.Joined(ReportChannel::EventLogError);
        EXPECT_TRUE(eventLog.starts_with(text)) << eventLog;
        EXPECT_EQ(eventLog.find("Info"), std::string::npos);
        const std::string trace = reports.Joined(ReportChannel::Trace);
        EXPECT_TRUE(trace.starts_with(text)) << trace;
        EXPECT_EQ(trace.ends_with("Info: Insertion attempt at Position: 33 with Stream Length: " +
                                  std::to_string(before.size()) +
                                  ".File Pointer will is positioned to end of file, so as to allow "
                                  "diagnosis. Check .bad file"),
                  appended)
            << trace;
        StoreIndex next;
        EXPECT_EQ(file.Load(next), appended ? kLoadFailed : kLoadFull);
    }
}

TEST(Format, WritesAndParsesTheLastUid) {
    EXPECT_EQ(IndexHeader(1234), "<BASEELEMENT LASTUID=\"x000004d2\">");
    EXPECT_EQ(IndexHeader(4294967295), "<BASEELEMENT LASTUID=\"xffffffff\">");
    struct Row {
        std::string tag;
        bool current;
        std::uint32_t uid;
    };
    const Row rows[] = {
        {"LASTUID=\"x7b\"", true, 123},
        {"LASTUID=\"xFFFFFFFF\"", true, 4294967295},
        {"LASTUID=\"123\"", false, 123},
        {"LASTUID=\"0123\"", false, 0x123},
        {"LASTUID=\"0x123\"", false, 0x123},
        {"LASTUID=\"\"", false, 0},
        {"lastuid=\"1\"", false, 77},
        {"LASTUID='1'", false, 77},
        {"LASTUID=\"12", false, 12},
        {"LASTUID=\"x100000000\"", true, 4294967295},
        {"LASTUID=\"x" + std::string(2000, '0') + "1\"", true, 0},
    };
    for (const Row& row : rows) {
        std::uint32_t uid = 77;
        EXPECT_EQ(ParseLastUidAttribute("BASEELEMENT " + row.tag, uid), row.current) << row.tag;
        EXPECT_EQ(uid, row.uid) << row.tag;
    }
}

}  // namespace
}  // namespace tarnwick

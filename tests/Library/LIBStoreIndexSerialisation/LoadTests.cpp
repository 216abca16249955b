#include <gtest/gtest.h>

#include "tests/Library/LIBStoreIndexSerialisation/IndexTexts.h"
#include "tests/support/IndexStreams.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Describe;
using testing::Element;
using testing::Index;
using testing::MemoryIndexFile;
using testing::ReportRecorder;

// What a load leaves: its status, the entries, the last UID, whether the next save is a full one.
struct Loaded {
    std::uint32_t status;
    std::string entries;
    std::uint32_t lastUid;
    bool full;
    bool operator==(const Loaded&) const = default;
};

void PrintTo(const Loaded& loaded, std::ostream* out) {
    *out << loaded.status << " [" << loaded.entries << "] " << loaded.lastUid << " " << loaded.full;
}

Loaded Load(const std::string& bytes, const IndexLoad& load = {}, const std::string& filter = {}) {
    StoreIndex index;
    index.SetIdFilter(filter);
    const std::uint32_t status = MemoryIndexFile(bytes).Load(index, load);
    return {status, Describe(index), index.LastUid(), !index.ExtentsTrusted()};
}

constexpr const char* kTwo = "A 1 1 1 FROM=a SUBJECT=b;B 2 2 2 FROM=a SUBJECT=b;";

TEST(Load, ReadsEachKindOfFile) {
    const std::string two = Element("A", "1") + Element("B", "2");
    struct Row {
        const char* name;
        std::string bytes;
        Loaded loaded;
    };
    const Row rows[] = {
        {"empty folder", Index(0xFFFFFFFF, ""), {3, "", 4294967295, false}},
        {"two entries", Index(0x7B, two), {3, kTwo, 123, false}},
        {"older format, decimal",
         "<BASEELEMENT LASTUID=\"123\">" + Element("B", "2") + Element("A", "1") + "</BASEELEMENT>",
         {3, "A 1 2 1 FROM=a SUBJECT=b;B 2 1 2 FROM=a SUBJECT=b;", 123, true}},
        {"older format, hexadecimal", "<BASEELEMENT LASTUID=\"0123\"/>", {3, "", 0x123, true}},
        {"no last UID", "<BASEELEMENT></BASEELEMENT>", {3, "", 0, true}},
        {"empty root in the current format",
         "<BASEELEMENT LASTUID=\"x000004d2\"/>",
         {3, "", 1234, true}},
        {"a short current header cannot be overwritten",
         "<BASEELEMENT LASTUID=\"x7b\">" + two + "</BASEELEMENT>",
         {3, kTwo, 123, true}},
        {"equal UIDs",
         Index(9, Element("B", "2") + Element("A", "2", "")),
         {3, "B 2 1 1 FROM=a SUBJECT=b;A 2 2 2;", 9, false}},
        {"the second of two IDs is dropped",
         Index(9, Element("A", "1", "") + Element("A", "2") + Element("B", "3", "")),
         {3, "A 1 1 1;B 3 3 2;", 9, false}},
        {"blanked entries are skipped",
         Index(9, Element("-----", "--") + Element("A", "7", "") + Element("-", "-")),
         {3, "A 7 1 1;", 9, false}},
        {"the later of two properties counts, names are sorted",
         Index(9, Element("A", "1", "<B>1</B><A>2</A><B>3</B>")),
         {3, "A 1 1 1 A=2 B=3;", 9, false}},
        {"reserved names are no properties",
         Index(9, Element("A", "1", "<IDX>1</IDX><SEQ>2</SEQ><UID>3</UID><ID>4</ID><X>5</X>")),
         {3, "A 1 1 1 X=5;", 9, false}},
        {"properties that close themselves are empty",
         Index(9, Element("A", "1", "<CC/><FROM /><TO>x</TO>")),
         {3, "A 1 1 1 CC= FROM= TO=x;", 9, false}},
        {"an entry that closes itself",
         Index(9, "<ELEMENT ID=\"A\" UID=\"1\"/>"),
         {3, "A 1 1 1;", 9, true}},
        {"declaration, comments and white space are passed over",
         "<?xml version=\"1.0\"?>\r\n<!-- <ELEMENT> -- > -->\r\n<BASEELEMENT LASTUID=\"9\">\r\n  " +
             Element("A", "1", "\r\n\t<X>1<!-- > -->2</X> \r\n<!----><Y> </Y>\n") +
             "\r\n</BASEELEMENT>\r\n",
         {3, "A 1 1 1 X=12 Y= ;", 9, true}},
        {"names are told apart by how they begin",
         "<BASEELEMENTS LASTUID=\"x00000009\"><ELEMENTS ID=\"A\" "
         "UID=\"1\"></ELEMENTARY></BASEELEMENT>",
         {3, "A 1 1 1;", 9, true}},
        {"attributes in any order, others become properties",
         Index(9, "<ELEMENT X=\"&amp;\"  UID=\"1\"\tID=\"A\" ></ELEMENT>"),
         {3, "A 1 1 1 X=&amp;;", 9, true}},
        {"UIDs beyond 32 bits are held at the limit",
         Index(9, Element("A", "99999999999999999999", "")),
         {3, "A 4294967295 1 1;", 9, true}},
        {"leading zeros cannot be overwritten",
         Index(9, Element("A", "007", "")),
         {3, "A 7 1 1;", 9, true}},
        {"NUL and high bytes",
         Index(9, Element("\xE9", "1", std::string("<X>a\0b\xFF</X>", 11))),
         {3, std::string("\xE9 1 1 1 X=a\0b\xFF;", 15), 9, false}},
        {"a short text behind the root is found past",
         Index(9, "") + "123456789012345",
         {3, "", 9, false}},
        {"a longer one is not", Index(9, "") + "1234567890123456", {3, "", 9, true}},
        {"nor is one with a tag that does not end",
         Index(9, "") + "123456789012345<",
         {3, "", 9, true}},
        {"a root that ends under another name",
         IndexHeader(9) + "</BASEELEMENTS>",
         {3, "", 9, true}},
        {"a root that begins and ends at once in 33 bytes",
         "<BASEELEMENT LASTUID=\"x000000/\" >",
         {3, "", 0, true}},
        {"attributes are found in any case",
         Index(9, "<ELEMENT iD=\"A\" UID=\"1\"></ELEMENT>"),
         {3, "A 1 1 1;", 9, false}},
        {"an empty ID is none of dashes", Index(9, Element("", "1", "")), {3, " 1 1 1;", 9, false}},
        {"an entry left open at the root's end is not there",
         Index(9, Element("A", "1", "") + "<ELEMENT ID=\"B\" UID=\"2\">"),
         {3, "A 1 1 1;", 9, true}},
    };
    for (const Row& row : rows) {
        const ReportRecorder reports;
        EXPECT_EQ(Load(row.bytes), row.loaded) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), "") << row.name;
    }
}

TEST(Load, ReportsTheFirstMalformationAndReadsOn) {
    const std::string header = IndexHeader(9);
    const std::string end(kTrailer);
    struct Row {
        std::string bytes, text, entries;
    };
    const Row rows[] = {
        {"", "Did not find root element start tag", ""},
        {header, "Did not find root element end tag", ""},
        {header + header + end,
         "Encountered root element start tag after already encountering a root element start tag",
         ""},
        {"</BASEELEMENT>" + header + end,
         "Encountered root element end tag before root element start tag", ""},
        {header + end + end,
         "Encountered root element end tag after already encountering a root element end tag", ""},
        {Element("A", "1", "") + header + end,
         "Encountered element tag before encountering a root element start tag", "A 1 1 1;"},
        {header + end + Element("A", "1", ""),
         "Encountered element tag after already encountering a root element end tag", "A 1 1 1;"},
        {header + "<ELEMENT ID=\"A\" UID=\"1\"><X></ELEMENT>" + end,
         "Encountered element start tag nested within a property (X)", "A 1 1 1;"},
        {header + "<ELEMENT ID=\"A\" UID=\"1\"><ELEMENT ID=\"B\" UID=\"2\"></ELEMENT>" + end,
         "Encountered element start tag nested within another element", "B 2 1 1;"},
        {header + "<ELEMENT ID='A' UID=\"1\"></ELEMENT>" + end,
         "Unable to parse ID attribute, Tag=[ELEMENT ID='A' UID=\"1\"]", ""},
        {header + "<ELEMENT ID=\"A\" UID></ELEMENT>" + end,
         "Unable to parse ID attribute, Tag=[ELEMENT ID=\"A\" UID]", "A 0 1 1;"},
        {header + "<ELEMENT UID=\"1\"></ELEMENT>" + end,
         "Encountered element start tag without an ID", ""},
        {header + "<ELEMENT></ELEMENT>" + end, "Encountered element start tag without an ID", ""},
        {header + Element("A", "5", "") + Element("B", "3", "") + end,
         "Encountered element with UID out of order. This UID=3, Previous UID=5, Largest/Last "
         "UID=9",
         "B 3 2 2;A 5 1 1;"},
        {"<X>" + header + end,
         "Encountered property tag (X) before encountering a root element start tag", ""},
        {header + end + "<X>",
         "Encountered property tag (X) after already encountering a root element end tag", ""},
        {header + "<X></X>" + end, "Encountered property tag (X) outside an element", ""},
        {header + Element("A", "1", "<X><Y>1</Y>") + end,
         "Encountered property start tag (Y) nested within another property (X)", "A 1 1 1 Y=1;"},
        {header + Element("A", "1", "<X><Y/>") + end,
         "Encountered property start tag (Y) nested within another property (X)", "A 1 1 1 Y=;"},
        {header + Element("A", "1", "<X>1</Y><Z>2</Z>") + end,
         "Encountered property end tag (Y) that does not match previous property start tag (X)",
         "A 1 1 1 Y=1 Z=2;"},
        {header + Element("A", "1", "1</Y>") + end,
         "Encountered property end tag (Y) that does not match previous property start tag ()",
         "A 1 1 1 Y=1;"},
        // A name that an entry has makes no property of another kind of tag.
        {header + Element("A", "1", "< ELEMENT/>") + Element("B", "2", "<ELEMENT>v</ELEMENT>") +
             end,
         "Encountered element start tag nested within another element", "A 1 1 1 ELEMENT=;"},
        {header + "</ELEMENT>" + end,
         "Encountered element end tag before encountering a matching element start tag", ""},
        {header + "</ELEMENT><X>" + end,
         "Encountered element end tag before encountering a matching element start tag", ""},
    };
    for (const Row& row : rows) {
        ReportRecorder reports;
        StoreIndex index;
        EXPECT_EQ(MemoryIndexFile(row.bytes).Load(index), kLoadFailed) << row.text;
        const std::string message = "Malformed index detected: " + row.text + " (F)\n";
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), message);
        EXPECT_EQ(reports.Joined(ReportChannel::EventLogError), message);
        EXPECT_EQ(Describe(index), row.entries) << row.text;
    }
}

TEST(Load, ReadsAsMuchAsTheModeAsks) {
    const std::string current = Index(9, Element("A", "1") + Element("B", "2", "<X>1</Y>"));
    const std::string older =
        "<BASEELEMENT LASTUID=\"9\">" + Element("A", "1", "") + "</BASEELEMENT>";
    struct Row {
        const char* name;
        std::string bytes;
        std::uint32_t mode;
        Loaded loaded;
    };
    const Row rows[] = {
        {"header alone", current, kLoadHeader, {1, "", 9, false}},
        {"a header of the older format is not enough",
         older,
         kLoadHeader,
         {3, "A 1 1 1;", 9, true}},
        {"an empty root is all there is",
         "<BASEELEMENT LASTUID=\"x00000009\"/>\r\n",
         kLoadHeader,
         {3, "", 9, true}},
        {"33 bytes are parsed", IndexHeader(9), kLoadHeader, {0, "", 9, true}},
        {"34 bytes are not", IndexHeader(9) + "<", kLoadHeader, {1, "", 9, false}},
        {"identifiers alone", current, kLoadIdentifiers, {2, "A 1 1 1;B 2 2 2;", 9, false}},
        {"the older format is read whole", older, kLoadIdentifiers, {3, "A 1 1 1;", 9, true}},
        {"but not for a damaged property",
         "<BASEELEMENT LASTUID=\"9\">" + Element("A", "1", "<Y>1</Y>") +
             Element("B", "2", "<X>1</Y>") + "</BASEELEMENT>",
         kLoadIdentifiers,
         {2, "A 1 1 1;B 2 2 2;", 9, true}},
        {"nor one that is left open",
         "<BASEELEMENT LASTUID=\"x9\">" + Element("A", "1", "<X><Y>") + "</BASEELEMENT>",
         kLoadIdentifiers,
         {2, "A 1 1 1;", 9, true}},
        {"damage outside properties is damage",
         "<BASEELEMENT LASTUID=\"9\">" + Element("A", "1", "<X>1</Y>"),
         kLoadIdentifiers,
         {0, "A 1 1 1 Y=1;", 9, true}},
        {"so is a damaged property beside much garbage",
         Index(9, Element("-", "-", "") + Element("-", "-", "") + Element("A", "1", "<X>1</Y>")),
         kLoadIdentifiers,
         {0, "A 1 1 1 Y=1;", 9, true}},
        {"nothing", "", kLoadHeader, {0, "", 0, true}},
    };
    for (const Row& row : rows) {
        const ReportRecorder reports;
        IndexLoad load;
        load.mode = row.mode;
        load.garbageThreshold = 2;
        EXPECT_EQ(Load(row.bytes, load), row.loaded) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace).empty(), row.loaded.status != kLoadFailed)
            << row.name;
    }
}

TEST(Load, TakesOnlyTheWantedEntries) {
    const std::string bytes = Index(9, "<ELEMENT id=\"A\" UID=\"1\"></ELEMENT>" +
                                           Element("b", "2", "") + Element("C", "3", ""));
    const IdSet known{"B", "C"};
    IndexLoad some;
    some.knownIds = &known;
    EXPECT_EQ(Load(bytes, some), (Loaded{3, "b 2 1 1;C 3 2 2;", 9, false}));
    EXPECT_EQ(Load(bytes, some, "|A||x|"), (Loaded{3, "A 1 1 1;", 9, false}))
        << "the filter goes first";
    some.fileExists = [](std::string_view) { return false; };
    EXPECT_EQ(Load(bytes, some), (Loaded{3, "b 2 1 1;C 3 2 2;", 9, false}))
        << "known files are not asked for";

    IndexLoad verified;
    verified.fileExists = [](std::string_view id) { return id != "b"; };
    EXPECT_EQ(Load(bytes, verified), (Loaded{3, "A 1 1 1;C 3 2 2;", 9, true}));
    verified.mode = kLoadIdentifiers;
    EXPECT_EQ(Load(bytes, verified), (Loaded{2, "A 1 1 1;C 3 2 2;", 9, false}));

    const std::string older =
        "<BASEELEMENT LASTUID=\"9\">" + Element("A", "1", "") + "</BASEELEMENT>";
    EXPECT_EQ(Load(older, {}, "B"), (Loaded{3, "A 1 1 1;", 9, true}))
        << "the older format ends the filter";
}

TEST(Load, ReadsTheFileAgainWhenGarbageReachesTheThreshold) {
    for (const int blanked : {499, 500, 501}) {
        std::string entries = Element("A", "1", "");
        for (int count = 0; count < blanked; ++count) entries += Element("--", "--");
        entries += Element("B", "2", "");
        const bool full = blanked >= 500;
        for (const std::uint32_t mode : {kLoadIdentifiers, kLoadFull}) {
            for (const char* filter : {"", "A"}) {
                int opened = 0;
                const std::string bytes = Index(9, entries);
                StoreIndex index;
                index.SetIdFilter(filter);
                IndexLoad load;
                load.mode = mode;
                const auto open = [&] {
                    ++opened;
                    return std::make_unique<testing::MemorySource>(bytes);
                };
                const bool again = full && (mode != kLoadFull || index.IsPartial());
                EXPECT_EQ(LoadIndex(index, open, "F", load), again ? kLoadFull : mode);
                EXPECT_EQ(opened, again ? 2 : 1) << blanked << mode << filter;
                EXPECT_EQ(index.ExtentsTrusted(), !full);
                EXPECT_EQ(index.Count(), !full && *filter != '\0' ? 1U : 2U);
            }
        }
    }
}

}  // namespace
}  // namespace tarnwick

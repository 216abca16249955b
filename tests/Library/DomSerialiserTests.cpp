// What the platform's XML document makes of an index.
#include <gtest/gtest.h>

#include "Library/LIBStoreIndexSerialisation/DomText.h"
#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/XmlDom.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::EntryText;
using testing::IndexText;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

template <typename Serialiser>
std::string Loaded(const std::string& folder) {
    StoreIndex index;
    const std::uint32_t status = Serialiser().Deserialise(index, folder, kMailFolder, {});
    return std::to_string(status) + " " + std::to_string(index.LastUid()) + " " +
           testing::Describe(index);
}

// Saves with the DOM; false also when it throws.
bool DomSaves(StoreIndex& index, const std::string& folder) {
    try {
        return MSXMLStoreIndexSerialiser().Serialise(index, folder, kMailFolder);
    } catch (const _com_error&) {
        return false;
    }
}

// The settings are read once a process.
class DomSerialiser : public ::testing::TestWithParam<bool> {};

TEST_P(DomSerialiser, KeepsWhatXmlCanHoldAndTheStreamReadsIt) {
    if (!testing::IsAlone()) return;
    const ScratchRegistry registry;
    const bool oldFormat = GetParam();
    testing::SetProduct("MSXML Index Serialisation Produces Old Format", oldFormat ? 1 : 2);
    ASSERT_EQ(GetACP(), 1252U);
    struct Row {
        std::string stored;  // the entries
        const char* loaded;
        const char* saved;  // where the older header stands
    };
    const Row rows[] = {
        {EntryText("B.MAI", 7, "<A>x</A>") + EntryText("A.MAI", 3), "A.MAI:3 B.MAI:7[A=x] ",
         "<BASEELEMENT LASTUID=\"9\"><ELEMENT ID=\"B.MAI\" UID=\"7\"><A>x</A></ELEMENT>"
         "<ELEMENT ID=\"A.MAI\" UID=\"3\"/></BASEELEMENT>"},
        // Blanked, doubled, reserved, in others' characters; IDs that no file has.
        {EntryText("A.MAI", 1, "<A>x</A>") + "<ELEMENT ID=\"-----\" UID=\"-\"></ELEMENT>" +
             EntryText("A.MAI", 2) + EntryText("B&quot;&gt;.MAI", 2) + EntryText("", 3) +
             EntryText("C.MAI", 4,
                       "<IDX>5</IDX><A>x</A><UID>7</UID><ELEMENT>1</ELEMENT><BASEELEMENT/>"
                       "<ELEMENTS>2</ELEMENTS>"),
         "A.MAI:1[A=x] C.MAI:4[A=x] ", ""},
        {EntryText("A.MAI", 1, "<A>\xE2\x82\xAC don\xE2\x80\x99t \xC3\xA9 \xE4\xB8\xAD</A>"),
         "A.MAI:1[A=\x80 don\x92t \xE9 ?] ", ""},
        {EntryText("A.MAI", 1, "<A>R&amp;D &lt;d&gt; \"q\" 'a' \x7F\ttab\nline </A><CC></CC>"),
         "A.MAI:1[A=R&D <d> \"q\" 'a' \x7F\ttab\nline ,CC=] ", ""},
    };
    for (const Row& row : rows) {
        const ScratchFolder scratch;
        const std::string folder = scratch.Path("\x80");
        MakeDirectory(folder);
        WriteBytesTo(folder + "\\_index.xml", IndexText("9", row.stored));
        const std::string loaded = std::string("3 9 ") + row.loaded;
        EXPECT_EQ(Loaded<MSXMLStoreIndexSerialiser>(folder), loaded);
        StoreIndex index;
        MSXMLStoreIndexSerialiser().Deserialise(index, folder, kMailFolder, {});
        EXPECT_TRUE(DomSaves(index, folder));
        const std::string saved = ReadBytesOf(folder + "\\_index.xml");
        EXPECT_TRUE(!oldFormat || saved.starts_with(row.saved)) << saved;
        EXPECT_TRUE(saved.starts_with(oldFormat ? "<BASEELEMENT LASTUID=\"9\">"
                                                : "<BASEELEMENT LASTUID=\"x00000009\">"));
        EXPECT_EQ(saved.find("B.MAI") < saved.find("A.MAI"), oldFormat && &row == rows);
        EXPECT_EQ(Loaded<MSXMLStoreIndexSerialiser>(folder), loaded);
        EXPECT_EQ(Loaded<StreamXMLStoreIndexSerialiser>(folder), loaded);
        StoreIndex again;
        StreamXMLStoreIndexSerialiser().Deserialise(again, folder, kMailFolder, {});
        EXPECT_EQ(again.FileStamp(), index.FileStamp());
        EXPECT_FALSE(index.ExtentsTrusted());
        EXPECT_TRUE(StreamXMLStoreIndexSerialiser().Serialise(again, folder, kMailFolder));
        EXPECT_EQ(Loaded<MSXMLStoreIndexSerialiser>(folder), loaded);
    }
}
INSTANTIATE_TEST_SUITE_P(OldFormat, DomSerialiser, ::testing::Bool());

StoreIndex& Fill(StoreIndex& index, const std::string& name) {
    index.SetLoadStatus(kLoadFull);
    index.SetProperty(*index.Add("A.MAI"), name, "\xE9 <>");
    return index;
}

TEST(DomDocument, SavesNoNamesThatItCouldNotLoadAndFailsWithItsCalls) {
    const ScratchRegistry registry;
    const ReportRecorder reports;
    struct Row {
        const char* name;
        bool saved;
    };
    const Row rows[] = {{"GR\xD6SSE", true}, {"A\xE9", true}, {"A-1.x_", true},   {"A B", false},
                        {"1A", false},       {"A&B", false},  {"A=\"B\"", false}, {"A:B", false},
                        {"-", false},        {"\xD7", false}, {"A\xB7\xFF", true}};
    for (const Row& row : rows) {
        const ScratchFolder folder;
        StoreIndex index;
        EXPECT_EQ(DomSaves(Fill(index, row.name), folder.Path()), row.saved) << row.name;
        EXPECT_EQ(folder.Names().size(), row.saved ? 1U : 0U) << "fails before it writes";
        EXPECT_EQ(Loaded<MSXMLStoreIndexSerialiser>(folder.Path()),
                  row.saved ? "3 1 " + testing::Describe(index) : "0 0 ");
    }
    for (int number = 1; number <= 5; ++number) {
        const ScratchFolder folder;
        CallRecorder recorder;
        recorder.FailCall(number, ERROR_DISK_FULL);
        StoreIndex index;
        EXPECT_EQ(DomSaves(Fill(index, "A"), folder.Path()), number > 3) << number;
    }
    const ScratchFolder folder;
    for (const char* text : {"", "<BASEELEMENT", "<BASEELEMENT><ELEMENT></BASEELEMENT>"}) {
        WriteBytesTo(folder.Path("_index.xml"), text);
        EXPECT_EQ(Loaded<MSXMLStoreIndexSerialiser>(folder.Path()), "0 0 ") << text;
    }
    EXPECT_TRUE(reports.Joined(ReportChannel::Trace)
                    .ends_with("Failed to load DOM: " + folder.Path("_index.xml")));
}

// Of the versions that can be chosen the third alone is served, and that in an apartment.
class NoDocument : public ::testing::TestWithParam<const char*> {};

TEST_P(NoDocument, NothingLoadsOrSaves) {
    if (!testing::IsAlone()) return;
    const ScratchRegistry registry;
    const ReportRecorder reports;
    const std::string version = GetParam();
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, std::string(kProductProvidersKey) + "\\Store",
                               "XML Version", version);
    EXPECT_FALSE(CreateDomDocument());
    const bool served = version == "3";
    EXPECT_EQ(reports.Joined(ReportChannel::EventLogError),
              served ? "[-2147221008] Error creating DOM instance" : "");
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              served ? "Tarnwick Folder Indexing Library is not compatible with the version of XML "
                       "installed on this computer"
                     : "");
    if (served) return;
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("_index.xml"), IndexText("1", ""));
    EXPECT_EQ(Loaded<MSXMLStoreIndexSerialiser>(folder.Path()), "0 0 ");
    StoreIndex index;
    Fill(index, "A").SetIdFilter("A.MAI");
    EXPECT_FALSE(DomSaves(index, folder.Path()));
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), IndexText("1", ""));
    EXPECT_TRUE(index.IdFilter().empty()) << "a save ends the filter first";
    EXPECT_FALSE(index.ExtentsTrusted());
}
INSTANTIATE_TEST_SUITE_P(Versions, NoDocument, ::testing::Values("3", "4", "6.0"));

TEST(DomText, ReferencesBytesAndDropsWhatXmlForbids) {
    EXPECT_EQ(WithByteReferences("a\xC3\xA9\xC2\x80\xC3\xBF"
                                 "b"),
              "a&#xe9;&#x80;&#xff;b");
    EXPECT_EQ(WithByteReferences("\xE2\x82\xAC\xC3"), "\xE2\x82\xAC\xC3");
    EXPECT_EQ(WithByteReferences("<\xC3\x96 A=\"\xC3\x96\">\xC3\x96</\xC3\x96>\xC3\x96"),
              "<\xC3\x96 A=\"\xC3\x96\">&#xd6;</\xC3\x96>&#xd6;");
    EXPECT_EQ(WithoutForbiddenCharacters(std::string("a\0\x01\x1F\t\n\r\x80z", 9)), "a\t\n\r\x80z");
}

}  // namespace
}  // namespace tarnwick

#include <gtest/gtest.h>

#include "Library/LIBStoreIndexSerialisation/DomText.h"
#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tests/Library/IndexFixtures.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Describe;
using testing::EntryText;
using testing::IndexText;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::SetProduct;
using testing::WriteBytesTo;

// All but a lone CR, which XML makes an LF of.
const std::string kAllKinds = "R&D <draft> \"q\" 'a' \xE9\x80\xFF \x7F\ttab\nline ";

// An index whose position order is not its UID order.
void Fill(StoreIndex& index) {
    StoreIndex::Entry* const first = index.Add("A.MAI");
    index.SetProperty(*first, "SUBJECT", kAllKinds);
    index.SetProperty(*first, "CC", "");
    index.Add("B.MAI");
    index.SetLastUid(1234);
    index.SetLoadStatus(kLoadFull);
}

template <typename Serialiser>
std::string LoadWith(const std::string& folder, StoreIndex& index) {
    Serialiser serialiser;
    const std::uint32_t status = serialiser.Deserialise(index, folder, 0, {});
    return std::to_string(status) + " " + Describe(index);
}

// The settings are read once a process, so each format has a test of its own.
std::string SavedAgain(std::uint32_t oldFormat) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    SetProduct("MSXML Index Serialisation Produces Old Format", oldFormat);
    WriteBytesTo(folder.Path("_index.xml"),
                 IndexText("9", EntryText("B.MAI", 7, "<A>x</A>") + EntryText("A.MAI", 3)));
    StoreIndex index;
    MSXMLStoreIndexSerialiser serialiser;
    EXPECT_EQ(serialiser.Deserialise(index, folder.Path(), 0, {}), kLoadFull);
    index.SetLastUid(1234);
    EXPECT_TRUE(serialiser.Serialise(index, folder.Path(), 0));
    std::string saved = ReadBytesOf(folder.Path("_index.xml"));
    while (saved.ends_with('\n') || saved.ends_with('\r')) saved.pop_back();
    return saved;
}

TEST(DomSerialiser, WritesTheOlderHeaderInOrderOfPosition) {
    EXPECT_EQ(SavedAgain(1),
              "<BASEELEMENT LASTUID=\"1234\"><ELEMENT ID=\"B.MAI\" UID=\"7\"><A>x</A></ELEMENT>"
              "<ELEMENT ID=\"A.MAI\" UID=\"3\"/></BASEELEMENT>");
}

TEST(DomSerialiser, WritesTheCurrentHeaderInOrderOfUids) {
    EXPECT_EQ(SavedAgain(0),
              "<BASEELEMENT LASTUID=\"x000004d2\"><ELEMENT ID=\"A.MAI\" UID=\"3\"/>"
              "<ELEMENT ID=\"B.MAI\" UID=\"7\"><A>x</A></ELEMENT></BASEELEMENT>");
}

TEST(DomSerialiser, AndTheStreamReadEachOthersFilesAlike) {
    for (const bool byStream : {true, false}) {
        const ScratchRegistry registry;
        const ScratchFolder folder;
        StoreIndex saved;
        Fill(saved);
        MSXMLStoreIndexSerialiser dom;
        StreamXMLStoreIndexSerialiser stream;
        StoreIndexSerialiser& saver = byStream ? static_cast<StoreIndexSerialiser&>(stream) : dom;
        ASSERT_TRUE(saver.Serialise(saved, folder.Path(), 0));
        StoreIndex fromStream;
        StoreIndex fromDom;
        const std::string expected = "3 " + Describe(saved);
        EXPECT_EQ(LoadWith<StreamXMLStoreIndexSerialiser>(folder.Path(), fromStream), expected);
        EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder.Path(), fromDom), expected);
        EXPECT_EQ(fromStream.LastUid(), 1234U);
        EXPECT_EQ(fromDom.LastUid(), 1234U);
        EXPECT_EQ(fromDom.FileStamp(), fromStream.FileStamp());
        EXPECT_FALSE(fromDom.ExtentsTrusted());
        // What the DOM writes by default is the older header: the next stream save is a full one.
        EXPECT_EQ(fromStream.ExtentsTrusted(), byStream);
    }
}

TEST(DomSerialiser, LeavesOutWhatAStreamSaveBlankedAndDoubles) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("_index.xml"),
                 IndexText("x00000009", EntryText("A.MAI", 1, "<A>x</A>") +
                                            "<ELEMENT ID=\"-----\" UID=\"-\"></ELEMENT>" +
                                            EntryText("A.MAI", 2) + EntryText("C.MAI", 3)));
    StoreIndex index;
    EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder.Path(), index), "3 A.MAI:1[A=x] C.MAI:3 ");
}

TEST(DomSerialiser, LeavesOutReservedNamesAndIdsThatNoFileHas) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("_index.xml"),
                 IndexText("x00000009", EntryText("A.MAI", 1, "<IDX>5</IDX><A>x</A><UID>7</UID>") +
                                            EntryText("B&quot;&gt;.MAI", 2) + EntryText("", 3) +
                                            EntryText("C.MAI", 4)));
    StoreIndex index;
    EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder.Path(), index), "3 A.MAI:1[A=x] C.MAI:4 ");
}

TEST(DomSerialiser, ADamagedFileIsAFailedLoadAndSaysSo) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    ReportRecorder reports;
    StoreIndex index;
    for (const char* text : {"", "<BASEELEMENT", "<BASEELEMENT><ELEMENT></BASEELEMENT>"}) {
        WriteBytesTo(folder.Path("_index.xml"), text);
        EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder.Path(), index), "0 ") << text;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace),
                  "Failed to load DOM: " + folder.Path("_index.xml"));
        reports.Take();
    }
}

TEST(DomSerialiser, WithAnotherLibraryVersionNothingLoadsOrSaves) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, std::string(kProductProvidersKey) + "\\Store",
                               "XML Version", "6.0");
    WriteBytesTo(folder.Path("_index.xml"), IndexText("1", ""));
    StoreIndex index;
    EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder.Path(), index), "0 ");
    Fill(index);
    MSXMLStoreIndexSerialiser serialiser;
    EXPECT_FALSE(serialiser.Serialise(index, folder.Path(), 0));
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), IndexText("1", ""));
}

TEST(DomText, ReferencesBytesAndDropsWhatXmlForbids) {
    EXPECT_EQ(WithByteReferences("a\xC3\xA9\xC2\x80\xC3\xBF"
                                 "b"),
              "a&#xe9;&#x80;&#xff;b");
    EXPECT_EQ(WithByteReferences("\xE2\x82\xAC\xC3"), "\xE2\x82\xAC\xC3");
    EXPECT_EQ(WithoutForbiddenCharacters(std::string("a\0\x01\x1F\t\n\r\x80z", 9)), "a\t\n\r\x80z");
}

}  // namespace
}  // namespace tarnwick

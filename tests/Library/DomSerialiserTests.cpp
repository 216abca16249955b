#include <gtest/gtest.h>

#include "Library/LIBStoreIndexSerialisation/DomText.h"
#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/XmlDom.h"
#include "tests/Library/IndexFixtures.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
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

TEST(DomSerialiser, WritesTheCurrentHeaderInOrderOfUidsWhenTheSettingIsNotOne) {
    EXPECT_EQ(SavedAgain(2),
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
    WriteBytesTo(
        folder.Path("_index.xml"),
        IndexText("x00000009", EntryText("A.MAI", 1,
                                         "<IDX>5</IDX><A>x</A><UID>7</UID><ELEMENT>1</ELEMENT>"
                                         "<BASEELEMENT/><ELEMENTS>2</ELEMENTS>") +
                                   EntryText("B&quot;&gt;.MAI", 2) + EntryText("", 3) +
                                   EntryText("C.MAI", 4)));
    StoreIndex index;
    EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder.Path(), index), "3 A.MAI:1[A=x] C.MAI:4 ");
    EXPECT_TRUE(StreamXMLStoreIndexSerialiser().Serialise(index, folder.Path(), 0));
    EXPECT_EQ(LoadWith<StreamXMLStoreIndexSerialiser>(folder.Path(), index),
              "3 A.MAI:1[A=x] C.MAI:4 ");
}

// Saves with the DOM; false also when it throws.
bool DomSaves(StoreIndex& index, const std::string& folder) {
    try {
        return MSXMLStoreIndexSerialiser().Serialise(index, folder, 0);
    } catch (const _com_error&) {
        return false;
    }
}

TEST(DomSerialiser, LoadsWhatItSavedWhateverTheNames) {
    const ScratchRegistry registry;
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
        Fill(index);
        ASSERT_TRUE(index.SetProperty(*index.FindById("A.MAI"), row.name, "\xE9 <>"));
        const std::string wanted = "3 " + Describe(index);
        EXPECT_EQ(DomSaves(index, folder.Path()), row.saved) << row.name;
        // A save that fails before the document stands does not touch the file.
        EXPECT_EQ(folder.Names().size(), row.saved ? 1U : 0U) << row.name;
        if (!row.saved) continue;
        StoreIndex loaded;
        EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder.Path(), loaded), wanted);
    }
}

TEST(DomSerialiser, ASaveWhoseFileCannotBeOpenedWrittenOrClosedFails) {
    const ScratchRegistry registry;
    StoreIndex index;
    Fill(index);
    const std::vector<std::string> calls{"CreateFile _index.xml", "WriteFile", "CloseHandle",
                                         "FindFirstFile _index.xml"};
    for (int number = 1; number <= 5; ++number) {
        const ScratchFolder folder;
        CallRecorder recorder;
        recorder.FailCall(number, ERROR_DISK_FULL);
        EXPECT_EQ(DomSaves(index, folder.Path()), number > 3) << number;
        if (number <= 3) continue;
        EXPECT_EQ(recorder.Calls(), calls);
    }
}

TEST(DomSerialiser, ReadsOthersCharactersInTheSystemCodePageAndPathsToo) {
    const ScratchRegistry registry;
    const ScratchFolder scratch;
    ASSERT_EQ(GetACP(), 1252U);
    const std::string folder = scratch.Path("\x80");
    MakeDirectory(folder);
    WriteBytesTo(folder + "\\_index.xml",
                 IndexText("9", EntryText("A.MAI", 1,
                                          "<A>5 \xE2\x82\xAC, don\xE2\x80\x99t \xC3\xA9 "
                                          "\xE4\xB8\xAD</A>")));
    StoreIndex index;
    EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder, index),
              "3 A.MAI:1[A=5 \x80, don\x92t \xE9 ?] ");
    EXPECT_TRUE(DomSaves(index, folder));
    EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder, index),
              "3 A.MAI:1[A=5 \x80, don\x92t \xE9 ?] ");
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

void ExpectNoDocument() {
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("_index.xml"), IndexText("1", ""));
    StoreIndex index;
    EXPECT_EQ(LoadWith<MSXMLStoreIndexSerialiser>(folder.Path(), index), "0 ");
    Fill(index);
    index.SetIdFilter("A.MAI");
    MSXMLStoreIndexSerialiser serialiser;
    EXPECT_FALSE(serialiser.Serialise(index, folder.Path(), 0));
    EXPECT_EQ(ReadBytesOf(folder.Path("_index.xml")), IndexText("1", ""));
    EXPECT_TRUE(index.IdFilter().empty()) << "a save ends the filter first";
    EXPECT_FALSE(index.ExtentsTrusted());
}

void ExpectNoDocumentWithVersion(const std::string& version) {
    const ScratchRegistry registry;
    const ReportRecorder reports;
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, std::string(kProductProvidersKey) + "\\Store",
                               "XML Version", version);
    ExpectNoDocument();
    EXPECT_EQ(reports.Joined(ReportChannel::EventLogError), "");
}

TEST(DomSerialiser, WithVersionSixNothingLoadsOrSaves) {
    ExpectNoDocumentWithVersion("6.0");
}

TEST(DomSerialiser, WithVersionFourNothingLoadsOrSaves) {
    ExpectNoDocumentWithVersion("4");
}

// Stands for a library that is registered and does not work.
class BrokenLibrary : public IClassFactory {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID, void**) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

TEST(DomSerialiser, SaysThatTheDocumentCouldNotBeCreated) {
    const ScratchRegistry registry;
    const ReportRecorder reports;
    const ComApartment apartment;
    constexpr CLSID kDomDocument30{
        0xF5078F32, 0xC551, 0x11D3, {0x89, 0xB9, 0x00, 0x00, 0xF8, 0x1F, 0xE2, 0x21}};
    BrokenLibrary library;
    DWORD registered = 0;
    ASSERT_EQ(CoRegisterClassObject(kDomDocument30, &library, CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &registered),
              S_OK);
    ExpectNoDocument();
    CoRevokeClassObject(registered);
    const std::string error = "[-2147467259] Error creating DOM instance";
    EXPECT_EQ(reports.Joined(ReportChannel::EventLogError), error + error);
    const std::string text =
        "Tarnwick Folder Indexing Library is not compatible with the version of XML installed on "
        "this computer";
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), text + text);
}

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

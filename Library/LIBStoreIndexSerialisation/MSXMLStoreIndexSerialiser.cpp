#include "Library/LIBStoreIndexSerialisation/MSXMLStoreIndexSerialiser.h"

#include <optional>

#include "common/Files.h"
#include "common/Reports.h"
#include "Library/LIBStoreIndexSerialisation/DomText.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"
#include "Library/LIBStoreIndexSerialisation/XmlDom.h"

namespace tarnwick {
namespace {

using Document = ComPointer<IXMLDOMDocument>;
using Element = ComPointer<IXMLDOMElement>;
using Node = ComPointer<IXMLDOMNode>;

constexpr OpenMode kOpenAlone{GENERIC_WRITE, 0, CREATE_ALWAYS};

// A borrowed text as an argument of a COM call.
VARIANT TextArgument(const ComText& text) {
    VARIANT argument;
    VariantInit(&argument);
    argument.vt = VT_BSTR;
    argument.bstrVal = text.Get();
    return argument;
}

// Files are read at once and as they stand: white space counts, and nothing outside is fetched.
void PrepareForLoad(Document& document) {
    CheckCom(document->put_async(VARIANT_FALSE));
    CheckCom(document->put_preserveWhiteSpace(VARIANT_TRUE));
    CheckCom(document->put_validateOnParse(VARIANT_FALSE));
    CheckCom(document->put_resolveExternals(VARIANT_FALSE));
}

bool LoadDocument(Document& document, const std::string& path) {
    VARIANT_BOOL loaded = VARIANT_FALSE;
    const ComText name = ComText::OfPath(path);
    if (FAILED(document->load(TextArgument(name), &loaded)) || loaded == VARIANT_FALSE) {
        Trace("Failed to load DOM: " + path);
        return false;
    }
    return true;
}

// Whether the element has the attribute, and its text.
bool ReadAttribute(IXMLDOMElement* element, const char* name, std::string& value) {
    VARIANT held;
    VariantInit(&held);
    const HRESULT result = CheckCom(element->getAttribute(ComText(name).Get(), &held));
    const bool present = result == S_OK && held.vt == VT_BSTR;
    ComText text;
    if (present) {
        *text.Receive() = held.bstrVal;
        value = text.Bytes();
    } else {
        VariantClear(&held);
    }
    return present;
}

Element AsElement(Node& node) {
    Element element;
    CheckCom(node->QueryInterface(kXmlDomElement, reinterpret_cast<void**>(element.Receive())));
    return element;
}

void ReadLastUid(Document& document, StoreIndex& index) {
    Element root;
    std::string value;
    if (CheckCom(document->get_documentElement(root.Receive())) != S_OK) return;
    if (!ReadAttribute(root.Get(), "LASTUID", value)) return;
    std::uint32_t lastUid = index.LastUid();
    ParseLastUidAttribute("LASTUID=\"" + value + "\"", lastUid);
    index.SetLastUid(lastUid);
}

void ReadProperties(Element& element, IndexEntryDraft& draft) {
    Node child;
    Node next;
    ComText name;
    ComText text;
    for (HRESULT found = CheckCom(element->get_firstChild(child.Receive())); found == S_OK;
         found = CheckCom(child->get_nextSibling(next.Receive())), child = std::move(next)) {
        DOMNodeType type{};
        CheckCom(child->get_nodeType(&type));
        if (type != NODE_ELEMENT) continue;
        CheckCom(child->get_nodeName(name.Receive()));
        CheckCom(child->get_text(text.Receive()));
        const std::string property = name.Bytes();
        // A child named as an entry or the root would end the file that a stream save writes.
        if (IsStorablePropertyName(property)) draft.SetProperty(property, text.Bytes());
    }
}

// Takes one ELEMENT over; false for one that is no entry (blanked, or without an ID that a file can
// have: a stream save would tear the index with it).
bool ReadEntry(Element& element, StoreIndex& index, IndexEntryDraft& draft) {
    std::string id;
    std::string uid;
    if (!ReadAttribute(element.Get(), "ID", id) || !IsStorableId(id)) return false;
    const bool hasUid = ReadAttribute(element.Get(), "UID", uid);
    if (hasUid && IsBlanked(uid)) return false;
    draft.Begin(index.Names());
    draft.SetId(id);
    if (hasUid) draft.SetUid(ParseUid(uid));
    ReadProperties(element, draft);
    return true;
}

void ReadEntries(Document& document, StoreIndex& index) {
    ComPointer<IXMLDOMNodeList> entries;
    CheckCom(document->selectNodes(ComText("BASEELEMENT/ELEMENT").Get(), entries.Receive()));
    IndexEntryDraft draft;
    Node node;
    std::uint32_t position = 1;
    while (CheckCom(entries->nextNode(node.Receive())) == S_OK) {
        Element element = AsElement(node);
        if (!ReadEntry(element, index, draft)) continue;
        // Of two entries with one ID the first counts, as in every reader.
        static_cast<void>(index.Load(draft, position, position));
        ++position;
    }
    index.FinishLoad();
    index.NumberSequence();
}

void SetAttribute(Element& element, const char* name, std::string_view value) {
    const ComText text(value);
    CheckCom(element->setAttribute(ComText(name).Get(), TextArgument(text)));
}

Element AppendElement(Document& document, IXMLDOMNode* parent, std::string_view name) {
    Element element;
    Node appended;
    if (!IsXmlName(name)) throw _com_error(E_INVALIDARG);
    CheckCom(document->createElement(ComText(name).Get(), element.Receive()));
    CheckCom(parent->appendChild(element.Get(), appended.Receive()));
    return element;
}

std::string LastUidText(std::uint32_t lastUid, bool oldFormat) {
    if (oldFormat) return std::to_string(lastUid);
    char text[10];
    std::snprintf(text, sizeof text, "x%08lx", static_cast<unsigned long>(lastUid));
    return text;
}

void AppendEntry(Document& document, Element& root, const StoreIndex::Entry& entry) {
    Element element = AppendElement(document, root.Get(), kEntryName);
    SetAttribute(element, "ID", entry.Id());
    if (entry.HasUid()) SetAttribute(element, "UID", std::to_string(entry.Uid()));
    for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
        Element property = AppendElement(document, element.Get(), entry.Names().Name(at));
        CheckCom(property->put_text(ComText(WithoutForbiddenCharacters(entry.Value(at))).Get()));
    }
}

void BuildDocument(Document& document, StoreIndex& index, bool oldFormat) {
    Element root = AppendElement(document, document.Get(), kRootName);
    SetAttribute(root, "LASTUID", LastUidText(index.LastUid(), oldFormat));
    // Files of the older format stand in order of position.
    const LiveEntries entries = oldFormat ? index.InPositionOrder() : index.InUidOrder();
    for (const StoreIndex::Entry& entry : entries) AppendEntry(document, root, entry);
}

// More than a document of this index is likely to take.
std::uint64_t LikelyRoom(const StoreIndex& index) {
    constexpr std::size_t kTags =
        std::string_view("<ELEMENT ID=\"\" UID=\"4294967295\"></ELEMENT>").size();
    std::uint64_t room = kTags;
    for (const StoreIndex::Entry& entry : index.InUidOrder()) {
        room += kTags + entry.Id().size();
        for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
            const PropertyName& name = entry.Names()[at];
            room += name.StartTag().size() + entry.Value(at).size() + name.EndTag().size();
        }
    }
    // A byte may take two in UTF-8, and some that are escaped take more.
    return 2 * room;
}

// What was written to the stream.
std::string BytesOf(IStream* stream) {
    ULARGE_INTEGER end{};
    CheckCom(stream->Seek({}, STREAM_SEEK_CUR, &end));
    CheckCom(stream->Seek({}, STREAM_SEEK_SET, nullptr));
    std::string bytes(static_cast<std::size_t>(end.QuadPart), '\0');
    ULONG count = 0;
    CheckCom(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &count));
    bytes.resize(count);
    return bytes;
}

// The document as the file is to hold it; nothing when the DOM cannot save it.
std::optional<std::string> SavedText(Document& document, std::uint64_t likelyRoom) {
    ComPointer<IStream> stream;
    CheckCom(CreateStreamOnHGlobal(nullptr, TRUE, stream.Receive()));
    // Without it each of many small writes would move all that was written before.
    ULARGE_INTEGER room;
    room.QuadPart = likelyRoom;
    CheckCom(stream->SetSize(room));
    VARIANT target;
    VariantInit(&target);
    target.vt = VT_UNKNOWN;
    target.punkVal = stream.Get();
    if (document->save(target) != S_OK) return std::nullopt;
    return WithByteReferences(BytesOf(stream.Get()));
}

// The file is opened when all that is to stand in it is at hand, and nobody sees half of it.
bool SaveDocument(Document& document, const std::string& path, std::uint64_t likelyRoom) {
    const auto text = SavedText(document, likelyRoom);
    if (!text) return false;
    File file(path, kOpenAlone);
    return file.IsOpen() && file.Write(*text) && file.Close();
}

}  // namespace

MSXMLStoreIndexSerialiser::MSXMLStoreIndexSerialiser()
    : oldFormat_(StoredIndexSettings().domWritesOldFormat == 1) {}

std::uint32_t MSXMLStoreIndexSerialiser::Deserialise(StoreIndex& index, const std::string& folder,
                                                     FolderType folderType,
                                                     const DeserialiseRequest& /*request*/) {
    const ComApartment apartment;
    const std::string path = IndexFilePath(folder, folderType);
    index.Clear();
    index.SetLoadStatus(kLoadFailed);
    Document document = CreateDomDocument();
    if (!document) return kLoadFailed;
    PrepareForLoad(document);
    // Open meanwhile, so that a document that does not load is known to be damaged and not locked.
    const File readable(path, {GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING});
    if (!LoadDocument(document, path)) {
        if (readable.IsOpen()) index.MarkDamaged();
        return kLoadFailed;
    }
    ReadLastUid(document, index);
    ReadEntries(document, index);
    // A document does not tell where in its file an entry stands.
    index.InvalidateExtents();
    index.SetFileStamp(StampOf(path).value_or(IndexFileStamp{}));
    index.SetLoadStatus(kLoadFull);
    return kLoadFull;
}

bool MSXMLStoreIndexSerialiser::Serialise(StoreIndex& index, const std::string& folder,
                                          FolderType folderType) {
    const ComApartment apartment;
    // Also when nothing is saved: the filter ends, and the next stream save is a full one.
    index.InvalidateExtents();
    Document document = CreateDomDocument();
    if (!document) return false;
    BuildDocument(document, index, oldFormat_);
    const std::string path = IndexFilePath(folder, folderType);
    if (!SaveDocument(document, path, LikelyRoom(index))) return false;
    index.MarkSaved();
    // Where the entries stand in this file is not known.
    index.InvalidateExtents();
    index.SetFileStamp(StampOf(path).value_or(IndexFileStamp{}));
    return true;
}

}  // namespace tarnwick

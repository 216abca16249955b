#include "Library/LIBStoreIndexSerialisation/XmlDom.h"

#include <ole2.h>

#include "common/Registry.h"
#include "common/Reports.h"

namespace tarnwick {
namespace {

// The MSXML 3.0 document class and the interface it is used through.
constexpr CLSID kDomDocument30{
    0xF5078F32, 0xC551, 0x11D3, {0x89, 0xB9, 0x00, 0x00, 0xF8, 0x1F, 0xE2, 0x21}};
constexpr IID kXmlDomDocument{
    0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
constexpr IID kUnknown{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

constexpr const char* kStoreProviderKey =
    "SOFTWARE\\Wow6432Node\\Tarnwick\\Tarnwick\\Providers\\Store";
// Texts of up to 64 characters.
constexpr std::size_t kVersionCapacity = 65;

int ReadXmlVersion() {
    char version[kVersionCapacity];
    ReadRegistryString(RegistryRoot::LocalMachine, kStoreProviderKey, "XML Version", version);
    if (version[0] == '4') return 4;
    if (version[0] == '6') return 6;
    return 3;
}

HRESULT CreateVersion3(ComPointer<IXMLDOMDocument>& document) {
    ComPointer<IUnknown> created;
    HRESULT result = CoCreateInstance(kDomDocument30, nullptr, CLSCTX_SERVER, kUnknown,
                                      reinterpret_cast<void**>(created.Receive()));
    if (FAILED(result)) return result;
    result = OleRun(created.Get());
    if (FAILED(result)) return result;
    return created->QueryInterface(kXmlDomDocument, reinterpret_cast<void**>(document.Receive()));
}

}  // namespace

// IXMLDOMElement of MSXML 3.0.
const IID kXmlDomElement{
    0x2933BF86, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

ComText::ComText(std::string_view text)
    : text_(SysAllocStringLen(nullptr, static_cast<UINT>(text.size()))) {
    if (text_ == nullptr) throw _com_error(E_OUTOFMEMORY);
    for (std::size_t at = 0; at < text.size(); ++at) {
        text_[at] = static_cast<unsigned char>(text[at]);
    }
}

BSTR* ComText::Receive() {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
}

std::string ComText::Bytes() const {
    constexpr OLECHAR kLargestByte = 0xFF;
    std::string bytes(SysStringLen(text_), '\0');
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        bytes[at] = text_[at] <= kLargestByte ? static_cast<char>(text_[at]) : '?';
    }
    return bytes;
}

HRESULT CheckCom(HRESULT result) {
    if (FAILED(result)) throw _com_error(result);
    return result;
}

ComPointer<IXMLDOMDocument> CreateDomDocument() {
    static const int version = ReadXmlVersion();
    ComPointer<IXMLDOMDocument> document;
    // The newer libraries can be chosen but have never been served; loads and saves then fail.
    if (version != 3) return document;
    const HRESULT result = CreateVersion3(document);
    if (FAILED(result)) {
        Report(ReportChannel::EventLogError,
               "[" + std::to_string(result) + "] Error creating DOM instance");
        PrintStandardOutput(
            "Tarnwick Folder Indexing Library is not compatible with the version of XML installed "
            "on this computer");
    }
    return document;
}

}  // namespace tarnwick

#include "Library/LIBStoreIndexSerialisation/XmlDom.h"

#include <ole2.h>
#include <algorithm>
#include <iterator>

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
    // Values such as "6.0" count by their first character.
    if (version[0] == '4') return 4;
    if (version[0] == '6') return 6;
    return 3;
}

// Text with "?" for what the code page does not hold.
std::string InSystemCodePage(std::wstring_view text) {
    // No code page takes more bytes a unit.
    constexpr std::size_t kMostBytes = 4;
    std::string bytes(text.size() * kMostBytes, '\0');
    const int size =
        WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

std::wstring FromSystemCodePage(std::string_view text) {
    std::wstring wide(text.size(), L'\0');
    const int size = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                         wide.data(), static_cast<int>(wide.size()));
    wide.resize(static_cast<std::size_t>(size));
    return wide;
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

ComText ComText::OfPath(const std::string& path) {
    const std::wstring wide = FromSystemCodePage(path);
    ComText text;
    *text.Receive() = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    if (text.Get() == nullptr) throw _com_error(E_OUTOFMEMORY);
    return text;
}

BSTR* ComText::Receive() {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
}

std::string ComText::Bytes() const {
    const auto isByte = [](OLECHAR character) { return character <= 0xFF; };
    std::string bytes;
    bytes.reserve(SysStringLen(text_));
    const OLECHAR* const end = text_ + SysStringLen(text_);
    for (const OLECHAR* at = text_;;) {
        const OLECHAR* const others = std::find_if_not(at, end, isByte);
        std::transform(at, others, std::back_inserter(bytes),
                       [](OLECHAR character) { return static_cast<char>(character); });
        if (others == end) return bytes;
        at = std::find_if(others, end, isByte);
        bytes += InSystemCodePage({others, at});
    }
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
        // To both: a service has no console, and who runs a tool does not watch the event log.
        Report(ReportChannel::EventLogError,
               "[" + std::to_string(result) + "] Error creating DOM instance");
        PrintStandardOutput(
            "Tarnwick Folder Indexing Library is not compatible with the version of XML installed "
            "on this computer");
    }
    return document;
}

}  // namespace tarnwick

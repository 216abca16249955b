// What was escaped reads back as it was, and unescaping equals the passes done one by one.
#include <string>

#include "fuzz/IndexFuzz.h"
#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"

using namespace tarnwick;

namespace {

unsigned Digit(char byte) {
    if (byte >= '0' && byte <= '9') return static_cast<unsigned>(byte - '0');
    const char lower = static_cast<char>(byte | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 99;
}

char Referenced(std::string_view text) {
    const unsigned base = text.starts_with('x') ? 16 : 10;
    unsigned value = 0;
    for (const char byte : text.substr(base == 16 ? 1 : 0)) {
        if (Digit(byte) >= base) break;
        value = (value * base + Digit(byte)) % 256;
    }
    return static_cast<char>(value);
}

void Replace(std::string& text, std::string_view from, char to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + 1)) {
        text.replace(at, from.size(), 1, to);
    }
}

std::string ByPasses(std::string text) {
    for (auto at = text.find("&#"); at != std::string::npos; at = text.find("&#")) {
        const auto end = text.find(';', at);
        if (end == std::string::npos) break;
        const char byte = Referenced(std::string_view(text).substr(at + 2, end - at - 2));
        text.replace(at, end - at + 1, 1, byte);
    }
    Replace(text, "&lt;", '<');
    Replace(text, "&gt;", '>');
    Replace(text, "&amp;", '&');
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string original(reinterpret_cast<const char*>(data), size);
    for (const bool forAttributeUse : {false, true}) {
        std::string text = original;
        EscapeXmlText(text, forAttributeUse);
        fuzz::Require(text.find_first_of("<>") == std::string::npos);
        UnescapeXmlText(text, forAttributeUse);
        fuzz::Require(text == original);
    }
    ByteBuffer source;
    source.Append(original);
    ByteBuffer escaped;
    AppendEscaped(escaped, source.View());
    ByteBuffer plain;
    AppendUnescaped(plain, escaped.View());
    fuzz::Require(plain.View() == original);
    if (size > 4096) return 0;
    std::string text = original;
    UnescapeXmlText(text, false);
    fuzz::Require(text == ByPasses(original));
    return 0;
}

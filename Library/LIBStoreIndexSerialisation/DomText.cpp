#include "Library/LIBStoreIndexSerialisation/DomText.h"

#include <algorithm>

namespace tarnwick {
namespace {

bool IsForbidden(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

// The character of a two-byte UTF-8 sequence when it is one of 0x80 to 0xFF, else 0.
unsigned ByteCharacter(char first, char second) {
    const auto lead = static_cast<unsigned char>(first);
    const auto trail = static_cast<unsigned char>(second);
    if ((lead != 0xC2 && lead != 0xC3) || (trail & 0xC0) != 0x80) return 0;
    return ((lead & 0x03U) << 6) | (trail & 0x3FU);
}

bool BeginsXmlName(char character) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isLetter = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    return isLetter || byte == '_' || (byte >= 0xC0 && byte != 0xD7 && byte != 0xF7);
}

bool ContinuesXmlName(char character) {
    const bool isDigit = character >= '0' && character <= '9';
    return isDigit || BeginsXmlName(character) || character == '-' || character == '.' ||
           character == '\xB7';
}

}  // namespace

bool IsXmlName(std::string_view name) {
    return !name.empty() && BeginsXmlName(name.front()) &&
           std::all_of(name.begin(), name.end(), ContinuesXmlName);
}

std::string WithoutForbiddenCharacters(std::string_view value) {
    std::string kept;
    kept.reserve(value.size());
    std::copy_if(value.begin(), value.end(), std::back_inserter(kept),
                 [](char character) { return !IsForbidden(character); });
    return kept;
}

std::string WithByteReferences(std::string_view document) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string references;
    references.reserve(document.size());
    bool inTag = false;
    for (std::size_t at = 0; at < document.size(); ++at) {
        inTag = document[at] == '<' || (inTag && document[at] != '>');
        const bool replaceable = !inTag && at + 1 < document.size();
        const unsigned character = replaceable ? ByteCharacter(document[at], document[at + 1]) : 0;
        if (character == 0) {
            references += document[at];
            continue;
        }
        references.append("&#x").append(1, kDigits[character >> 4]);
        references.append(1, kDigits[character & 0xF]).append(";");
        ++at;
    }
    return references;
}

}  // namespace tarnwick

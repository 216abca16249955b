#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"

#include <cstddef>
#include <optional>

#include "common/Scan.h"

namespace tarnwick {
namespace {

constexpr std::string_view kReferenceStart = "&#";
constexpr char kReferenceEnd = ';';

bool IsValidCharacter(char byte) {
    const auto value = static_cast<signed char>(byte);
    return value >= 0x20 || value == '\t' || value == '\n' || value == '\r';
}

void AppendReference(std::string& output, char byte) {
    constexpr const char* kDigits = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    output += "&#x";
    if (value >= 0x10) output += kDigits[value >> 4];
    output += kDigits[value & 0xF];
    output += kReferenceEnd;
}

std::string_view EntityOf(char byte, bool forAttributeUse) {
    if (byte == '&') return "&amp;";
    if (byte == '<') return "&lt;";
    if (byte == '>') return "&gt;";
    if (forAttributeUse && byte == '"') return "&quot;";
    if (forAttributeUse && byte == '\'') return "&apos;";
    return {};
}

void AppendEscapedByte(std::string& output, char byte, bool forAttributeUse) {
    const std::string_view entity = EntityOf(byte, forAttributeUse);
    if (!entity.empty()) {
        output += entity;
    } else if (IsValidCharacter(byte)) {
        output += byte;
    } else {
        AppendReference(output, byte);
    }
}

struct Digits {
    unsigned base;
    std::string_view text;
};

std::optional<unsigned> DigitValue(char character, unsigned base) {
    unsigned value = base;
    if (character >= '0' && character <= '9') value = static_cast<unsigned>(character - '0');
    if (character >= 'a' && character <= 'f') value = static_cast<unsigned>(character - 'a') + 10;
    if (character >= 'A' && character <= 'F') value = static_cast<unsigned>(character - 'A') + 10;
    if (value >= base) return std::nullopt;
    return value;
}

// The number between "&#" and ";", as far as it is one, truncated to a byte.
char ReferencedByte(std::string_view reference) {
    const bool hexadecimal = reference.starts_with('x');
    const unsigned base = hexadecimal ? 16 : 10;
    if (hexadecimal) reference.remove_prefix(1);
    unsigned value = 0;
    for (const char character : reference) {
        const auto digit = DigitValue(character, base);
        if (!digit) break;
        value = (value * base + *digit) & 0xFF;
    }
    return static_cast<char>(value);
}

// Where the next reference begins in `output` (from `start`) followed by `rest`: in the rest, or on
// the seam, where a byte that a reference has just left may stand for its "&" or its "#".
struct ReferenceStart {
    bool found;
    std::size_t outputLength;  // what of the output stands before it
    std::size_t restSkipped;   // what of the rest belongs to it or stands before it
};

ReferenceStart FindReference(const std::string& output, std::size_t start, std::string_view rest) {
    const std::string_view done = std::string_view(output).substr(start);
    if (done.ends_with(kReferenceStart)) return {true, output.size() - 2, 0};
    if (done.ends_with('&') && rest.starts_with('#')) return {true, output.size() - 1, 1};
    const std::size_t at = FindText(rest, kReferenceStart);
    if (at == kNotFound) return {false, 0, 0};
    return {true, output.size() + at, at + kReferenceStart.size()};
}

// Each round takes a reference off the front of the rest and leaves its byte at the end of the
// output, which holds no "&#" itself but across the seam: what a search from the start of the text
// after each replacement finds, without searching anything twice.
void AppendWithoutReferences(std::string& output, std::string_view rest) {
    const std::size_t start = output.size();
    for (;;) {
        const ReferenceStart reference = FindReference(output, start, rest);
        if (!reference.found) break;
        const std::size_t end = FindByte(rest, kReferenceEnd, reference.restSkipped);
        if (end == kNotFound) break;
        if (reference.outputLength > output.size()) {
            output.append(rest, 0, reference.outputLength - output.size());
        }
        output.resize(reference.outputLength);
        output += ReferencedByte(rest.substr(reference.restSkipped, end - reference.restSkipped));
        rest.remove_prefix(end + 1);
    }
    output += rest;
}

struct Entity {
    std::string_view text;
    char byte;
    bool inAttributesAlone;
};

// The entity that `text` begins with.
const Entity* EntityAt(std::string_view text, bool forAttributeUse) {
    static constexpr Entity kEntities[] = {{"&lt;", '<', false},
                                           {"&gt;", '>', false},
                                           {"&quot;", '"', true},
                                           {"&apos;", '\'', true},
                                           {"&amp;", '&', false}};
    for (const Entity& entity : kEntities) {
        if ((forAttributeUse || !entity.inAttributesAlone) && text.starts_with(entity.text)) {
            return &entity;
        }
    }
    return nullptr;
}

// No entity's replacement is part of another entity but the ampersand, which comes last and is not
// looked at again; so one pass does what one a kind would.
void ReplaceEntities(std::string& text, std::size_t from, bool forAttributeUse) {
    std::size_t to = FindByte(text, '&', from);
    if (to == kNotFound) return;
    for (std::size_t at = to; at < text.size();) {
        const Entity* entity = nullptr;
        if (text[at] == '&') {
            entity = EntityAt(std::string_view(text).substr(at), forAttributeUse);
        }
        text[to++] = entity == nullptr ? text[at] : entity->byte;
        at += entity == nullptr ? 1 : entity->text.size();
    }
    text.resize(to);
}

}  // namespace

void EscapeXmlText(std::string& text, bool forAttributeUse) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char byte : text) AppendEscapedByte(escaped, byte, forAttributeUse);
    text.swap(escaped);
}

void UnescapeXmlText(std::string& text, bool forAttributeUse) {
    std::string plain;
    plain.reserve(text.size());
    AppendWithoutReferences(plain, text);
    ReplaceEntities(plain, 0, forAttributeUse);
    text.swap(plain);
}

void AppendEscaped(std::string& output, std::string_view text) {
    for (;;) {
        const std::size_t plain = FindMarkupOrUnprintable(text);
        if (plain == kNotFound) break;
        output.append(text, 0, plain);
        AppendEscapedByte(output, text[plain], false);
        text.remove_prefix(plain + 1);
    }
    output += text;
}

void AppendUnescaped(std::string& output, std::string_view text) {
    const std::size_t start = output.size();
    AppendWithoutReferences(output, text);
    ReplaceEntities(output, start, false);
}

}  // namespace tarnwick

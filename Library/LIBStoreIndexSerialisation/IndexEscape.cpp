#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"

#include <cstddef>
#include <optional>

#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

namespace tarnwick {
namespace {

constexpr std::string_view kReferenceStart = "&#";
constexpr char kReferenceEnd = ';';

// As a signed number: 0x80 to 0xFF are below 0x20 and so become references, which survive any code
// page. 0x7F is none of these and stays as it is.
bool IsValidCharacter(char byte) {
    const auto value = static_cast<signed char>(byte);
    return value >= 0x20 || value == '\t' || value == '\n' || value == '\r';
}

void AppendReference(ByteBuffer& output, char byte) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    output.Append("&#x");
    if (value >= 0x10) output.Append(kDigits[value >> 4]);
    output.Append(kDigits[value & 0xF]);
    output.Append(kReferenceEnd);
}

std::string_view EntityOf(char byte, bool forAttributeUse) {
    if (byte == '&') return "&amp;";
    if (byte == '<') return "&lt;";
    if (byte == '>') return "&gt;";
    if (forAttributeUse && byte == '"') return "&quot;";
    if (forAttributeUse && byte == '\'') return "&apos;";
    return {};
}

void AppendEscapedByte(ByteBuffer& output, char byte, bool forAttributeUse) {
    const std::string_view entity = EntityOf(byte, forAttributeUse);
    if (!entity.empty()) {
        output.Append(entity);
    } else if (IsValidCharacter(byte)) {
        output.Append(byte);
    } else {
        AppendReference(output, byte);
    }
}

// What an ampersand and some bytes behind it stand for.
struct Piece {
    std::size_t length;
    char byte;
};
constexpr Piece kNoPiece{0, '\0'};

// A value that is no digit's when there is none.
unsigned DigitValue(char character) {
    if (character >= '0' && character <= '9') return static_cast<unsigned>(character - '0');
    const auto lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 16;
}

// The number behind "&#", truncated to a byte, with the length of its digits. Only "x" makes it
// hexadecimal. Both are kept: values in stored files would read differently.
Piece NumberAt(std::string_view text) {
    const bool hexadecimal = text.starts_with('x');
    const unsigned base = hexadecimal ? 16 : 10;
    std::size_t length = hexadecimal ? 1 : 0;
    unsigned value = 0;
    for (; length < text.size(); ++length) {
        const unsigned digit = DigitValue(text[length]);
        if (digit >= base) break;
        value = (value * base + digit) & 0xFF;
    }
    return {length, static_cast<char>(value)};
}

// Where the next reference begins in `output` followed by `rest`: in the rest, or on the seam,
// where a byte that a reference has just left may stand for its "&" or its "#".
struct ReferenceStart {
    bool found;
    std::size_t outputLength;  // what of the output stands before it
    std::size_t restSkipped;   // what of the rest belongs to it or stands before it
};

ReferenceStart FindReference(const std::string& output, std::string_view rest) {
    if (output.ends_with(kReferenceStart)) return {true, output.size() - 2, 0};
    if (output.ends_with('&') && rest.starts_with('#')) return {true, output.size() - 1, 1};
    const std::size_t at = FindText(rest, kReferenceStart);
    if (at == kNotFound) return {false, 0, 0};
    return {true, output.size() + at, at + kReferenceStart.size()};
}

// Each round takes a reference off the front of the rest and leaves its byte at the end of the
// output, which holds no "&#" itself but across the seam: what a search from the start of the text
// after each replacement finds, without searching anything twice.
void AppendWithoutReferences(std::string& output, std::string_view rest) {
    for (;;) {
        const ReferenceStart reference = FindReference(output, rest);
        if (!reference.found) break;
        const std::size_t end = FindByte(rest, kReferenceEnd, reference.restSkipped);
        if (end == kNotFound) break;
        if (reference.outputLength > output.size()) {
            output.append(rest, 0, reference.outputLength - output.size());
        }
        output.resize(reference.outputLength);
        output += NumberAt(rest.substr(reference.restSkipped)).byte;
        rest.remove_prefix(end + 1);
    }
    output += rest;
}

// A bit for each byte that may not stand as it is; tabs and line breaks count among them.
// Objects and not functions, so that each loop over lanes gets its own test without a call.
constexpr auto kEscapeMask = [](__m128i lane) {
    constexpr char kBracketBit = '<' ^ '>';
    const __m128i low = _mm_cmplt_epi8(lane, _mm_set1_epi8(0x20));
    const __m128i bracket =
        _mm_cmpeq_epi8(_mm_or_si128(lane, _mm_set1_epi8(kBracketBit)), _mm_set1_epi8('>'));
    return BitsOf(_mm_or_si128(low, bracket)) | BitsOfEqual(lane, '&');
};

constexpr auto kAttributeEscapeMask = [](__m128i lane) {
    return kEscapeMask(lane) | BitsOfEqual(lane, '"') | BitsOfEqual(lane, '\'');
};

constexpr auto kAmpersandMask = [](__m128i lane) { return BitsOfEqual(lane, '&'); };

// The entity that `text` begins with, or its ampersand alone.
Piece EntityOrAmpersand(std::string_view text, bool forAttributeUse) {
    if (BeginsWith(text, "&lt;")) return {4, '<'};
    if (BeginsWith(text, "&gt;")) return {4, '>'};
    if (BeginsWith(text, "&amp;")) return {5, '&'};
    if (forAttributeUse && BeginsWith(text, "&quot;")) return {6, '"'};
    if (forAttributeUse && BeginsWith(text, "&apos;")) return {6, '\''};
    return {1, '&'};
}

// Of references those alone that give a byte which is part of no other piece, as all do that are
// written here.
Piece AnyPiece(std::string_view text, bool forAttributeUse) {
    if (!text.starts_with(kReferenceStart)) return EntityOrAmpersand(text, forAttributeUse);
    const Piece number = NumberAt(text.substr(kReferenceStart.size()));
    const std::string_view rest = text.substr(kReferenceStart.size() + number.length);
    if (!rest.starts_with(kReferenceEnd) || IsValidCharacter(number.byte)) return kNoPiece;
    return {text.size() - rest.size() + 1, number.byte};
}

// Replaces pieces up to the end. Nothing when `pieceAt` gives none; what was written to `to` does
// not count then.
template <typename PieceAt>
std::optional<std::size_t> Unescape(char* to, std::string_view text, PieceAt pieceAt) {
    char* const start = to;
    for (;;) {
        const std::size_t plain = CopyUntil(to, text.data(), text.size(), kAmpersandMask);
        to += plain;
        text.remove_prefix(plain);
        if (text.empty()) return static_cast<std::size_t>(to - start);
        const Piece piece = pieceAt(text);
        if (piece.length == 0) return std::nullopt;
        *to++ = piece.byte;
        text.remove_prefix(piece.length);
    }
}

// No entity's replacement is part of another entity but the ampersand, which comes last and is not
// looked at again; so one pass does what one a kind would.
void AppendUnescaped(ByteBuffer& output, std::string_view text, bool forAttributeUse) {
    const auto anyPiece = [&](std::string_view rest) { return AnyPiece(rest, forAttributeUse); };
    auto taken = Unescape(output.Room(text.size()), text, anyPiece);
    if (!taken) {
        std::string plain;
        plain.reserve(text.size() + kSlack);
        AppendWithoutReferences(plain, text);
        const std::size_t size = plain.size();
        plain.append(kSlack, '\0');
        const auto entity = [&](std::string_view rest) {
            return EntityOrAmpersand(rest, forAttributeUse);
        };
        taken = Unescape(output.Room(size), {plain.data(), size}, entity);
    }
    output.Extend(*taken);
}

template <typename MaskOf>
void AppendEscaped(ByteBuffer& output, std::string_view text, bool forAttributeUse, MaskOf maskOf) {
    for (;;) {
        char* const to = output.Room(text.size());
        const std::size_t plain = CopyUntil(to, text.data(), text.size(), maskOf);
        output.Extend(plain);
        if (plain == text.size()) return;
        AppendEscapedByte(output, text[plain], forAttributeUse);
        text.remove_prefix(plain + 1);
    }
}

// What the text is `convert`ed to, from and to a buffer that has slack.
template <typename Convert>
void ConvertInPlace(std::string& text, Convert convert) {
    ByteBuffer from;
    from.Append(text);
    ByteBuffer to;
    convert(to, from.View());
    text = to.View();
}

}  // namespace

void EscapeXmlText(std::string& text, bool forAttributeUse) {
    ConvertInPlace(text, [&](ByteBuffer& output, std::string_view plain) {
        if (forAttributeUse) return AppendEscaped(output, plain, true, kAttributeEscapeMask);
        AppendEscaped(output, plain);
    });
}

void UnescapeXmlText(std::string& text, bool forAttributeUse) {
    ConvertInPlace(text, [&](ByteBuffer& output, std::string_view escaped) {
        AppendUnescaped(output, escaped, forAttributeUse);
    });
}

std::size_t EscapedSize(std::string_view text) {
    std::size_t size = 0;
    ByteBuffer escaped;
    for (const char byte : text) {
        escaped.Clear();
        AppendEscapedByte(escaped, byte, false);
        size += escaped.Size();
    }
    return size;
}

void AppendEscaped(ByteBuffer& output, std::string_view text) {
    AppendEscaped(output, text, false, kEscapeMask);
}

void AppendUnescaped(ByteBuffer& output, std::string_view text) {
    AppendUnescaped(output, text, false);
}

char* UnescapeMarked(char* to, const char* bytes, const std::uint32_t* mark,
                     const std::uint32_t* end) {
    for (; mark != end; ++mark) {
        const std::string_view text(bytes + *mark, static_cast<std::size_t>(mark[1] - *mark));
        const Piece piece = AnyPiece(text, false);
        if (piece.length == 0) return nullptr;
        *to++ = piece.byte;
        CopyInLanes(to, text.substr(piece.length));
        to += text.size() - piece.length;
    }
    return to;
}

}  // namespace tarnwick

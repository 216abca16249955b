// The header fields of a message and the outline of its MIME parts (RFC 2045, 2046, 2231).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

struct HeaderField {
    std::string name;
    std::string value;  // unfolded, without blanks around it
    std::size_t offset = 0;
};

// The header at the beginning of the message; a line that is no field and no continuation is one
// without a name.
std::vector<HeaderField> HeaderFieldsOf(std::string_view message);

// The first field of the name, in any case of letters; empty when there is none.
std::string FieldValue(const std::vector<HeaderField>& fields, std::string_view name);

struct MimePart {
    std::string number;       // "1.2", as mail programs count; the message itself is "0"
    std::size_t depth = 0;    // 0: the message
    std::string type;         // "text/plain"
    std::string name{};       // of its file, UTF-8 where that is declared
    std::string encoding{};   // "base64"; empty: none is named
    std::size_t offset = 0;   // where its header begins
    std::size_t body = 0;     // where its body begins
    std::size_t length = 0;   // of the body
    std::size_t decoded = 0;  // bytes when its encoding is undone
    std::string problem{};    // what mail programs will make nothing of
};

// The message and its parts, each before those in it. Nesting beyond 32 levels is not followed.
std::vector<MimePart> MimeOutline(std::string_view message);

}  // namespace tarnwick::admin

// What an index says of a mail, taken from the mail's own header.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarnwick {

struct NamedValue {
    std::string name;
    std::string value;
};

// The header is looked for in so many bytes at the beginning of a message file, no more.
inline constexpr std::size_t kMailHeaderLimit = std::size_t{1} << 16;

// FROM, TO, CC, SUBJECT and MESSAGEDATE of the message (RFC 5322) that begins with `text`, for
// those header fields that it has: the first of each name, unfolded, without blanks around it,
// encoded words as they stand. Line ends may be CR LF or LF.
std::vector<NamedValue> MailProperties(std::string_view text);

}  // namespace tarnwick

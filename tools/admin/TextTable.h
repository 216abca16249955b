// Values of files as a person can be shown them, and tables of them.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

// A UTF-8 text in the system code page; no value when that lacks one of its characters.
using ToCodePage = std::function<std::optional<std::string>(std::string_view utf8)>;

// With line breaks as blanks and without other control characters.
std::string OnOneLine(std::string_view text);

// The value on one line in the system code page: of at most so many characters, with "..." behind
// it when it has more. What is not UTF-8 is taken for Windows-1252; a character that the code page
// lacks is a question mark.
inline constexpr std::size_t kBrief = 60;
std::string ShownBriefly(std::string_view value, const ToCodePage& toCodePage,
                         std::size_t limit = kBrief);

// Values in columns under the heading that is the first row, one line a row, shown as above.
// A column is as wide as its widest value, but no wider than 40 characters; a longer value pushes
// the rest of its line. All rows are of the same length.
std::string TextTable(const std::vector<std::vector<std::string>>& rows,
                      const ToCodePage& toCodePage);

}  // namespace tarnwick::admin

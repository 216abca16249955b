#include "tools/admin/TextTable.h"

#include <algorithm>

#include "Library/convert/TextEncoding.h"

namespace tarnwick::admin {
namespace {

constexpr std::size_t kWidestColumn = 40;

// The first `limit` characters of a text.
std::string_view TakeCharacters(std::string_view utf8, std::size_t limit) {
    std::size_t at = 0;
    for (; at < utf8.size(); ++at) {
        const bool isFirstByte = (utf8[at] & 0xC0) != 0x80;
        if (isFirstByte && limit-- == 0) break;
    }
    return utf8.substr(0, at);
}

struct ShownText {
    std::string text;
    std::size_t width = 0;  // in characters
};

ShownText Shown(std::string_view value, const ToCodePage& toCodePage) {
    const std::string utf8 = Utf8OrWindows1252(OnOneLine(value));
    std::string text;
    std::size_t width = 0;
    // ASCII is the same in all of them.
    for (std::string_view rest = utf8; !rest.empty(); ++width) {
        const std::string_view character = TakeCharacters(rest, 1);
        rest.remove_prefix(character.size());
        text +=
            character.size() == 1 ? std::string(character) : toCodePage(character).value_or("?");
    }
    return {std::move(text), width};
}

std::string TableLine(const std::vector<ShownText>& columns,
                      const std::vector<std::size_t>& widths) {
    std::string line;
    std::size_t blanks = 0;
    for (std::size_t column = 0; column < columns.size(); ++column) {
        const auto& [text, width] = columns[column];
        if (!text.empty()) line.append(blanks, ' ').append(text);
        if (!text.empty()) blanks = 0;
        blanks += std::max(widths[column], width) - width + 2;
    }
    return line + "\n";
}

}  // namespace

std::string OnOneLine(std::string_view text) {
    std::string line;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isBreak = text[at] == '\n' || text[at] == '\r';
        if (isBreak && text.substr(at, 2) != "\r\n") line += ' ';
        if (!IsControl(text[at])) line += text[at];
    }
    return line;
}

std::string ShownBriefly(std::string_view value, const ToCodePage& toCodePage, std::size_t limit) {
    const std::string utf8 = Utf8OrWindows1252(OnOneLine(value));
    const std::string_view brief = TakeCharacters(utf8, limit);
    return Shown(brief, toCodePage).text + (brief.size() == utf8.size() ? "" : "...");
}

std::string TextTable(const std::vector<std::vector<std::string>>& rows,
                      const ToCodePage& toCodePage) {
    std::vector<std::vector<ShownText>> lines;
    std::vector<std::size_t> widths(rows.front().size());
    for (const std::vector<std::string>& row : rows) {
        std::vector<ShownText>& line = lines.emplace_back();
        for (const std::string& value : row) {
            const std::size_t column = line.size();
            line.push_back(Shown(value, toCodePage));
            widths[column] = std::max(widths[column], std::min(line.back().width, kWidestColumn));
        }
    }
    std::string table;
    for (const std::vector<ShownText>& line : lines) table += TableLine(line, widths);
    return table;
}

}  // namespace tarnwick::admin

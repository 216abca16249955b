#include "tools/admin/report/Html.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace tarnwick::admin {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Character {
    char32_t code;
    std::size_t size;  // in bytes
};

// The character at the text's beginning; no value when it is no UTF-8 (RFC 3629).
std::optional<Character> FirstCharacter(std::string_view text) {
    const auto byteAt = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const char32_t first = byteAt(0);
    if (first < 0x80) return Character{first, 1};
    const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < size) return std::nullopt;
    char32_t code = first & (0xFFU >> (size + 1));
    for (std::size_t at = 1; at < size; ++at) {
        if ((byteAt(at) & 0xC0) != 0x80) return std::nullopt;
        code = code << 6 | (byteAt(at) & 0x3FU);
    }
    const bool isTooLong = (size == 3 && code < 0x800) || (size == 4 && code < 0x10000);
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    if (isTooLong || isSurrogate || code > 0x10FFFF) return std::nullopt;
    return Character{code, size};
}

// Whether HTML forbids the character, or it would turn what stands behind it.
bool IsRefused(char32_t code) {
    const bool isControl = code >= 0x7F && code < 0xA0;
    const bool isNoCharacter = (code & 0xFFFE) == 0xFFFE || (code >= 0xFDD0 && code <= 0xFDEF);
    const bool isTurning = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    return isControl || isNoCharacter || isTurning;
}

// U+2400 and on have a picture of each.
std::string ControlPicture(char32_t code) {
    return {'\xE2', '\x90', static_cast<char>(0x80 + code)};
}

std::string_view EntityOf(char letter) {
    switch (letter) {
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '&':
            return "&amp;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return {};
    }
}

void AddRow(Html& html, const char* style, const std::vector<HtmlColumn>& columns,
            const std::vector<std::string>& cells) {
    const Html::Element row = html.Open("tr", {{"class", style}});
    for (std::size_t at = 0; at < columns.size(); ++at) {
        const char* const kind = columns[at].isNumber ? "number" : "text";
        if (at == 0) {
            html.Add("th", {{"scope", "row"}, {"class", kind}}, cells[at]);
        } else {
            html.Add("td", {{"class", kind}}, cells[at]);
        }
    }
}

}  // namespace

std::string HtmlText(std::string_view utf8) {
    std::string text;
    text.reserve(utf8.size());
    while (!utf8.empty()) {
        const auto character = FirstCharacter(utf8);
        const std::size_t size = character ? character->size : 1;
        if (!character || IsRefused(character->code)) {
            text += kReplacement;
        } else if (character->code < ' ') {
            text += ControlPicture(character->code);
        } else if (const std::string_view entity = EntityOf(utf8.front()); !entity.empty()) {
            text += entity;
        } else {
            text += utf8.substr(0, size);
        }
        utf8.remove_prefix(size);
    }
    return text;
}

void Html::Start(const char* name, HtmlAttributes attributes) {
    page_.append("<").append(name);
    for (const auto& [attribute, value] : attributes) {
        page_.append(" ").append(attribute).append("=\"").append(HtmlText(value)).append("\"");
    }
    page_ += '>';
}

Html::Element Html::Open(const char* name, HtmlAttributes attributes) {
    Start(name, attributes);
    open_.push_back(name);
    return Element(*this);
}

void Html::Close() {
    page_.append("</").append(open_.back()).append(">\n");
    open_.pop_back();
}

void Html::Add(const char* name, HtmlAttributes attributes, std::string_view text) {
    const Element element = Open(name, attributes);
    Text(text);
}

void Html::AddVoid(const char* name, HtmlAttributes attributes) {
    Start(name, attributes);
    page_ += '\n';
}

void Html::Text(std::string_view text) {
    page_ += HtmlText(text);
}

void Html::Style(std::string_view sheet) {
    const Element element = Open("style");
    page_ += sheet;
}

void AddTable(Html& html, std::string_view label, const std::vector<HtmlColumn>& columns,
              const std::vector<std::vector<std::string>>& rows,
              const std::vector<std::string>& totals) {
    // With a place in the order of the keyboard's focus, so that it scrolls without a mouse.
    const Html::Element box = html.Open(
        "div", {{"class", "scroll"}, {"role", "region"}, {"tabindex", "0"}, {"aria-label", label}});
    const Html::Element table = html.Open("table");
    {
        const Html::Element head = html.Open("thead");
        const Html::Element row = html.Open("tr");
        for (const auto& [title, isNumber] : columns) {
            html.Add("th", {{"scope", "col"}, {"class", isNumber ? "number" : "text"}}, title);
        }
    }
    const Html::Element body = html.Open("tbody");
    for (const std::vector<std::string>& cells : rows) AddRow(html, "row", columns, cells);
    if (!totals.empty()) AddRow(html, "total", columns, totals);
}

}  // namespace tarnwick::admin

#include "Library/convert/Components.h"

#include <algorithm>
#include <vector>

#include "common/Scan.h"

namespace tarnwick {
namespace {

constexpr std::size_t kDeepestNesting = 32;

}  // namespace

void RequireText(std::string_view text) {
    const std::size_t nul = FindByte(text, '\0');
    if (nul == kNotFound) return;
    const std::string_view before = text.substr(0, nul);
    const auto lineBreaks = std::count(before.begin(), before.end(), '\n');
    throw ReadFailure(static_cast<std::size_t>(lineBreaks) + 1, "not a text");
}

std::string Excerpt(std::string_view text) {
    constexpr std::size_t kLongest = 40;
    if (TrimBlanks(text).empty()) return "(blank)";
    std::string excerpt(text.substr(0, kLongest));
    std::replace_if(
        excerpt.begin(), excerpt.end(), [](char byte) { return byte < ' ' || byte > '~'; }, '?');
    return text.size() > kLongest ? excerpt + "..." : excerpt;
}

std::string NotAProperty(const ContentLine& line) {
    return "the line is not a property: " + Excerpt(line.text);
}

std::optional<OpenComponent> BeginningOf(const ContentLine& line) {
    if (!line.hasValue || !line.Is("BEGIN")) return std::nullopt;
    return OpenComponent{std::string(TrimBlanks(line.value)), line.number};
}

bool IsEndOf(const ContentLine& line, const OpenComponent& open) {
    if (!line.hasValue || !line.Is("END")) return false;
    if (open.Is(TrimBlanks(line.value))) return true;
    throw ReadFailure(line.number, "END:" + Excerpt(TrimBlanks(line.value)) + " where the " +
                                       Excerpt(open.name) + " of line " +
                                       std::to_string(open.line) + " is open");
}

ContentLine NextLineIn(ContentLines& lines, const OpenComponent& open) {
    const auto line = lines.Next();
    if (!line) throw ReadFailure(open.line, "BEGIN:" + Excerpt(open.name) + " is never ended");
    return *line;
}

void ReadWhole(ContentLines& lines, OpenComponent open,
               const std::function<void(const ContentLine&)>& onLine) {
    std::vector<OpenComponent> stack;
    stack.push_back(std::move(open));
    while (!stack.empty()) {
        const ContentLine line = NextLineIn(lines, stack.back());
        if (IsEndOf(line, stack.back())) {
            stack.pop_back();
        } else if (auto child = BeginningOf(line)) {
            if (stack.size() == kDeepestNesting) {
                throw ReadFailure(line.number, "components are nested too deep");
            }
            stack.push_back(std::move(*child));
        }
        onLine(line);
    }
}

void SkipComponent(ContentLines& lines, OpenComponent open) {
    ReadWhole(lines, std::move(open), [](const ContentLine&) {});
}

}  // namespace tarnwick

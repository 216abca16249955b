#include "tools/admin/EntryLines.h"

#include "common/Scan.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Names.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

Failure BadLine(std::size_t number, const std::string& problem) {
    return Refusal("line " + std::to_string(number) + ": " + problem +
                   "; nothing was imported. A line is start<tab>end<tab>ID");
}

std::int32_t TimeOf(std::size_t number, std::string_view text) {
    if (const auto time = ParseTime(text)) return *time;
    throw BadLine(number, "\"" + std::string(text) + "\" is no time");
}

Entry ParseEntry(std::size_t number, std::string_view line) {
    const std::size_t first = FindByte(line, '\t');
    const std::size_t second = first == kNotFound ? kNotFound : FindByte(line, '\t', first + 1);
    if (second == kNotFound) throw BadLine(number, "there are fewer than two tabs");
    Entry entry;
    entry.start = TimeOf(number, line.substr(0, first));
    entry.end = TimeOf(number, line.substr(first + 1, second - first - 1));
    entry.id = line.substr(second + 1);
    const std::string problem = ProblemWithId(entry.id);
    if (!problem.empty()) throw BadLine(number, "the ID " + problem);
    return entry;
}

std::string TimeText(std::int32_t seconds, TimeStyle style) {
    return style == TimeStyle::Iso ? FormatTime(seconds) : std::to_string(seconds);
}

}  // namespace

std::string FormatEntryLine(const Entry& entry, TimeStyle style) {
    return TimeText(entry.start, style) + "\t" + TimeText(entry.end, style) + "\t" + entry.id +
           "\n";
}

std::vector<NumberedEntry> ParseEntryLines(std::string_view text) {
    std::vector<NumberedEntry> entries;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t lineEnd = FindByte(text, '\n');
        std::string_view line = text.substr(0, lineEnd);
        text.remove_prefix(lineEnd == kNotFound ? text.size() : lineEnd + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty() || line.starts_with('#')) continue;
        entries.push_back({number, ParseEntry(number, line)});
    }
    return entries;
}

}  // namespace tarnwick::admin

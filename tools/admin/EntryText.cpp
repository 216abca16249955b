#include "tools/admin/EntryText.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "common/Scan.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Names.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

constexpr std::string_view kCalendarHeading = "CALENDAR";

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

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
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

std::string EntryTable(const std::vector<PlacedEntry>& entries) {
    if (entries.empty()) return {};
    std::size_t width = kCalendarHeading.size();
    for (const PlacedEntry& placed : entries) width = std::max(width, placed.calendar.size());
    const std::size_t timeWidth = FormatTime(0).size() + 2;
    std::string table = Padded(std::string(kCalendarHeading), width + 2) +
                        Padded("START", timeWidth) + Padded("END", timeWidth) + "ID\n";
    for (const auto& [calendar, entry] : entries) {
        table += Padded(calendar, width + 2) + Padded(FormatTime(entry.start), timeWidth) +
                 Padded(FormatTime(entry.end), timeWidth) + entry.id + "\n";
    }
    return table;
}

nlohmann::ordered_json EntryJson(const PlacedEntry& placed) {
    return {{"calendar", placed.calendar},
            {"id", placed.entry.id},
            {"start", placed.entry.start},
            {"end", placed.entry.end},
            {"startTime", FormatTime(placed.entry.start)},
            {"endTime", FormatTime(placed.entry.end)}};
}

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace tarnwick::admin

#include "tools/admin/EntryListing.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kCalendarHeading = "CALENDAR";

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

std::string Dump(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json ToJson(const PlacedEntry& placed) {
    return {{"calendar", placed.calendar},
            {"id", placed.entry.id},
            {"start", placed.entry.start},
            {"end", placed.entry.end},
            {"startTime", FormatTime(placed.entry.start)},
            {"endTime", FormatTime(placed.entry.end)}};
}

}  // namespace

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

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string EntryJson(const PlacedEntry& entry) {
    return Dump(ToJson(entry));
}

std::string EntryListJson(const std::vector<PlacedEntry>& entries) {
    Json list = Json::array();
    for (const PlacedEntry& entry : entries) list.push_back(ToJson(entry));
    return Dump(list);
}

std::string ChangeJson(const std::string& result, const PlacedEntry& entry) {
    Json json{{"result", result}};
    json.update(ToJson(entry));
    return Dump(json);
}

}  // namespace tarnwick::admin

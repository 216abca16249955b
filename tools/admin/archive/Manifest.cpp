#include "tools/admin/archive/Manifest.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "common/Text.h"
#include "tools/admin/Failure.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormatVersion = 1;
constexpr int kDeepest = 3;

bool EndsWith(std::string_view name, std::string_view end) {
    return name.size() > end.size() && EqualsIgnoreCase(name.substr(name.size() - end.size()), end);
}

template <std::size_t kCount>
bool HasAny(std::string_view name, const std::array<std::string_view, kCount>& parts,
            bool (*has)(std::string_view, std::string_view)) {
    return std::ranges::any_of(parts, [&](std::string_view part) { return has(name, part); });
}

// ".kept" and what number may follow.
bool IsKept(std::string_view name) {
    const std::size_t end = name.find_last_not_of("0123456789");
    return end != name.npos && EndsWith(name.substr(0, end + 1), ".kept");
}

Json FileJson(const SnapshotFile& file) {
    Json json{{"file", kCalendarFolder + file.name}, {"bytes", file.bytes}};
    if (file.lines) json["lines"] = *file.lines;
    return json;
}

SnapshotFile FileOf(const Json& json, bool isCalendar) {
    constexpr std::string_view kFolder = kCalendarFolder;
    SnapshotFile file{.name = json.at("file").get<std::string>(),
                      .bytes = json.at("bytes").get<std::uint64_t>()};
    if (!file.name.starts_with(kFolder)) {
        throw Refusal("the archive is refused: its manifest names \"" + OnOneLine(file.name) +
                      "\"");
    }
    file.name.erase(0, kFolder.size());
    if (isCalendar) file.lines = json.at("lines").get<std::uint64_t>();
    return file;
}

Manifest ManifestOf(const Json& json) {
    if (json.at("formatVersion").get<int>() != kFormatVersion) {
        throw Refusal("the snapshot is of a later version of this tool");
    }
    Manifest manifest{.mailbox = json.at("mailbox").get<std::string>(),
                      .taken = json.at("taken").get<std::string>(),
                      .files = {}};
    for (const Json& file : json.at("calendars")) manifest.files.push_back(FileOf(file, true));
    for (const Json& file : json.at("items")) manifest.files.push_back(FileOf(file, false));
    return manifest;
}

}  // namespace

std::string ManifestText(const Manifest& manifest) {
    Json json{{"formatVersion", kFormatVersion},
              {"mailbox", manifest.mailbox},
              {"taken", manifest.taken},
              {"calendars", Json::array()},
              {"items", Json::array()}};
    for (const SnapshotFile& file : manifest.files) {
        json[file.lines ? "calendars" : "items"].push_back(FileJson(file));
    }
    return json.dump(1) + "\n";
}

Manifest ParseManifest(std::string_view text) {
    const Failure noSnapshot = Refusal(std::string("the archive is no snapshot: its ") +
                                       kManifestName + " cannot be understood");
    // What is nested deeper is made to fill the memory.
    const auto isShallow = [&noSnapshot](int depth, Json::parse_event_t, const Json&) {
        return depth <= kDeepest ? true : throw noSnapshot;
    };
    try {
        return ManifestOf(Json::parse(text, isShallow));
    } catch (const Json::exception&) {
        throw noSnapshot;
    }
}

FileRole RoleOf(std::string_view name) {
    static constexpr std::array<std::string_view, 2> kSwapSigns{".TMP", ".BLK"};
    static constexpr std::array<std::string_view, 3> kFlags{".DTY", ".NFY", ".NEW"};
    static constexpr std::array<std::string_view, 3> kStoreFiles{"_index.", "_groups.",
                                                                 "_activity."};
    if (EndsWith(name, ".CAL")) return FileRole::Calendar;
    if (HasAny(name, kStoreFiles, StartsWithIgnoreCase)) return FileRole::Other;
    if (HasAny(name, kSwapSigns, EndsWith)) return FileRole::SwapSign;
    const bool isOther = EndsWith(name, ".BAK") || EndsWith(name, ".OLD") ||
                         EndsWith(name, kUnfinished) || IsKept(name) ||
                         (name.starts_with('_') && HasAny(name, kFlags, EndsWith));
    return isOther ? FileRole::Other : FileRole::Item;
}

}  // namespace tarnwick::admin

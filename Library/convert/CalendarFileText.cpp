#include "Library/convert/CalendarFileText.h"

#include <algorithm>

#include "common/Scan.h"
#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/ContentLines.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

constexpr std::string_view kExportProducer = "-//Tarnwick//Calendar Export//EN";

bool ContinuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// Appends a line, folded after at most 75 bytes and not within a UTF-8 character.
void AppendFolded(std::string& text, std::string_view line) {
    constexpr std::size_t kLongestLine = 75;
    constexpr std::size_t kLongestCharacter = 4;
    std::size_t limit = kLongestLine;
    while (line.size() > limit) {
        std::size_t length = limit;
        while (length + kLongestCharacter > limit && ContinuesCharacter(line[length])) --length;
        text.append(line.substr(0, length)).append("\r\n ");
        line.remove_prefix(length);
        limit = kLongestLine - 1;
    }
    text.append(line).append("\r\n");
}

// Takes the next line off, without its end.
std::string_view TakeLine(std::string_view& lines) {
    const std::size_t end = FindByte(lines, '\n');
    const std::string_view line = lines.substr(0, end);
    lines.remove_prefix(end == kNotFound ? lines.size() : end + 1);
    return line;
}

bool IsNamed(std::string_view line, std::string_view name) {
    return StartsWithIgnoreCase(line, name) && line.size() > name.size() &&
           (line[name.size()] == ':' || line[name.size()] == ';');
}

// Walks over the properties of a component itself, those of components within it left out.
class OwnProperties {
  public:
    // Whether the line is one of them.
    bool Holds(std::string_view line) {
        if (IsNamed(line, "BEGIN")) return ++depth_, false;
        if (IsNamed(line, "END")) return --depth_, false;
        return depth_ == 1;
    }

  private:
    int depth_ = 0;
};

// Where the value of a parameter lies in a line, its quotes included; npos when it has none.
std::pair<std::size_t, std::size_t> PlaceOfParameter(std::string_view line, std::string_view name) {
    bool quoted = false;
    for (std::size_t at = 0; at < line.size() && (quoted || line[at] != ':'); ++at) {
        if (line[at] == '"') quoted = !quoted;
        if (quoted || line[at] != ';' || !StartsWithIgnoreCase(line.substr(at + 1), name)) continue;
        const std::size_t equals = at + 1 + name.size();
        if (equals >= line.size() || line[equals] != '=') continue;
        std::size_t end = equals + 1;
        for (bool inside = false; end < line.size(); ++end) {
            if (line[end] == '"') inside = !inside;
            if (!inside && (line[end] == ';' || line[end] == ':')) break;
        }
        return {equals + 1, end - equals - 1};
    }
    return {std::string_view::npos, 0};
}

std::string RenameZone(std::string_view lines, std::string_view name, std::string_view newName) {
    std::string renamed;
    while (!lines.empty()) {
        std::string line(TakeLine(lines));
        const auto [at, length] = PlaceOfParameter(line, "TZID");
        if (at != std::string::npos) {
            std::string_view value = std::string_view(line).substr(at, length);
            if (value.size() > 1 && value.starts_with('"') && value.ends_with('"')) {
                value = value.substr(1, value.size() - 2);
            }
            // Lines may have blanks around the name, and escape it.
            if (Unescape(TrimBlanks(value), Escapes::Modern) == name) {
                line.replace(at, length, '"' + std::string(newName) + '"');
            }
        }
        renamed.append(line).append("\n");
    }
    return renamed;
}

}  // namespace

std::string ReplaceLines(std::string_view lines, std::initializer_list<std::string_view> names,
                         std::string_view instead) {
    std::string replaced(TakeLine(lines));
    replaced.append("\n").append(instead);
    OwnProperties own;
    own.Holds("BEGIN:");
    while (!lines.empty()) {
        const std::string_view line = TakeLine(lines);
        const bool isNamed = std::any_of(names.begin(), names.end(),
                                         [line](auto name) { return IsNamed(line, name); });
        if (!own.Holds(line) || !isNamed) replaced.append(line).append("\n");
    }
    return replaced;
}

bool HasLine(std::string_view lines, std::string_view name) {
    OwnProperties own;
    while (!lines.empty()) {
        const std::string_view line = TakeLine(lines);
        if (own.Holds(line) && IsNamed(line, name)) return true;
    }
    return false;
}

std::string CompleteLines(std::string_view lines, std::string_view uid, std::uint64_t now) {
    std::string missing;
    if (!HasLine(lines, "UID")) missing = "UID:" + EscapeText(uid) + "\n";
    if (!HasLine(lines, "DTSTAMP")) missing += "DTSTAMP:" + DateText(now) + "Z\n";
    return ReplaceLines(lines, {}, missing);
}

// The name under which the file has the zone.
std::string CalendarFile::NameOf(const Zone& zone) {
    int number = 1;
    for (const WrittenZone& written : written_) {
        if (written.definition == zone.lines) return written.name;
        if (written.name == zone.name || written.name.starts_with(zone.name + " #")) ++number;
    }
    WrittenZone written{zone.name, zone.lines};
    std::string lines = zone.lines;
    if (number > 1) {
        written.name += " #" + std::to_string(number);
        lines = ReplaceLines(lines, {"TZID"}, "TZID:" + EscapeText(written.name) + "\n");
    }
    zones_.push_back(std::move(lines));
    written_.push_back(std::move(written));
    return written_.back().name;
}

void CalendarFile::Add(std::string_view lines, std::span<const std::shared_ptr<const Zone>> zones) {
    std::string renamed;
    for (const auto& zone : zones) {
        const std::string name = NameOf(*zone);
        if (name != zone->name) lines = renamed = RenameZone(lines, zone->name, name);
    }
    components_ += lines;
}

std::string CalendarFile::Text() const {
    std::string text;
    const auto append = [&text](std::string_view lines) {
        while (!lines.empty()) AppendFolded(text, TakeLine(lines));
    };
    append("BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:" + producer_ + "\n");
    append(head_);
    for (const std::string& zone : zones_) append(zone);
    append(components_);
    append("END:VCALENDAR\n");
    return text;
}

std::string CalendarFileText(std::span<const CalendarItem> items, std::uint64_t now) {
    CalendarFile file(kExportProducer);
    for (std::size_t number = 0; number < items.size(); ++number) {
        const CalendarItem& item = items[number];
        const std::string uid = item.uid.empty() ? "item-" + std::to_string(number + 1) : item.uid;
        file.Add(CompleteLines(item.lines, uid, now), item.zones);
    }
    return file.Text();
}

}  // namespace tarnwick

// What was read, as text, so that tests compare whole readings at a glance:
//
//   event at 2                           each item, with the line of its BEGIN
//     | UID:tea                          its lines between BEGIN and END
//     SUBJECT='Tea' IsRecurring=0        its properties, names without prefix; file times as dates
//     > 20240305T060708/20240305T070000/0 0     what takes place, behind the last of one UID
//   4 [tea]: what was noted of that line
//   *4: what the properties do not hold
//
// Occurrences are start, end and which of the items gives it; then the number of those beyond the
// window, "endless" and "cut". The window is that of an item's line X-WINDOW:from/until, or the 30
// days from the start.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <variant>
#include <vector>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/CalendarReader.h"
#include "Library/convert/ContactReader.h"
#include "Library/convert/TextEncoding.h"

namespace tarnwick::testing {

// A text on one line: "\n" is CR LF.
inline std::string Shown(const std::string& text) {
    const bool isUtf8 = IsUtf8(text);
    std::string shown;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02X", byte);
        if (text.compare(at, 2, "\r\n") == 0) {
            shown += "\\n";
            ++at;
        } else if (byte < ' ' || byte == 0x7F || (byte > 0x7F && !isUtf8)) {
            shown += escape;
        } else {
            shown.append(byte == '\\' || byte == '\'' ? "\\" : "").append(1, text[at]);
        }
    }
    return shown;
}

inline std::string TextOf(std::int64_t seconds) {
    const auto fileTime = FileTimeOfUnixSeconds(seconds);
    return fileTime ? DateText(*fileTime) : std::to_string(seconds);
}

inline std::string Describe(const ItemPropertyContainer& item) {
    struct {
        std::string operator()(const std::string& text) const { return "'" + Shown(text) + "'"; }
        std::string operator()(std::int32_t number) const { return std::to_string(number); }
        std::string operator()(double number) const { return std::to_string(number); }
        std::string operator()(std::uint64_t time) const { return DateText(time); }
    } toText;
    std::string description;
    for (const auto& property : item) {
        description += description.empty() ? "  " : " ";
        std::string_view name = property.name;
        for (const std::string_view prefix : {"PR_BNP_", "TW_ITEM_", "PR_"}) {
            if (!name.starts_with(prefix)) continue;
            name.remove_prefix(prefix.size());
            break;
        }
        description.append(name).append("=") += std::visit(toText, property.value);
    }
    return description.empty() ? description : description + "\n";
}

// The occurrences of the items of one UID that end with `last`.
inline std::string DescribeOccurrences(const std::vector<CalendarItem>& items, std::size_t last) {
    std::size_t first = last;
    while (first > 0 && !items[last].uid.empty() && items[first - 1].uid == items[last].uid) {
        --first;
    }
    std::vector<const Schedule*> schedules;
    for (std::size_t at = first; at <= last; ++at) schedules.push_back(&items[at].schedule);
    if (!schedules[0]->start) return "";
    OccurrenceWindow window{{}, schedules[0]->start->ToUtc() + 30 * kSecondsPerDay};
    const std::string& lines = items[first].lines;
    if (const std::size_t at = lines.find("\nX-WINDOW:"); at != lines.npos) {
        const std::string_view text(lines.data() + at + 10, lines.find('\n', at + 1) - at - 10);
        const std::size_t slash = text.find('/');
        if (const auto from = ParseDateValue(text.substr(0, slash))) window.from = from->seconds;
        window.until = ParseDateValue(text.substr(slash + 1)).value().seconds;
    }
    const Occurrences found = OccurrencesOf(schedules, window);
    std::string description = "  > ";
    for (const Occurrence& one : found.within) {
        description +=
            TextOf(one.start) + "/" + TextOf(one.end) + "/" + std::to_string(one.schedule) + " ";
    }
    return description + std::to_string(found.beyond) + (found.isEndless ? " endless" : "") +
           (found.isCut ? " cut" : "") + "\n";
}

inline std::string Describe(const CalendarItem& item) {
    std::string description = item.kind == ItemKind::Event ? "event" : "task";
    description += " at " + std::to_string(item.line) + "\n";
    const std::size_t end = item.lines.rfind("END:");
    for (std::size_t at = item.lines.find('\n') + 1; at < end;) {
        const std::size_t next = item.lines.find('\n', at) + 1;
        description += "  | " + item.lines.substr(at, next - at);
        at = next;
    }
    return description + Describe(item.properties);
}

inline std::string Describe(const std::vector<ReadProblem>& problems, const char* mark = "") {
    std::string description;
    for (const ReadProblem& problem : problems) {
        description += mark + std::to_string(problem.line) +
                       (problem.uid.empty() ? "" : " [" + Shown(problem.uid) + "]") + ": " +
                       problem.reason + "\n";
    }
    return description;
}

inline std::string Describe(const CalendarReading& reading) {
    if (reading.failure) return Describe(std::vector{*reading.failure}, "failure ");
    std::string description;
    for (std::size_t at = 0; at < reading.items.size(); ++at) {
        const CalendarItem& item = reading.items[at];
        description += Describe(item);
        const bool isLast = at + 1 == reading.items.size() || item.uid.empty() ||
                            reading.items[at + 1].uid != item.uid;
        if (isLast) description += DescribeOccurrences(reading.items, at);
    }
    description += Describe(reading.notes) + Describe(reading.unheld, "*");
    const std::size_t leftOut = reading.leftOut;
    return description + (leftOut != 0 ? std::to_string(leftOut) + " left out\n" : "");
}

inline std::string Describe(const ContactReading& reading) {
    if (reading.failure) return Describe(std::vector{*reading.failure}, "failure ");
    std::string description;
    for (const auto& contact : reading.contacts) description += "contact\n" + Describe(contact);
    return description + Describe(reading.notes);
}

}  // namespace tarnwick::testing

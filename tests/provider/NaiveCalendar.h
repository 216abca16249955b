// A calendar's lines in the plainest way: the whole text decoded, cut as the C runtime cuts it, and
// each field taken into a buffer that keeps what it held.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "common/Text.h"
#include "common/TextFile.h"
#include "provider/CalendarReader.h"

namespace tarnwick::testing {

// start, end, ID, blank
using NaiveLine = std::tuple<std::string, std::string, std::string, bool>;

// The texts of the lines; under Windows a test holds them against the C runtime's.
inline std::vector<std::string> NaiveTexts(std::string bytes) {
    std::vector<std::string> texts;
    DecodeTextMode(bytes);
    LineReader pieces(bytes, 1024);
    while (const auto piece = pieces.NextPiece()) texts.emplace_back(LineText(*piece));
    return texts;
}

inline std::vector<NaiveLine> NaiveLines(const std::string& bytes) {
    char number[1024] = "";
    char id[1024] = "";
    std::vector<NaiveLine> lines;
    for (const std::string& text : NaiveTexts(bytes)) {
        GetDelimitedField(text, "\t", 1, number);
        const std::string start = number;
        GetDelimitedField(text, "\t", 2, number);
        if (std::count(text.begin(), text.end(), '\t') >= 2) {
            StoreField(id, std::string_view(text).substr(text.find('\t', text.find('\t') + 1) + 1));
        } else {
            GetDelimitedField(text, "\t", 3, id);
        }
        lines.emplace_back(start, number, id, text.empty());
    }
    return lines;
}

// What the reader makes of the same bytes, behind `skipped` lines.
inline std::vector<NaiveLine> ReadLines(std::string_view bytes, std::int32_t skipped = 0) {
    std::vector<NaiveLine> lines;
    CalendarReader reader(bytes);
    if (reader.Skip(skipped) < skipped) return lines;
    while (reader.Next()) {
        const CalendarLine& line = reader.Line();
        lines.emplace_back(line.start, line.end, line.id, line.text.empty());
    }
    return lines;
}

inline std::vector<NaiveLine> ReadMatches(std::string_view bytes, std::string_view id) {
    std::vector<NaiveLine> lines;
    CalendarReader reader(bytes);
    while (reader.NextMatch(id)) {
        const CalendarLine& line = reader.Line();
        lines.emplace_back(line.start, line.end, line.id, false);
    }
    return lines;
}

inline std::vector<NaiveLine> MatchesAmong(std::vector<NaiveLine> lines, std::string_view id) {
    std::erase_if(lines, [&](const NaiveLine& line) {
        return std::get<3>(line) || (!id.empty() && !EqualsIgnoreCase(id, std::get<2>(line)));
    });
    return lines;
}

// What a change that means no line leaves of the lines.
inline std::string WrittenAnew(const std::vector<NaiveLine>& lines) {
    std::string bytes;
    for (const auto& [start, end, id, isBlank] : lines) {
        if (isBlank) continue;
        if (!bytes.empty()) bytes += "\r\n";
        bytes += std::to_string(ParseInt32(start)) + "\t" + std::to_string(ParseInt32(end)) + "\t";
        bytes += id;
    }
    return bytes;
}

// Lines as they are found and worse, some around the length at which they fall into pieces.
template <typename Random>
std::string LongText(Random& random) {
    constexpr const char* kFields[] = {"7",  "1999999999",  "1312365600", "-3", "007", "2147483647",
                                       "+5", "99999999999", "x1",         "",   "0",   "12:45678"};
    const auto field = [&] { return kFields[random() % (random() % 4 == 0 ? 12 : 3)]; };
    const unsigned oddity = random() % 2 == 0 ? 8 : 500;
    std::string bytes;
    while (bytes.size() < 10000) {
        std::string line = random() % 40 == 0 ? "" : field();
        const unsigned tabs = random() % 4 == 0 ? random() % 4 : 2;
        for (unsigned tab = 0; tab < tabs; ++tab) line += std::string("\t") + field();
        const std::size_t wanted = random() % oddity == 0 ? 1019 + random() % 9 : random() % 60;
        if (random() % 2 == 0 && line.size() < wanted) line.resize(wanted, "yY"[random() % 2]);
        if (!line.empty() && random() % 40 == 0)
            line[random() % line.size()] = "\0\x02\x1b"[random() % 3];
        bytes += line;
        if (random() % 50 == 0) bytes += '\r';
        bytes += random() % 4 == 0 ? "\n" : "\r\n";
    }
    if (random() % 8 == 0) bytes[random() % bytes.size()] = '\x1a';
    bytes.resize(bytes.size() - random() % 3);
    return bytes;
}

}  // namespace tarnwick::testing

// A calendar's lines in the plainest way: the text decoded and cut as the C runtime does it, and
// each field taken into a buffer that keeps what it held.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "provider/CalendarText.h"

namespace tarnwick::testing {

struct NaiveLine {
    std::int32_t start;
    std::int32_t end;
    std::string id;
    bool isBlank;
    bool operator==(const NaiveLine&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const NaiveLine& line) {
    return out << line.start << "|" << line.end << "|" << line.id << (line.isBlank ? "|blank" : "");
}

// Takes lines one after the other; what one lacks is left from before.
class NaiveParser {
  public:
    NaiveLine Take(const std::string& text) {
        const std::size_t first = text.find('\t');
        number_ = text.substr(0, first);
        const std::int32_t start = Number();
        if (first != std::string::npos) {
            const std::size_t second = text.find('\t', first + 1);
            number_ = text.substr(first + 1, second - first - 1);
            id_ = text.substr((second == std::string::npos ? first : second) + 1);
        }
        return {start, Number(), id_, text.empty()};
    }

  private:
    std::int32_t Number() const {
        const long long number = std::strtoll(number_.c_str(), nullptr, 10);
        return static_cast<std::int32_t>(std::clamp<long long>(number, INT32_MIN, INT32_MAX));
    }

    std::string number_;
    std::string id_;
};

inline std::vector<NaiveLine> NaiveLines(const std::string& bytes) {
    constexpr std::size_t kLongestPiece = 1023;
    std::string text;
    for (std::size_t at = 0; at < bytes.size() && bytes[at] != '\x1a'; ++at) {
        if (bytes.compare(at, 2, "\r\n") != 0) text += bytes[at];
    }
    NaiveParser parser;
    std::vector<NaiveLine> lines;
    while (!text.empty()) {
        std::string piece = text.substr(0, std::min(text.find('\n'), kLongestPiece - 1) + 1);
        text.erase(0, piece.size());
        piece.erase(std::min(piece.find('\0'), piece.size()));
        if (piece.ends_with('\n')) piece.pop_back();
        lines.push_back(parser.Take(piece));
    }
    return lines;
}

// Ignoring the case of ASCII letters; an empty one means any.
inline bool NaiveMatch(const std::string& wanted, const std::string& id) {
    const auto equal = [](char left, char right) {
        return left == right ||
               ((left ^ right) == 0x20 && (left | 0x20) >= 'a' && (left | 0x20) <= 'z');
    };
    return wanted.empty() || std::equal(wanted.begin(), wanted.end(), id.begin(), id.end(), equal);
}

inline NaiveLine AsNaive(const CalendarLine& line) {
    const CalendarEntry entry = EntryIn(line);
    return {entry.start, entry.end, std::string(entry.id), line.text.empty()};
}

// How what the reader finds in the bytes differs: all lines, those with `id`, those behind
// `skipped`, and what a change that means no line leaves of them. Nothing when nothing does.
inline std::string ReaderDifference(const std::string& bytes, const std::string& id,
                                    std::size_t skipped) {
    const std::vector<NaiveLine> lines = NaiveLines(bytes);
    std::string copy;
    CalendarReader all(bytes);
    CalendarReader matching(bytes);
    for (const NaiveLine& line : lines) {
        if (!all.Next() || AsNaive(all.Line()) != line) return "a line";
        if (line.isBlank) continue;
        if (NaiveMatch(id, line.id) &&
            (!matching.NextMatch(id) || AsNaive(matching.Line()) != line))
            return "a match of " + id;
        copy += (copy.empty() ? "" : "\r\n") + std::to_string(line.start) + "\t" +
                std::to_string(line.end) + "\t" + line.id;
    }
    if (all.Next() || matching.NextMatch(id)) return "the end";
    const ChangedCalendar changed = ChangeCalendar(bytes, {"no entry's", MatchAction::Drop, {}});
    if (!changed.matched && changed.bytes != copy) return "the copy " + changed.bytes;

    CalendarReader rest(bytes);
    const auto wanted = static_cast<std::int32_t>(skipped);
    const std::size_t passed = std::min(skipped, lines.size());
    if (rest.Skip(wanted) != static_cast<std::int32_t>(passed)) return "the count of lines passed";
    // A line that was passed over lends its ID to nobody; a start is each line's own.
    for (std::size_t at = passed; at < lines.size(); ++at) {
        if (!rest.Next() || EntryIn(rest.Line()).start != lines[at].start) return "a line behind";
        if (at == passed && rest.Line().text.find('\t') == std::string::npos &&
            !rest.Line().id.empty())
            return "an ID of a line that was passed over";
    }
    return rest.Next() ? "a line too many" : "";
}

// Lines as they are found and worse, some around the length at which they fall into pieces.
inline std::string LongText(std::mt19937& random) {
    constexpr const char* kFields[] = {"7",           "1999999999", "1312365600", "-3", "007",
                                       "99999999999", "x1",         "",           "0",  "12:45678"};
    const auto field = [&] { return kFields[random() % (random() % 4 == 0 ? 10 : 3)]; };
    const unsigned oddity = random() % 2 == 0 ? 8 : 500;
    std::string bytes;
    while (bytes.size() < 10000) {
        std::string line = random() % 40 == 0 ? "" : field();
        for (unsigned tabs = random() % 4 == 0 ? random() % 4 : 2; tabs > 0; --tabs) {
            line += std::string("\t") + field();
        }
        const std::size_t wanted = random() % oddity == 0 ? 1019 + random() % 9 : random() % 60;
        if (random() % 2 == 0 && line.size() < wanted) line.resize(wanted, "yY"[random() % 2]);
        const bool isOdd = !line.empty() && random() % 40 == 0;
        if (isOdd) line[random() % line.size()] = "\0\x02\x1b\r"[random() % 4];
        bytes += line + (random() % 4 == 0 ? "\n" : "\r\n");
    }
    if (random() % 8 == 0) bytes[random() % bytes.size()] = '\x1a';
    bytes.resize(bytes.size() - random() % 3);
    return bytes;
}

}  // namespace tarnwick::testing

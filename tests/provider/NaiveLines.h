// A calendar's lines in the plainest way: the text decoded and cut as the C runtime does it, and
// each field taken into a buffer that keeps what it held.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "provider/CalendarText.h"

namespace tarnwick::testing {

// The lines that `fgets` gives for a file in text mode, without their breaks.
inline std::vector<std::string> NaivePieces(const std::string& bytes) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size() && bytes[at] != '\x1a'; ++at) {
        if (bytes.compare(at, 2, "\r\n") != 0) text += bytes[at];
    }
    std::vector<std::string> pieces;
    while (!text.empty()) {
        pieces.push_back(text.substr(0, std::min<std::size_t>(text.find('\n'), 1022) + 1));
        text.erase(0, pieces.back().size());
        if (pieces.back().ends_with('\n')) pieces.back().pop_back();
        pieces.back() = pieces.back().c_str();
    }
    return pieces;
}

struct NaiveLine {
    std::int32_t start, end;
    std::string id;
    bool isBlank;
    bool operator==(const NaiveLine&) const = default;
};

// The lines behind the first `passed`, which lend their fields to nobody.
inline std::vector<NaiveLine> NaiveLines(const std::string& bytes, std::size_t passed = 0) {
    std::vector<std::string> pieces = NaivePieces(bytes);
    pieces.erase(pieces.begin(),
                 pieces.begin() + static_cast<std::ptrdiff_t>(std::min(passed, pieces.size())));
    std::vector<NaiveLine> lines;
    std::string number, id;
    const auto value = [&] {
        const long long parsed = std::strtoll(number.c_str(), nullptr, 10);
        return static_cast<std::int32_t>(std::clamp<long long>(parsed, INT32_MIN, INT32_MAX));
    };
    for (const std::string& text : pieces) {
        const std::size_t first = text.find('\t');
        number = text.substr(0, first);
        const std::int32_t start = value();
        if (first != std::string::npos) {
            const std::size_t second = text.find('\t', first + 1);
            number = text.substr(first + 1, second - first - 1);
            id = text.substr((second == std::string::npos ? first : second) + 1);
        }
        lines.push_back({start, value(), id, text.empty()});
    }
    return lines;
}

// Ignoring the case of ASCII letters; an empty one means any.
inline bool NaiveMatch(const std::string& wanted, const std::string& id) {
    const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return wanted.empty() || std::equal(wanted.begin(), wanted.end(), id.begin(), id.end(),
                                        [&](char a, char b) { return small(a) == small(b); });
}

// As text mode writes it behind what stands there.
inline std::string NaiveText(const std::string& before, const NaiveLine& line) {
    std::string text = (before.empty() ? "" : "\n") + std::to_string(line.start) + "\t" +
                       std::to_string(line.end) + "\t" + line.id;
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
        text.insert(at, "\r");
    }
    return before + text;
}

// How what the reader finds in the bytes differs: all lines, those with `id`, those behind
// `skipped`, and what a change that means no line leaves of them. Nothing when nothing does.
inline std::string ReaderDifference(const std::string& bytes, const std::string& id,
                                    std::size_t skipped) {
    const auto naive = [](const CalendarLine& line) -> NaiveLine {
        const CalendarEntry entry = EntryIn(line);
        return {entry.start, entry.end, std::string(entry.id), line.text.empty()};
    };
    std::string copy;
    CalendarReader all(bytes), matching(bytes), rest(bytes);
    for (const NaiveLine& line : NaiveLines(bytes)) {
        if (!all.Next() || naive(all.Line()) != line) return "a line";
        if (line.isBlank) continue;
        if (NaiveMatch(id, line.id) && (!matching.NextMatch(id) || naive(matching.Line()) != line))
            return "a match of " + id;
        copy = NaiveText(copy, line);
    }
    if (all.Next() || matching.NextMatch(id)) return "the end";
    const ChangedCalendar changed = ChangeCalendar(bytes, {"no entry's", MatchAction::Drop, {}});
    if (!changed.matched && changed.bytes != copy) return "the copy " + changed.bytes;
    const std::size_t passed = std::min(skipped, NaivePieces(bytes).size());
    if (static_cast<std::size_t>(rest.Skip(static_cast<std::int32_t>(skipped))) != passed)
        return "the count of lines passed";
    for (const NaiveLine& line : NaiveLines(bytes, skipped)) {
        if (!rest.Next() || naive(rest.Line()) != line) return "a line behind those passed";
    }
    return rest.Next() ? "a line too many" : "";
}

}  // namespace tarnwick::testing

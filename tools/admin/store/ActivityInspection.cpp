#include "tools/admin/store/ActivityInspection.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

#include "common/Scan.h"
#include "common/Text.h"
#include "Library/activity/ActivityFile.h"

namespace tarnwick::admin {
namespace {

constexpr char kEndOfText = '\x1A';

struct Line {
    std::string_view text;
    std::uint64_t number;
};

std::vector<Line> LinesOf(std::string_view text) {
    std::vector<Line> lines;
    std::uint64_t number = 0;
    while (!text.empty()) {
        const std::size_t end = FindByte(text, '\n');
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) line.remove_suffix(1);
        lines.push_back({line, ++number});
        text.remove_prefix(end == kNotFound ? text.size() : end + 1);
    }
    return lines;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
    return lower;
}

// The latest run of each server process: it drops the connections of the earlier ones.
class Runs {
  public:
    void Take(std::string_view line) {
        const ActivityEntry entry(line);
        Run& latest = runs_[KeyOf(entry)];
        const std::int64_t time = TimeOf(line);
        if (entry.serverSession.empty() || time < latest.time) return;
        latest = {time, Lower(entry.serverSession)};
    }
    bool IsEarlier(std::string_view line) const {
        const ActivityEntry entry(line);
        const Run& latest = runs_.at(KeyOf(entry));
        return !latest.session.empty() && Lower(entry.serverSession) != latest.session &&
               TimeOf(line) < latest.time;
    }

  private:
    struct Run {
        std::int64_t time = 0;
        std::string session;
    };
    using Key = std::pair<std::string, std::string>;
    static Key KeyOf(const ActivityEntry& entry) {
        return {Lower(entry.server), Lower(entry.NotifyProtocol())};
    }
    static std::int64_t TimeOf(std::string_view line) {
        return ParseInt64(DelimitedField(line, "\t", 6).value_or(""));
    }

    std::map<Key, Run> runs_;
};

// What is wrong with a line for itself; Count when nothing is.
Problem ProblemOf(std::string_view line) {
    if (line.size() < kShortestActivityLine) return Problem::ActivityShort;
    if (line.size() > kActivityLineCapacity - 1) return Problem::ActivityTooLong;
    const auto tabs = static_cast<std::size_t>(std::count(line.begin(), line.end(), '\t'));
    return tabs + 1 < ActivityEntry::kFieldCount ? Problem::ActivityFields : Problem::Count;
}

}  // namespace

std::vector<LineProblem> InspectActivity(std::string_view bytes) {
    const std::size_t textEnd = FindByte(bytes, kEndOfText);
    const std::vector<Line> lines = LinesOf(bytes.substr(0, textEnd));
    Runs runs;
    for (const Line& line : lines) {
        if (ProblemOf(line.text) == Problem::Count) runs.Take(line.text);
    }
    std::vector<LineProblem> problems;
    for (const Line& line : lines) {
        const Problem problem = ProblemOf(line.text);
        const auto tabs = std::count(line.text.begin(), line.text.end(), '\t');
        if (problem != Problem::Count) {
            problems.push_back({problem, line.number, std::to_string(tabs + 1)});
        } else if (runs.IsEarlier(line.text)) {
            problems.push_back({Problem::ActivityStale, line.number,
                                std::string(line.text.substr(0, FindByte(line.text, '\t')))});
        }
    }
    if (textEnd != kNotFound && textEnd + 1 < bytes.size()) {
        problems.push_back({Problem::ActivityHidden, std::max<std::size_t>(lines.size(), 1)});
    }
    return problems;
}

std::string KeptActivity(std::string_view bytes) {
    std::string text(bytes);
    std::erase(text, kEndOfText);
    std::string kept;
    const std::vector<LineProblem> problems = InspectActivity(text);
    auto problem = problems.begin();
    for (const Line& line : LinesOf(text)) {
        if (problem != problems.end() && problem->line == line.number) {
            ++problem;
            continue;
        }
        if (!kept.empty()) kept += "\r\n";
        kept += line.text;
    }
    return kept;
}

}  // namespace tarnwick::admin

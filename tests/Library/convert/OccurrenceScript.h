// Events for tests, one line after the other: a letter, and what belongs to it with "|" between.
//
//   Z                         a zone begins, that of the times that follow
//   O start|from|to|rule      one of its observances
//   E                         a schedule begins
//   S D L R X A N I           DTSTART, DTEND, DURATION, RRULE, EXRULE, RDATE, EXDATE, RECURRENCE-ID
//   F                         RANGE=THISANDFUTURE
//   C                         STATUS:CANCELLED
//   W from|until              the occurrences in this window; then everything is forgotten
//   P start|count|last|rule   the first times of a pattern alone, up to a day
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/PatternOccurrences.h"
#include "Library/convert/RuleParts.h"
#include "Library/convert/Schedule.h"

namespace tarnwick::testing {

class OccurrenceScript {
  public:
    // The answer of W and P, nothing for other lines: times in UTC as "start/end/schedule" each,
    // the number of those beyond the window, "endless" and "cut"; of a pattern the times alone.
    std::string Take(const std::string& line) {
        std::string rest = line.size() > 2 ? line.substr(2) : "";
        switch (line[0]) {
            case 'Z':
                zone_ = std::make_shared<Zone>();
                break;
            case 'O':
                zone_->offsets.Add(ObservanceOf(rest));
                zone_->offsets.Sort();
                break;
            case 'E':
                schedules_.emplace_back();
                break;
            case 'W':
                return Occurring(rest);
            case 'P':
                return Pattern(rest);
            default:
                TakeProperty(line[0], rest, schedules_.back());
        }
        return "";
    }

    // As the line O has it.
    static Observance ObservanceOf(std::string line) {
        Observance observance;
        observance.start = ParseDateValue(Part(line)).value().seconds;
        observance.offsetFrom = ParseUtcOffset(Part(line));
        observance.offsetTo = ParseUtcOffset(Part(line));
        if (!line.empty()) {
            observance.rule = YearlyOnset::From(ParseRule(line).value(), *observance.start);
        }
        return observance;
    }

  private:
    static std::string Part(std::string& line, char delimiter = '|') {
        const std::size_t end = line.find(delimiter);
        std::string part = line.substr(0, end);
        line = end == line.npos ? "" : line.substr(end + 1);
        return part;
    }

    static std::string TextOf(std::int64_t seconds) {
        const auto fileTime = FileTimeOfUnixSeconds(seconds);
        return fileTime ? DateText(*fileTime) : std::to_string(seconds);
    }

    ZonedTime Time(const std::string& text) const {
        const DateValue date = ParseDateValue(text).value();
        return {date, date.isDate || date.isUtc ? nullptr : zone_};
    }

    void TakeProperty(char letter, std::string rest, Schedule& event) const {
        if (letter == 'S') event.start = Time(rest);
        if (letter == 'D') event.end = Time(rest);
        if (letter == 'L') event.length = ParseDuration(rest).value();
        if (letter == 'R') event.rules.push_back(rest);
        if (letter == 'X') event.exceptionRules.push_back(rest);
        if (letter == 'N') event.exceptions.push_back(Time(rest));
        if (letter == 'I') event.replaces = Time(rest);
        if (letter == 'F') event.replacesFollowing = true;
        if (letter == 'C') event.isCancelled = true;
        if (letter != 'A') return;
        AddedTime added{Time(Part(rest, '/')), {}, {}};
        if (rest.find('P') != rest.npos) {
            added.length = ParseDuration(rest).value();
        } else if (!rest.empty()) {
            added.end = Time(rest);
        }
        event.additions.push_back(added);
    }

    std::string Occurring(std::string rest) {
        OccurrenceWindow window;
        if (const auto from = ParseDateValue(Part(rest))) window.from = from->seconds;
        window.until = ParseDateValue(rest).value().seconds;
        std::vector<const Schedule*> pointers;
        for (const Schedule& schedule : schedules_) pointers.push_back(&schedule);
        const Occurrences found = OccurrencesOf(pointers, window);
        std::string answer;
        for (const Occurrence& one : found.within) {
            answer += TextOf(one.start) + "/" + TextOf(one.end) + "/" +
                      std::to_string(one.schedule) + " ";
        }
        *this = {};
        return answer + std::to_string(found.beyond) + (found.isEndless ? " endless" : "") +
               (found.isCut ? " cut" : "");
    }

    static std::string Pattern(std::string rest) {
        const DateValue start = ParseDateValue(Part(rest)).value();
        const int count = std::stoi(Part(rest));
        const DateValue last = ParseDateValue(Part(rest)).value();
        auto pattern = ParsePattern(rest);
        if (!pattern) return "refused";
        if (!pattern->until || pattern->until->seconds > last.seconds) pattern->until = last;
        PatternOccurrences times(*pattern, start);
        std::string answer;
        for (int left = count; left > 0; --left) {
            const auto time = times.Next();
            if (!time) break;
            answer += (answer.empty() ? "" : " ") + TextOf(*time);
        }
        return answer;
    }

    std::shared_ptr<Zone> zone_;
    std::vector<Schedule> schedules_;
};

}  // namespace tarnwick::testing

#include "Library/convert/ZoneTable.h"

#include "common/Scan.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

std::int64_t ObservanceDate(const ContentLine& line, std::string_view value) {
    const auto date = ParseDateValue(value);
    if (!date) throw ReadFailure(line.number, "not a date: " + Excerpt(value));
    return date->seconds;
}

std::int32_t Offset(const ContentLine& line) {
    const auto offset = ParseUtcOffset(line.value);
    if (!offset) throw ReadFailure(line.number, "not an offset: " + Excerpt(line.value));
    return *offset;
}

// What of an observance is told only at its end.
struct ObservanceRule {
    std::string text;
    std::size_t line = 0;
};

void TakeObservanceLine(const ContentLine& line, Observance& observance, ObservanceRule& rule) {
    const auto is = [&line](std::string_view name) { return EqualsIgnoreCase(line.name, name); };
    if (is("DTSTART")) {
        observance.start = ObservanceDate(line, line.value);
    } else if (is("TZOFFSETFROM")) {
        observance.offsetFrom = Offset(line);
    } else if (is("TZOFFSETTO")) {
        observance.offsetTo = Offset(line);
    } else if (is("RRULE")) {
        rule = {std::string(line.value), line.number};
    } else if (is("RDATE")) {
        std::string_view dates = line.value;
        while (const auto date = NextListItem(dates)) {
            // A period counts with its start.
            observance.dates.push_back(ObservanceDate(line, date->substr(0, FindByte(*date, '/'))));
        }
    }
}

}  // namespace

std::size_t ZoneTable::NumberOf(std::string_view name, std::size_t line) {
    // Most texts have one zone and name it in every line.
    if (lastNumber_ < zones_.size() && zones_[lastNumber_].name == name) return lastNumber_;
    const auto found = numbers_.find(name);
    if (found != numbers_.end()) return lastNumber_ = found->second;
    lastNumber_ = zones_.size();
    numbers_.emplace(name, lastNumber_);
    zones_.push_back({std::string(name), line, {}});
    return lastNumber_;
}

ZonedDate ZoneTable::ParseDate(const ContentLine& line) {
    const auto date = ParseDateValue(line.value);
    if (!date) throw ReadFailure(line.number, "not a date: " + Excerpt(line.value));
    ZonedDate zoned{*date, ZonedDate::kNoZone};
    if (!date->isUtc && !date->isDate && !line.parameters.empty()) {
        const std::string_view name = ParameterValue(line.parameters, "TZID");
        if (!name.empty()) zoned.zone = NumberOf(name, line.number);
    }
    return zoned;
}

void ZoneTable::ReadTimeZone(ContentLines& lines, const OpenComponent& open,
                             std::vector<ReadProblem>& notes) {
    std::string name;
    TimeZone zone;
    const auto onObservance = [&](const OpenComponent& child) {
        if (!child.Is("STANDARD") && !child.Is("DAYLIGHT")) return SkipComponent(lines, child);
        Observance observance;
        ObservanceRule rule;
        ReadComponent(
            lines, child, [&lines](const OpenComponent& inner) { SkipComponent(lines, inner); },
            [&](const ContentLine& line) { TakeObservanceLine(line, observance, rule); });
        if (!rule.text.empty() && observance.start) {
            const auto parts = ParseRule(rule.text);
            if (parts) observance.rule = YearlyOnset::From(*parts, *observance.start);
            if (!observance.rule) {
                notes.push_back({rule.line,
                                 "a rule of this kind is not known in a time zone; its "
                                 "first change alone counts"});
            }
        }
        if (!zone.Add(observance)) {
            notes.push_back({child.line, "this part of the time zone is left out"});
        }
    };
    ReadComponent(lines, open, onObservance, [&name](const ContentLine& line) {
        if (EqualsIgnoreCase(line.name, "TZID")) name = line.value;
    });
    if (name.empty()) throw ReadFailure(open.line, "a VTIMEZONE without TZID");
    zone.Sort();
    zones_[NumberOf(name, open.line)].zone = std::move(zone);
}

void ZoneTable::Finish(std::vector<ReadProblem>& notes) {
    for (const Zone& zone : zones_) {
        if (!zone.zone.IsEmpty()) continue;
        notes.push_back({zone.firstUse, "the time zone " + Excerpt(zone.name) +
                                            " is not in the text; its times are taken as UTC"});
    }
}

std::int64_t ZoneTable::ToUtc(const ZonedDate& date) const {
    if (date.zone == ZonedDate::kNoZone) return date.date.seconds;
    return zones_[date.zone].zone.ToUtc(date.date.seconds);
}

}  // namespace tarnwick

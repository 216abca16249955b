#include "Library/convert/ZoneTable.h"

#include <cstdlib>

#include "common/Scan.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

// The same name can stand escaped in the definition and quoted in the lines.
std::string ZoneName(std::string_view value) {
    return Unescape(TrimBlanks(value), Escapes::Modern);
}

// One STANDARD or DAYLIGHT while it is read.
class ObservanceReader {
  public:
    ObservanceReader(LineWriter& writer, Remarks& remarks) : writer_(writer), remarks_(remarks) {}

    void Take(const ContentLine& line);
    // The observance with its rule, and its lines.
    const Observance& Finish();
    const std::string& Lines() const { return lines_; }

  private:
    bool TakeDate(const ContentLine& line);
    bool TakeOffset(const ContentLine& line, std::optional<std::int32_t>& offset);
    bool TakeDates(const ContentLine& line);
    bool TakeValue(const ContentLine& line);

    LineWriter& writer_;
    Remarks& remarks_;
    Observance observance_;
    std::string rule_;
    std::size_t ruleLine_ = 0;
    std::string lines_;
};

bool ObservanceReader::TakeDate(const ContentLine& line) {
    const auto date = ParseDateValue(TrimBlanks(line.value));
    if (date) observance_.start = date->seconds;
    return date.has_value();
}

bool ObservanceReader::TakeOffset(const ContentLine& line, std::optional<std::int32_t>& offset) {
    const auto read = ParseUtcOffset(TrimBlanks(line.value));
    if (read) offset = read;
    return read.has_value();
}

bool ObservanceReader::TakeDates(const ContentLine& line) {
    std::vector<std::int64_t> read;
    std::string_view dates = line.value;
    while (const auto item = NextListItem(dates)) {
        // A period counts with its start.
        const auto date = ParseDateValue(TrimBlanks(item->substr(0, FindByte(*item, '/'))));
        if (!date) return false;
        read.push_back(date->seconds);
    }
    observance_.dates.insert(observance_.dates.end(), read.begin(), read.end());
    return true;
}

bool ObservanceReader::TakeValue(const ContentLine& line) {
    if (line.Is("DTSTART")) return TakeDate(line);
    if (line.Is("TZOFFSETFROM")) return TakeOffset(line, observance_.offsetFrom);
    if (line.Is("TZOFFSETTO")) return TakeOffset(line, observance_.offsetTo);
    if (line.Is("RDATE")) return TakeDates(line);
    return true;
}

void ObservanceReader::Take(const ContentLine& line) {
    if (!line.IsProperty()) return remarks_.Note(line.number, NotAProperty(line));
    if (line.Is("RRULE")) {
        if (!rule_.empty()) {
            return remarks_.Note(line.number, "a second rule of a time zone is left out");
        }
        // Whether it is one that is known tells the start, which may follow.
        rule_ = line.value;
        ruleLine_ = line.number;
    } else if (TakeValue(line)) {
        writer_.Append(lines_, line);
    } else {
        remarks_.Note(line.number, std::string(line.name) +
                                       " is left out; it cannot be read: " + Excerpt(line.value));
    }
}

const Observance& ObservanceReader::Finish() {
    if (rule_.empty() || !observance_.start) return observance_;
    const auto parts = ParseRule(rule_);
    if (parts) observance_.rule = YearlyOnset::From(*parts, *observance_.start);
    if (observance_.rule) {
        lines_ += "RRULE:" + rule_ + "\n";
    } else {
        remarks_.Note(ruleLine_,
                      "a rule of this kind is not known in a time zone; its first change alone "
                      "counts: " +
                          Excerpt(rule_));
    }
    return observance_;
}

std::string OffsetText(std::int32_t offset) {
    std::string text(1, offset < 0 ? '-' : '+');
    const auto append = [&text](std::int32_t number) {
        text += static_cast<char>('0' + number / 10);
        text += static_cast<char>('0' + number % 10);
    };
    const std::int32_t seconds = std::abs(offset);
    append(seconds / 3600);
    append(seconds / 60 % 60);
    if (seconds % 60 != 0) append(seconds % 60);
    return text;
}

}  // namespace

ZoneTable::Entry& ZoneTable::Named(std::string_view name, std::size_t line) {
    // Most texts have one zone and name it in every line.
    if (lastNumber_ < entries_.size() && entries_[lastNumber_].zone->name == name) {
        return entries_[lastNumber_];
    }
    const auto found = numbers_.find(name);
    if (found != numbers_.end()) return entries_[lastNumber_ = found->second];
    lastNumber_ = entries_.size();
    numbers_.emplace(name, lastNumber_);
    entries_.push_back({std::make_shared<Zone>(Zone{std::string(name), line, {}, {}})});
    return entries_.back();
}

std::shared_ptr<const Zone> ZoneTable::Of(const ContentLine& line) {
    const std::string_view value = ParameterValue(line.parameters, "TZID");
    if (value.empty()) return nullptr;
    const bool isPlain = FindByte(value, '\\') == kNotFound && TrimBlanks(value) == value;
    return isPlain ? Named(value, line.number).zone : Named(ZoneName(value), line.number).zone;
}

void ZoneTable::Keep(std::size_t item, std::vector<std::shared_ptr<const Zone>>& zones) {
    Entry& entry = entries_[lastNumber_];
    if (entry.lastItem != item) zones.push_back(entry.zone);
    entry.lastItem = item;
}

void ZoneTable::ReadTimeZone(ContentLines& lines, const OpenComponent& open, LineWriter& writer,
                             Remarks& remarks) {
    std::string name;
    TimeZone offsets;
    std::string text = "BEGIN:VTIMEZONE\n";
    const auto onObservance = [&](const OpenComponent& child) {
        if (!child.Is("STANDARD") && !child.Is("DAYLIGHT")) return SkipComponent(lines, child);
        ObservanceReader reader(writer, remarks);
        ReadComponent(
            lines, child, [&lines](const OpenComponent& inner) { SkipComponent(lines, inner); },
            [&reader](const ContentLine& line) { reader.Take(line); });
        if (offsets.Add(reader.Finish())) {
            text += "BEGIN:" + child.name + "\n" + reader.Lines() + "END:" + child.name + "\n";
        } else {
            remarks.Note(child.line, "this part of the time zone is left out");
        }
    };
    ReadComponent(lines, open, onObservance, [&](const ContentLine& line) {
        if (!line.IsProperty()) {
            return remarks.Note(line.number, NotAProperty(line));
        }
        if (line.Is("TZID")) {
            if (!name.empty()) return;
            name = ZoneName(line.value);
        }
        writer.Append(text, line);
    });
    if (name.empty()) return remarks.Note(open.line, "a VTIMEZONE without TZID is left out");
    Zone& zone = *Named(name, open.line).zone;
    if (!zone.offsets.IsEmpty()) {
        return remarks.Note(open.line, "the time zone " + Excerpt(name) +
                                           " is defined before; this one is left out");
    }
    offsets.Sort();
    zone.offsets = std::move(offsets);
    zone.lines = text + "END:VTIMEZONE\n";
}

std::shared_ptr<const Zone> ZoneTable::DefineFixed(std::int32_t offset) {
    const std::string shown = OffsetText(offset);
    Zone& zone = *Named("UTC" + shown, 0).zone;
    if (zone.offsets.IsEmpty()) {
        zone.offsets.Add({0, offset, offset, {}, {}});
        zone.offsets.Sort();
        zone.lines = "BEGIN:VTIMEZONE\nTZID:" + zone.name +
                     "\nBEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:" + shown +
                     "\nTZOFFSETTO:" + shown + "\nEND:STANDARD\nEND:VTIMEZONE\n";
    }
    return Defined(zone.name);
}

std::shared_ptr<const Zone> ZoneTable::Defined(std::string_view name) const {
    const auto found = numbers_.find(name);
    if (found == numbers_.end()) return nullptr;
    const auto& zone = entries_[found->second].zone;
    return zone->offsets.IsEmpty() ? nullptr : zone;
}

void ZoneTable::Finish(Remarks& remarks) const {
    for (const Entry& entry : entries_) {
        if (!entry.zone->offsets.IsEmpty()) continue;
        remarks.Note(entry.zone->firstUse, "the time zone " + Excerpt(entry.zone->name) +
                                               " is not in the text; its times are taken as UTC");
    }
}

}  // namespace tarnwick

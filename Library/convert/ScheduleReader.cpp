#include "Library/convert/ScheduleReader.h"

#include <algorithm>

#include "common/Scan.h"
#include "Library/convert/Components.h"
#include "Library/convert/RecurrencePattern.h"
#include "Library/convert/RuleParts.h"

namespace tarnwick {
namespace {

ZonedTime Zoned(const DateValue& date, const std::shared_ptr<const Zone>& zone) {
    return {date, date.isDate || date.isUtc ? nullptr : zone};
}

// Whether the text of a date is already what the standard asks for.
bool IsStandard(std::string_view text, const DateValue& date) {
    if (date.isDate) return text.size() == 8;
    return text.size() == (date.isUtc ? 16U : 15U) && text[8] == 'T' &&
           (!date.isUtc || text[15] == 'Z');
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

std::string StandardRule(std::string_view value, Escapes escapes) {
    if (escapes == Escapes::Old) {
        std::string modern = ModernRule(value);
        if (!modern.empty()) return modern;
    }
    std::string rule(value);
    if (escapes == Escapes::None) {
        // An own rule that should end and does not say when.
        constexpr std::string_view kNoEnd = ";COUNT=0;UNTIL=";
        const std::size_t at = rule.find(kNoEnd);
        const std::size_t end = at + kNoEnd.size();
        if (at != rule.npos && (end == rule.size() || rule[end] == ';')) {
            rule.erase(at, kNoEnd.size());
        }
    }
    std::erase_if(rule, [](char byte) { return byte == ' ' || byte == '\t'; });
    while (rule.ends_with(';')) rule.pop_back();
    return rule;
}

}  // namespace

std::string CannotRead(const ContentLine& line, const char* what, std::string_view value) {
    return std::string(line.name) + " is left out; not " + what + ": " + Excerpt(value);
}

bool ScheduleReader::TakeDate(const ContentLine& line, const std::shared_ptr<const Zone>& zone,
                              std::optional<ZonedTime>& date) {
    const std::string_view value = TrimBlanks(line.value);
    const auto read = ParseDateValue(value);
    if (!read) {
        remarks_.Note(line.number, CannotRead(line, "a date", value));
        return false;
    }
    date = Zoned(*read, zone);
    const bool isFloating = IsFloating(*date);
    if (IsStandard(value, *read)) {
        WriteDates(line, value, read->isDate, isFloating);
    } else {
        WriteDates(line, DateValueText(*read), read->isDate, isFloating);
    }
    return true;
}

// Calls `take` with each item of a list for its standard text, empty for one that cannot be read.
template <typename Take>
bool ScheduleReader::TakeList(const ContentLine& line, Take take) {
    std::string value(line.value);
    if (escapes_ == Escapes::Old) std::replace(value.begin(), value.end(), ';', ',');
    std::string kept;
    bool areDates = true;
    bool areFloating = false;
    for (std::string_view rest = value; const auto item = NextListItem(rest);) {
        const std::string_view trimmed = TrimBlanks(*item);
        if (trimmed.empty()) continue;
        const std::string text = take(trimmed);
        const bool isDate = text.find_first_of("T/") == text.npos;
        areDates = areDates && isDate;
        const std::string_view start = std::string_view(text).substr(0, text.find('/'));
        areFloating = areFloating || (start.find('T') != start.npos && !start.ends_with('Z'));
        if (text.empty()) {
            remarks_.Note(line.number, CannotRead(line, "a date", trimmed));
            continue;
        }
        if (!kept.empty()) kept += ',';
        kept += text;
    }
    if (kept.empty()) return false;
    WriteDates(line, kept, areDates, areFloating);
    return true;
}

bool ScheduleReader::TakeExceptions(const ContentLine& line,
                                    const std::shared_ptr<const Zone>& zone) {
    return TakeList(line, [&](std::string_view item) {
        const auto date = ParseDateValue(item);
        if (!date) return std::string();
        schedule_.exceptions.push_back(Zoned(*date, zone));
        return DateValueText(*date);
    });
}

std::string ScheduleReader::TakeAddition(std::string_view item,
                                         const std::shared_ptr<const Zone>& zone) {
    const std::size_t slash = FindByte(item, '/');
    const auto start = ParseDateValue(TrimBlanks(item.substr(0, slash)));
    if (!start) return {};
    AddedTime added{Zoned(*start, zone), {}, {}};
    std::string text = DateValueText(*start);
    if (slash != kNotFound) {
        const std::string_view rest = TrimBlanks(item.substr(slash + 1));
        if (const auto end = ParseDateValue(rest)) {
            added.end = Zoned(*end, zone);
            text += "/" + DateValueText(*end);
        } else if (const auto length = ParseDuration(rest)) {
            added.length = length;
            text.append("/").append(rest);
        } else {
            return {};
        }
    }
    schedule_.additions.push_back(std::move(added));
    return text;
}

bool ScheduleReader::TakeAdditions(const ContentLine& line,
                                   const std::shared_ptr<const Zone>& zone) {
    return TakeList(line, [&](std::string_view item) { return TakeAddition(item, zone); });
}

bool ScheduleReader::TakeDuration(const ContentLine& line, LinePlace& place) {
    const std::string_view value = TrimBlanks(line.value);
    schedule_.length = ParseDuration(value);
    if (!schedule_.length) {
        remarks_.Note(line.number, CannotRead(line, "a duration", value));
    } else if (writer_ != nullptr) {
        place.at = lines_.size();
        writer_->AppendValue(lines_, line, value);
        place.length = lines_.size() - place.at;
    }
    return schedule_.length.has_value();
}

bool ScheduleReader::TakeRule(const ContentLine& line, std::vector<std::string>& rules) {
    std::string rule = StandardRule(line.value, escapes_);
    if (!IsAscii(rule) || !ParsePattern(rule)) {
        const bool excludes = &rules == &schedule_.exceptionRules;
        remarks_.Note(line.number, std::string(line.name) + " is left out; " +
                                       (excludes ? "what it excludes takes place"
                                                 : "only the first occurrence stands") +
                                       "; not understood: " + Excerpt(line.value));
        return false;
    }
    if (writer_ != nullptr) writer_->AppendValue(lines_, line, rule);
    rules.push_back(std::move(rule));
    return true;
}

void ScheduleReader::WriteDates(const ContentLine& line, std::string_view value, bool areDates,
                                bool areFloating) {
    if (writer_ == nullptr) return;
    const std::size_t start = lines_.size();
    const bool saysSo = !areDates || !ParameterValue(line.parameters, "VALUE").empty();
    if (saysSo && value.size() == line.value.size() && escapes_ == Escapes::Modern &&
        value == line.value) {
        writer_->Append(lines_, line);
    } else {
        writer_->AppendValue(lines_, line, value, saysSo ? "" : ";VALUE=DATE");
    }
    if (!areFloating || !ParameterValue(line.parameters, "TZID").empty()) return;
    // A group may stand before the name.
    const std::size_t nameEnd = lines_.find_first_of(";:", start);
    floating_.push_back({nameEnd, 0});
}

}  // namespace tarnwick

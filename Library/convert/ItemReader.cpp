#include "Library/convert/ItemReader.h"

#include <charconv>
#include <iterator>
#include <limits>
#include <span>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/Components.h"
#include "Library/convert/PropertyNames.h"

namespace tarnwick {
namespace {

struct Word {
    std::string_view word;
    std::int32_t number;
};

// A class that is not known is private, as the standard has it.
constexpr std::int32_t kPrivate = 2;
constexpr Word kClasses[] = {{"PUBLIC", 0}, {"PRIVATE", kPrivate}, {"CONFIDENTIAL", 3}};
constexpr Word kStates[] = {{"IN-PROCESS", 1},
                            {"COMPLETED", 2},
                            {"NEEDS-ACTION", 3},
                            {"NEEDS ACTION", 3},
                            {"CANCELLED", 4}};

std::optional<std::int32_t> NumberOf(std::span<const Word> words, std::string_view value) {
    for (const Word& word : words) {
        if (EqualsIgnoreCase(word.word, value)) return word.number;
    }
    return std::nullopt;
}

enum class Field {
    Text,
    Class,
    Status,
    Percent,
    Priority,
    Number,
    Modified,
    Stamp,
    Start,
    End,
    Duration,
    Replaces,
    Rule,
    ExceptionRule,
    Additions,
    Exceptions,
};

// Which kinds of items a row is of.
constexpr unsigned kEvents = 1;
constexpr unsigned kTasks = 2;
constexpr unsigned kBoth = 3;

}  // namespace

struct ItemReader::Row {
    std::string_view name;
    Field field;
    unsigned kinds = kBoth;
    bool countsOnce = true;
    const char* eventText = nullptr;
    const char* taskText = nullptr;
};

constexpr ItemReader::Row ItemReader::kRows[] = {
    {"UID", Field::Text, kBoth, true, property::kAppointmentUid, property::kItemId},
    {"SUMMARY", Field::Text, kBoth, true, property::kSubject, property::kSubject},
    {"DESCRIPTION", Field::Text, kBoth, true, property::kBody, property::kBody},
    {"LOCATION", Field::Text, kEvents, true, property::kLocation},
    {"CLASS", Field::Class},
    {"STATUS", Field::Status},
    {"PERCENT-COMPLETE", Field::Percent, kTasks},
    {"PRIORITY", Field::Priority},
    {"SEQUENCE", Field::Number},
    {"LAST-MODIFIED", Field::Modified},
    {"DTSTAMP", Field::Stamp},
    {"CREATED", Field::Stamp},
    {"COMPLETED", Field::Stamp},
    {"DTSTART", Field::Start},
    {"DTEND", Field::End, kEvents},
    {"DUE", Field::End, kTasks},
    {"DURATION", Field::Duration},
    {"RECURRENCE-ID", Field::Replaces},
    {"RRULE", Field::Rule, kBoth, false},
    {"EXRULE", Field::ExceptionRule, kBoth, false},
    {"RDATE", Field::Additions, kBoth, false},
    {"EXDATE", Field::Exceptions, kBoth, false},
};

const ItemReader::Row* ItemReader::RowOf(std::string_view name, ItemKind kind) {
    const unsigned kinds = kind == ItemKind::Event ? kEvents : kTasks;
    for (const Row& row : kRows) {
        if (row.name.size() == name.size() && EqualsIgnoreCase(row.name, name)) {
            return (row.kinds & kinds) != 0 ? &row : nullptr;
        }
    }
    return nullptr;
}

ItemReader::ItemReader(ItemKind kind, std::size_t line, std::size_t number, Escapes escapes,
                       LineWriter* writer, ZoneTable& zones, Remarks& remarks)
    : number_(number),
      escapes_(escapes),
      writer_(writer),
      zones_(zones),
      remarks_(remarks),
      firstNote_(remarks.notes.size()),
      schedule_(pending_.item.schedule, pending_.item.lines, pending_.floating, writer, escapes,
                remarks) {
    pending_.item.kind = kind;
    pending_.item.line = line;
    pending_.isOwn = writer == nullptr;
    if (writer_ != nullptr) {
        pending_.item.lines = kind == ItemKind::Event ? "BEGIN:VEVENT\n" : "BEGIN:VTODO\n";
    }
}

void ItemReader::Keep(const ContentLine& line) {
    if (writer_ != nullptr) writer_->Append(pending_.item.lines, line);
}

// A word or number, without the blanks around it.
void ItemReader::KeepTrimmed(const ContentLine& line) {
    const std::string_view value = TrimBlanks(line.value);
    if (value.size() == line.value.size()) return Keep(line);
    if (writer_ != nullptr) writer_->AppendValue(pending_.item.lines, line, value);
}

void ItemReader::Unheld(const ContentLine& line, const std::string& what) {
    pending_.unheld.push_back({line.number, "the properties do not hold " + what});
}

void ItemReader::TakeInner(const ContentLine& line) {
    if (!line.IsProperty()) return remarks_.Note(line.number, NotAProperty(line));
    if (!line.parameters.empty() && zones_.Of(line)) zones_.Keep(number_, pending_.item.zones);
    Keep(line);
}

void ItemReader::Take(const ContentLine& line) {
    const Row* row = RowOf(line.name, pending_.item.kind);
    if (!line.IsProperty() || row == nullptr) return TakeInner(line);
    const bool isText = row->field == Field::Text;
    if (isText ? line.value.empty() : TrimBlanks(line.value).empty()) {
        if (!isText && !pending_.isOwn) {
            remarks_.Note(line.number, std::string(row->name) + " is left out; it has no value");
        }
        return;
    }
    const auto place = static_cast<std::size_t>(row - kRows);
    if (row->countsOnce && seen_[place]) {
        remarks_.Note(
            line.number,
            std::string(row->name) + " stands twice; this one is left out: " + Excerpt(line.value));
        return;
    }
    std::shared_ptr<const Zone> zone;
    if (!line.parameters.empty()) zone = zones_.Of(line);
    if (!TakeValue(*row, line, zone)) return;
    seen_.set(place);
    if (zone) zones_.Keep(number_, pending_.item.zones);
}

bool ItemReader::TakeValue(const Row& row, const ContentLine& line,
                           const std::shared_ptr<const Zone>& zone) {
    Schedule& schedule = pending_.item.schedule;
    const bool isEvent = pending_.item.kind == ItemKind::Event;
    switch (row.field) {
        case Field::Text:
            return TakeText(isEvent ? row.eventText : row.taskText, line);
        case Field::Class:
            return TakeClass(line);
        case Field::Status:
            return TakeStatus(line);
        case Field::Percent:
            return TakePercent(line);
        case Field::Priority:
        case Field::Number:
            return TakeNumber(row, line);
        case Field::Modified:
        case Field::Stamp:
            return TakeStamp(row, line, zone);
        case Field::Start: {
            const bool isRead = schedule_.TakeDate(line, zone, schedule.start);
            pending_.isUnreadable = isEvent && !isRead;
            return isRead;
        }
        case Field::End: {
            LinePlace& place = pending_.end;
            place.at = pending_.item.lines.size();
            const bool isRead = schedule_.TakeDate(line, zone, schedule.end);
            place.length = pending_.item.lines.size() - place.at;
            return isRead;
        }
        case Field::Duration:
            return schedule_.TakeDuration(line, pending_.duration);
        case Field::Replaces:
            return TakeReplaced(line, zone);
        default:
            break;
    }
    if (row.field == Field::Rule) return TakeRule(row, line);
    const bool isRead = row.field == Field::ExceptionRule
                            ? schedule_.TakeRule(line, schedule.exceptionRules)
                        : row.field == Field::Additions ? schedule_.TakeAdditions(line, zone)
                                                        : schedule_.TakeExceptions(line, zone);
    if (isRead) Unheld(line, std::string(row.name));
    return isRead;
}

bool ItemReader::TakeReplaced(const ContentLine& line, const std::shared_ptr<const Zone>& zone) {
    Schedule& schedule = pending_.item.schedule;
    if (!schedule_.TakeDate(line, zone, schedule.replaces)) return false;
    const std::string_view range = ParameterValue(line.parameters, "RANGE");
    schedule.replacesFollowing = EqualsIgnoreCase(range, "THISANDFUTURE");
    if (!range.empty() && !schedule.replacesFollowing) {
        remarks_.Note(line.number, "the range " + Excerpt(range) +
                                       " is not known; this occurrence alone is replaced");
    }
    Unheld(line, "RECURRENCE-ID");
    return true;
}

bool ItemReader::TakeText(const char* property, const ContentLine& line) {
    pending_.item.properties.Set(property, TextOfValue(line.value, line.encoding, escapes_));
    Keep(line);
    return true;
}

bool ItemReader::TakeRule(const Row& row, const ContentLine& line) {
    std::vector<std::string>& rules = pending_.item.schedule.rules;
    // An own rule goes into the properties whatever it is: they are what it was written from.
    if (pending_.isOwn) {
        pending_.rule = line.value;
        return true;
    }
    if (!schedule_.TakeRule(line, rules)) return false;
    if (pending_.item.kind != ItemKind::Event || rules.size() > 1) {
        Unheld(line, (rules.size() > 1 ? "a second " : "") + std::string(row.name));
    } else {
        pending_.rule = rules.front();
        pending_.ruleLine = line.number;
    }
    return true;
}

bool ItemReader::TakeStamp(const Row& row, const ContentLine& line,
                           const std::shared_ptr<const Zone>& zone) {
    std::optional<ZonedTime> time;
    std::vector<LinePlace> unused;
    ScheduleReader reader(pending_.item.schedule, pending_.item.lines, unused, writer_, escapes_,
                          remarks_);
    if (!reader.TakeDate(line, zone, time)) return false;
    if (row.field == Field::Stamp) return true;
    const std::int64_t seconds = time->date.seconds;
    if (seconds >= std::numeric_limits<std::int32_t>::min() &&
        seconds <= std::numeric_limits<std::int32_t>::max()) {
        pending_.item.properties.Set(property::kModifiedDate, static_cast<std::int32_t>(seconds));
    } else {
        Unheld(line, "a modification before 1901 or after 2038");
    }
    return true;
}

bool ItemReader::TakeClass(const ContentLine& line) {
    if (pending_.item.kind == ItemKind::Task) {
        const auto number = NumberOf(kClasses, TrimBlanks(line.value));
        pending_.item.properties.Set(property::kSensitivity, number.value_or(kPrivate));
    }
    KeepTrimmed(line);
    return true;
}

bool ItemReader::TakePercent(const ContentLine& line) {
    const std::string_view value = TrimBlanks(line.value);
    double percent = 0;
    const auto result = std::from_chars(value.data(), value.data() + value.size(), percent);
    if (result.ec != std::errc() || result.ptr != value.data() + value.size()) {
        remarks_.Note(line.number, CannotRead(line, "a percentage", value));
        return false;
    }
    pending_.item.properties.Set(property::kPercentComplete, percent);
    KeepTrimmed(line);
    return true;
}

bool ItemReader::TakeStatus(const ContentLine& line) {
    const std::string_view value = TrimBlanks(line.value);
    const std::size_t start = pending_.item.lines.size();
    KeepTrimmed(line);
    pending_.status = {start, pending_.item.lines.size() - start};
    pending_.item.schedule.isCancelled = EqualsIgnoreCase(value, "CANCELLED");
    if (pending_.item.kind == ItemKind::Event) return true;
    if (const auto status = NumberOf(kStates, value)) {
        pending_.item.properties.Set(property::kStatus, *status);
    } else {
        Unheld(line, "the status " + Excerpt(value));
    }
    return true;
}

bool ItemReader::TakeNumber(const Row& row, const ContentLine& line) {
    const auto number = ParseWholeNumber(TrimBlanks(line.value));
    if (!number) {
        const bool isPriority = row.field == Field::Priority;
        remarks_.Note(line.number,
                      CannotRead(line, isPriority ? "a priority" : "a number", line.value));
        return false;
    }
    KeepTrimmed(line);
    // 1 to 4 is high, 5 the middle, 6 to 9 low; 0 says nothing.
    if (row.field != Field::Priority || pending_.item.kind == ItemKind::Event || *number < 1) {
        return true;
    }
    pending_.item.properties.Set(property::kImportance, *number < 5 ? 2 : (*number == 5 ? 1 : 0));
    return true;
}

PendingItem ItemReader::Finish() {
    CalendarItem& item = pending_.item;
    const bool isEvent = item.kind == ItemKind::Event;
    if (writer_ != nullptr) item.lines += isEvent ? "END:VEVENT\n" : "END:VTODO\n";
    item.uid = Utf8OrWindows1252(
        item.properties.TextOr(isEvent ? property::kAppointmentUid : property::kItemId));
    NameItem(remarks_.notes, firstNote_, item.uid);
    return std::move(pending_);
}

}  // namespace tarnwick

#include "Library/convert/ItemReader.h"

#include <charconv>
#include <iterator>
#include <limits>
#include <span>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/OldRule.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceReader.h"

namespace tarnwick {
namespace {

[[noreturn]] void Refuse(const ContentLine& line, const char* what) {
    throw ReadFailure(line.number, std::string(what) + Excerpt(line.value));
}

struct Word {
    std::string_view word;
    std::int32_t number;
};

// A class that is not known is private, as the standard has it.
constexpr std::int32_t kPrivate = 2;
constexpr Word kClasses[] = {{"PUBLIC", 0}, {"PRIVATE", kPrivate}, {"CONFIDENTIAL", 3}};
constexpr Word kStates[] = {
    {"IN-PROCESS", 1}, {"COMPLETED", 2}, {"NEEDS-ACTION", 3}, {"CANCELLED", 4}};

std::optional<std::int32_t> NumberOf(std::span<const Word> words, std::string_view value) {
    for (const Word& word : words) {
        if (EqualsIgnoreCase(word.word, value)) return word.number;
    }
    return std::nullopt;
}

void SetDate(PendingItem& pending, const char* name, std::int64_t seconds,
             std::vector<ReadProblem>& notes) {
    if (const auto fileTime = FileTimeOfUnixSeconds(seconds)) {
        pending.item.properties.Set(name, *fileTime);
    } else {
        notes.push_back({pending.item.line, "a date before 1601 or too late is left out"});
    }
}

// Days move the date on the zone's clocks, the rest is exact.
std::int64_t EndAfter(const ZonedDate& start, const DurationValue& duration,
                      const ZoneTable& zones) {
    ZonedDate moved = start;
    moved.date.seconds += duration.days * kSecondsPerDay;
    return zones.ToUtc(moved) + duration.seconds;
}

}  // namespace

const ItemReader::Row ItemReader::kEventRows[] = {
    {"DTSTART", &ItemReader::TakeStart},          {"DTEND", &ItemReader::TakeEnd},
    {"DURATION", &ItemReader::TakeDuration},      {"UID", &ItemReader::TakeUid},
    {"LOCATION", &ItemReader::TakeLocation},      {"DESCRIPTION", &ItemReader::TakeDescription},
    {"SUMMARY", &ItemReader::TakeSummary},        {"RRULE", &ItemReader::TakeRule},
    {"LAST-MODIFIED", &ItemReader::TakeModified},
};

const ItemReader::Row ItemReader::kTaskRows[] = {
    {"UID", &ItemReader::TakeUid},
    {"DUE", &ItemReader::TakeEnd},
    {"DURATION", &ItemReader::TakeDuration},
    {"CLASS", &ItemReader::TakeClass},
    {"LAST-MODIFIED", &ItemReader::TakeModified},
    {"PERCENT-COMPLETE", &ItemReader::TakePercent},
    {"STATUS", &ItemReader::TakeStatus},
    {"PRIORITY", &ItemReader::TakePriority},
    {"DTSTART", &ItemReader::TakeStart},
    {"DESCRIPTION", &ItemReader::TakeDescription},
    {"SUMMARY", &ItemReader::TakeSummary},
};

ItemReader::ItemReader(ItemKind kind, std::size_t line, Escapes escapes, ZoneTable& zones,
                       std::vector<ReadProblem>& notes)
    : escapes_(escapes), zones_(zones), notes_(notes) {
    pending_.item.kind = kind;
    pending_.item.line = line;
    pending_.endsImplicitly = kind == ItemKind::Event && escapes != Escapes::None;
}

void ItemReader::Take(const ContentLine& line) {
    const bool isEvent = pending_.item.kind == ItemKind::Event;
    const std::span<const Row> rows =
        isEvent ? std::span<const Row>(kEventRows) : std::span<const Row>(kTaskRows);
    for (const Row& row : rows) {
        if (!EqualsIgnoreCase(row.name, line.name)) continue;
        if (!line.hasValue) {
            throw ReadFailure(line.number, std::string(row.name) + " without a value");
        }
        if (!line.value.empty()) (this->*row.handler)(line);
        return;
    }
}

void ItemReader::SetText(const char* name, const ContentLine& line) {
    pending_.item.properties.Set(name, TextOfValue(line.value, line.parameters, escapes_));
}

void ItemReader::TakeUid(const ContentLine& line) {
    const bool isEvent = pending_.item.kind == ItemKind::Event;
    SetText(isEvent ? property::kAppointmentUid : property::kItemId, line);
}

void ItemReader::TakeLocation(const ContentLine& line) {
    SetText(property::kLocation, line);
}

void ItemReader::TakeDescription(const ContentLine& line) {
    SetText(property::kBody, line);
}

void ItemReader::TakeSummary(const ContentLine& line) {
    SetText(property::kSubject, line);
}

void ItemReader::TakeStart(const ContentLine& line) {
    pending_.start = zones_.ParseDate(line);
}

void ItemReader::TakeEnd(const ContentLine& line) {
    pending_.end = zones_.ParseDate(line);
}

void ItemReader::TakeDuration(const ContentLine& line) {
    pending_.duration = ParseDuration(line.value);
    if (!pending_.duration) Refuse(line, "not a duration: ");
}

void ItemReader::TakeRule(const ContentLine& line) {
    const std::string modern =
        escapes_ == Escapes::Old ? ModernRule(line.value) : std::string(line.value);
    const auto parts = ParseRule(modern);
    if (!parts) Refuse(line, "not a recurrence rule: ");
    if (!SetRecurrence(pending_.item.properties, *parts)) {
        notes_.push_back({line.number, "a recurrence that items cannot hold is left out"});
    }
}

void ItemReader::TakeModified(const ContentLine& line) {
    const std::int64_t seconds = zones_.ParseDate(line).date.seconds;
    if (seconds >= std::numeric_limits<std::int32_t>::min() &&
        seconds <= std::numeric_limits<std::int32_t>::max()) {
        pending_.item.properties.Set(property::kModifiedDate, static_cast<std::int32_t>(seconds));
    } else {
        notes_.push_back({line.number, "a modification before 1901 or after 2038 is left out"});
    }
}

void ItemReader::TakeClass(const ContentLine& line) {
    pending_.item.properties.Set(property::kSensitivity,
                                 NumberOf(kClasses, line.value).value_or(kPrivate));
}

void ItemReader::TakePercent(const ContentLine& line) {
    double percent = 0;
    const char* end = line.value.data() + line.value.size();
    const auto result = std::from_chars(line.value.data(), end, percent);
    if (result.ec != std::errc() || result.ptr != end) Refuse(line, "not a percentage: ");
    pending_.item.properties.Set(property::kPercentComplete, percent);
}

void ItemReader::TakeStatus(const ContentLine& line) {
    if (const auto status = NumberOf(kStates, line.value)) {
        pending_.item.properties.Set(property::kStatus, *status);
    }
}

void ItemReader::TakePriority(const ContentLine& line) {
    const auto priority = ParseWholeNumber(line.value);
    if (!priority) Refuse(line, "not a priority: ");
    // 1 to 4 is high, 5 the middle, 6 to 9 low; 0 says nothing.
    if (*priority < 1) return;
    pending_.item.properties.Set(property::kImportance,
                                 *priority < 5 ? 2 : (*priority == 5 ? 1 : 0));
}

void SetDates(PendingItem& pending, const ZoneTable& zones, std::vector<ReadProblem>& notes) {
    const bool isEvent = pending.item.kind == ItemKind::Event;
    const char* const startName = isEvent ? property::kEventStart : property::kTaskStart;
    const char* const endName = isEvent ? property::kEventEnd : property::kDueDate;
    if (pending.start) SetDate(pending, startName, zones.ToUtc(*pending.start), notes);
    if (pending.end) {
        SetDate(pending, endName, zones.ToUtc(*pending.end), notes);
    } else if (pending.start && pending.duration) {
        SetDate(pending, endName, EndAfter(*pending.start, *pending.duration, zones), notes);
    } else if (pending.start && pending.endsImplicitly) {
        const DurationValue length{pending.start->date.isDate ? 1 : 0, 0};
        SetDate(pending, endName, EndAfter(*pending.start, length, zones), notes);
    }
}

}  // namespace tarnwick

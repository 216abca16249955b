// Any text as a calendar and as contacts: reading ends, and what was read is written and read again
// to the same text; the lines of each item read back to the same lines and the same times.
#include <algorithm>
#include <vector>

#include "fuzz/Fuzz.h"
#include "Library/convert/CalendarReader.h"
#include "Library/convert/ContactReader.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/TextEncoding.h"

namespace tarnwick::fuzz {
namespace {

std::string TextOf(CalendarItem& item) {
    const bool isEvent = item.kind == ItemKind::Event;
    return isEvent ? EventText(item.properties) : TaskText(item.properties);
}

// Whether a text holds what could be another line of the writer's own, or a body another item.
bool HasLinesWithin(const CalendarItem& item) {
    return std::any_of(item.properties.begin(), item.properties.end(), [](const auto& property) {
        const auto* text = std::get_if<std::string>(&property.value);
        const char* const breaking = property.name == "PR_BODY" ? "BEGIN:VCALENDAR" : "\n";
        return text != nullptr && text->find(breaking) != std::string::npos;
    });
}

void CheckOwnText(CalendarItem& item) {
    if (HasLinesWithin(item)) return;
    const std::string text = TextOf(item);
    auto again = ReadCalendarText(text);
    Require(again.items.size() == 1 && TextOf(again.items[0]) == text);
}

std::vector<std::int64_t> TimesOf(const Schedule& schedule) {
    std::vector<std::int64_t> times;
    const auto add = [&times](const ZonedTime& time) { times.push_back(time.ToUtc()); };
    for (const auto* time : {&schedule.start, &schedule.end, &schedule.replaces}) {
        times.push_back(time->has_value());
        if (*time) add(**time);
    }
    for (const AddedTime& added : schedule.additions) {
        add(added.start);
        if (added.end) add(*added.end);
    }
    for (const ZonedTime& exception : schedule.exceptions) add(exception);
    if (schedule.length)
        times.insert(times.end(), {schedule.length->days, schedule.length->seconds});
    times.push_back(schedule.replacesFollowing * 2 + schedule.isCancelled);
    return times;
}

// What a text assumes of times and ranges is assumed again.
bool IsAssumption(const ReadProblem& note) {
    return note.reason.ends_with("are taken as UTC") ||
           note.reason.ends_with("this occurrence alone is replaced");
}

void CheckLines(const CalendarItem& item) {
    std::string text = "BEGIN:VCALENDAR\nVERSION:2.0\n";
    for (const auto& zone : item.zones) text += zone->lines;
    const CalendarReading again = ReadCalendarText(text + item.lines + "END:VCALENDAR\n");
    Require(again.items.size() == 1 && again.items[0].lines == item.lines);
    const Schedule& schedule = again.items[0].schedule;
    Require(TimesOf(schedule) == TimesOf(item.schedule) && schedule.rules == item.schedule.rules);
    Require(schedule.exceptionRules == item.schedule.exceptionRules);
    Require(again.items[0].zones.size() == item.zones.size());
    Require(std::all_of(again.notes.begin(), again.notes.end(), IsAssumption));
}

bool BreaksCards(const ItemPropertyContainer& contact) {
    const auto isBreaking = [](char byte) {
        return IsControl(byte) || byte == ';' || byte == '\\';
    };
    return std::any_of(contact.begin(), contact.end(), [&isBreaking](const auto& property) {
        const auto& text = std::get<std::string>(property.value);
        return std::any_of(text.begin(), text.end(), isBreaking);
    });
}

// The card that is written of a contact, cleaned of what breaks cards, reads back to the same card
// without a note.
void CheckContacts(std::string_view input) {
    auto reading = ReadContactText(input);
    Require(reading.failure.has_value() == reading.contacts.empty());
    for (auto& contact : reading.contacts) {
        const std::string card = ContactText(contact);
        Require(card.size() >= 78);
        if (BreaksCards(contact)) continue;
        auto again = ReadContactText(card);
        Require(again.contacts.size() == 1 && again.notes.empty());
        Require(ContactText(again.contacts[0]) == card);
    }
}

}  // namespace

void Check(std::string_view input) {
    CheckContacts(input);
    auto reading = ReadCalendarText(input);
    Require(!reading.failure || (reading.failure->line != 0 && reading.items.empty()));
    for (CalendarItem& item : reading.items) {
        CheckOwnText(item);
        if (!item.lines.empty()) CheckLines(item);
    }
}

}  // namespace tarnwick::fuzz

#include "Library/convert/ItemText.h"

#include <charconv>

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"

namespace tarnwick {
namespace {

std::string CalendarBeginning() {
    return std::string("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:") + kProducer + "\r\n";
}

// An event's date, marked as UTC; a date that is missing or cannot be written stays empty. No
// date of an event stands for a missing one: kept for compatibility.
std::string EventDate(PropertySource& source, const char* name) {
    const auto fileTime = source.FileTime(name);
    std::string text = fileTime ? DateText(*fileTime) : std::string();
    if (!text.empty()) text += 'Z';
    return text;
}

// In UTC without a mark of it: kept for compatibility.
std::string TaskDate(PropertySource& source, const char* name) {
    const auto fileTime = source.FileTime(name);
    std::string text = fileTime ? DateText(*fileTime) : std::string();
    if (text == kNoDateText) text.clear();
    return text;
}

// In UTC without a mark of it: kept for compatibility.
std::string ModifiedDate(PropertySource& source) {
    const auto seconds = source.Number(property::kModifiedDate);
    return seconds ? DateText(FileTimeOfSeconds(*seconds)) : std::string();
}

// What is not known is the strictest class, so that nobody sees too much.
const char* WordOfSensitivity(std::int32_t sensitivity) {
    if (sensitivity == 0) return "PUBLIC";
    return sensitivity == 1 || sensitivity == 2 ? "PRIVATE" : "CONFIDENTIAL";
}

// The standard has no word for other states.
const char* WordOfStatus(std::int32_t status) {
    switch (status) {
        case 1:
            return "IN-PROCESS";
        case 2:
            return "COMPLETED";
        case 3:
            return "NEEDS-ACTION";
        case 4:
            return "CANCELLED";
        default:
            return "";
    }
}

// One number of each of the standard's ranges: low, middle, high. What is not known counts as high:
// kept for compatibility.
const char* WordOfImportance(std::int32_t importance) {
    if (importance == 0) return "9";
    return importance == 1 ? "5" : "1";
}

// The word for a number property; empty when it is missing.
std::string Word(PropertySource& source, const char* name, const char* (*wordOf)(std::int32_t)) {
    const auto number = source.Number(name);
    return number ? wordOf(*number) : "";
}

// Six significant digits without trailing zeros, as streams write numbers by default: kept for
// compatibility.
std::string PercentText(PropertySource& source) {
    const auto percent = source.Double(property::kPercentComplete);
    if (!percent) return {};
    char digits[32];
    const auto result =
        std::to_chars(digits, digits + sizeof digits, *percent, std::chars_format::general, 6);
    return {digits, result.ptr};
}

}  // namespace

std::string ClassWord(PropertySource& source) {
    return Word(source, property::kSensitivity, WordOfSensitivity);
}

std::string StatusWord(PropertySource& source) {
    return Word(source, property::kStatus, WordOfStatus);
}

std::string PriorityWord(PropertySource& source) {
    return Word(source, property::kImportance, WordOfImportance);
}

std::string EventText(PropertySource& source) {
    std::string text = CalendarBeginning() + "BEGIN:VEVENT\r\n";
    const auto line = [&text](const char* name, const std::string& value) {
        text.append(name).append(value).append("\r\n");
    };
    line("DTSTART:", EventDate(source, property::kEventStart));
    line("DTEND:", EventDate(source, property::kEventEnd));
    line("UID:", source.TextOr(property::kAppointmentUid));
    line("LOCATION:", source.TextOr(property::kLocation));
    line("DESCRIPTION:", source.TextOr(property::kBody));
    line("SUMMARY:", source.TextOr(property::kSubject));
    text += RecurrenceRuleLine(source);
    line("LAST-MODIFIED:", ModifiedDate(source));
    return text + "END:VEVENT\r\nEND:VCALENDAR\r\n";
}

std::string TaskText(PropertySource& source) {
    std::string text = CalendarBeginning() + "BEGIN:VTODO\r\n";
    const auto line = [&text](const char* name, const std::string& value) {
        text.append(name).append(value).append("\r\n");
    };
    const auto dateLine = [&line](const char* name, const std::string& date) {
        if (!date.empty()) line(name, date);
    };
    line("UID:", source.TextOr(property::kItemId));
    dateLine("DUE:", TaskDate(source, property::kDueDate));
    // These stand there whatever is missing: kept for compatibility.
    line("CLASS:", ClassWord(source));
    line("LAST-MODIFIED:", ModifiedDate(source));
    line("PERCENT-COMPLETE:", PercentText(source));
    line("STATUS:", StatusWord(source));
    line("PRIORITY:", PriorityWord(source));
    dateLine("DTSTART:", TaskDate(source, property::kTaskStart));
    line("DESCRIPTION:", source.TextOr(property::kBody));
    line("SUMMARY:", source.TextOr(property::kSubject));
    return text + "END:VTODO\r\nEND:VCALENDAR\r\n";
}

std::string ContactText(PropertySource& source) {
    // The body is read first and not written: sources may count on seeing the read.
    (void)source.TextOr(property::kBody);
    std::string text = "BEGIN:VCARD\r\nVERSION:2.1\r\nN:";
    text += source.TextOr(property::kSurname);
    for (const char* name : {property::kGivenName, property::kMiddleName, property::kNamePrefix,
                             property::kGeneration}) {
        text.append(";").append(source.TextOr(name));
    }
    text.append("\r\nNICKNAME:").append(source.TextOr(property::kNickname));
    text.append("\r\nEMAIL;PREF;INTERNET:").append(source.TextOr(property::kEmailAddress));
    return text + "\r\nEND:VCARD\r\n";
}

}  // namespace tarnwick

#include "Library/convert/ItemText.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"
#include "Library/convert/TextEncoding.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

std::string CalendarBeginning() {
    return std::string("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:") + kProducer + "\r\n";
}

// An event's date, marked as UTC; a date that is missing or cannot be written stays empty. No
// date of an event stands for a missing one: kept for compatibility.
std::string EventDate(PropertySource& source, const char* name) {
    std::string text = DateText(source.FileTime(name));
    if (!text.empty()) text += 'Z';
    return text;
}

// In UTC without a mark of it: kept for compatibility.
std::string TaskDate(PropertySource& source, const char* name) {
    std::string text = DateText(source.FileTime(name));
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

std::string ClassWord(PropertySource& source) {
    return Word(source, property::kSensitivity, WordOfSensitivity);
}

std::string StatusWord(PropertySource& source) {
    return Word(source, property::kStatus, WordOfStatus);
}

std::string PriorityWord(PropertySource& source) {
    return Word(source, property::kImportance, WordOfImportance);
}

class ItemLines {
  public:
    explicit ItemLines(PropertySource& item) : item_(item) {}

    void Line(std::string_view line) { text_.append(line).append("\n"); }
    // A value that needs no escaping; no line when it is empty.
    void Word(const std::string& name, const std::string& word) {
        if (!word.empty()) Line(name + word);
    }
    void Text(const char* name, const char* property) {
        Word(name, EscapeText(Utf8OrWindows1252(item_.TextOr(property))));
    }
    void Date(const char* name, const char* property) {
        const std::string date = DateText(item_.FileTime(property));
        if (!date.empty()) Line(name + date + "Z");
    }
    void Modified() {
        const auto seconds = item_.Number(property::kModifiedDate);
        if (seconds) Line("LAST-MODIFIED:" + DateText(FileTimeOfSeconds(*seconds)) + "Z");
    }
    std::string Take() { return std::move(text_); }

  private:
    PropertySource& item_;
    std::string text_;
};

// The standard wants a whole number of percent.
std::string WholePercent(PropertySource& item) {
    const double percent = item.Double(property::kPercentComplete).value_or(-1);
    return percent >= 0 && percent <= 100 ? std::to_string(std::lround(percent)) : std::string();
}

}  // namespace

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

std::string EventLines(PropertySource& event) {
    ItemLines lines(event);
    lines.Line("BEGIN:VEVENT");
    lines.Text("UID:", property::kAppointmentUid);
    lines.Date("DTSTART:", property::kEventStart);
    const auto end = event.FileTime(property::kEventEnd);
    // No event ends before it starts: other programs refuse one that says so.
    if (end >= event.FileTime(property::kEventStart)) lines.Date("DTEND:", property::kEventEnd);
    lines.Text("SUMMARY:", property::kSubject);
    lines.Text("DESCRIPTION:", property::kBody);
    lines.Text("LOCATION:", property::kLocation);
    lines.Word("RRULE:", StandardRecurrenceRule(event));
    lines.Modified();
    lines.Line("END:VEVENT");
    return lines.Take();
}

std::string TaskLines(PropertySource& task) {
    ItemLines lines(task);
    lines.Line("BEGIN:VTODO");
    lines.Text("UID:", property::kItemId);
    lines.Date("DTSTART:", property::kTaskStart);
    lines.Date("DUE:", property::kDueDate);
    lines.Text("SUMMARY:", property::kSubject);
    lines.Text("DESCRIPTION:", property::kBody);
    lines.Word("CLASS:", ClassWord(task));
    lines.Word("STATUS:", StatusWord(task));
    lines.Word("PRIORITY:", PriorityWord(task));
    lines.Word("PERCENT-COMPLETE:", WholePercent(task));
    lines.Modified();
    lines.Line("END:VTODO");
    return lines.Take();
}

}  // namespace tarnwick

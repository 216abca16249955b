#include "Library/convert/ItemLines.h"

#include <cmath>
#include <utility>

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"
#include "Library/convert/TextEncoding.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

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
        const auto time = item_.FileTime(property);
        const std::string date = time ? DateText(*time) : std::string();
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

void AppendPart(std::string& rule, const char* name, std::int32_t number) {
    rule += name;
    AppendDecimal(rule, number);
}

// One end, as the standard wants it: the count when there is one, else the date.
void AppendEnd(std::string& rule, PropertySource& item) {
    if (item.NumberOr(property::kNoEndDate, 0) != 0) return;
    const std::int32_t count = item.NumberOr(property::kOccurrences, 0);
    if (count > 0) return AppendPart(rule, ";COUNT=", count);
    const auto end = item.FileTime(property::kPatternEndDate);
    const std::string date = end ? DateText(*end) : std::string();
    if (!date.empty()) rule.append(";UNTIL=").append(date).append("Z");
}

void AppendDays(std::string& rule, PropertySource& item, bool hasPositions) {
    const std::int32_t mask = item.NumberOr(property::kRecurrenceDays, 0);
    const char* before = ";BYDAY=";
    for (int day = 0; day < 7; ++day) {
        if ((mask >> day & 1) == 0) continue;
        rule.append(before).append(kWeekdayNames[day]);
        before = ",";
    }
    const std::int32_t instance = item.NumberOr(property::kRecurrenceInstance, kEveryInstance);
    const bool hasInstance = hasPositions && (mask & 127) != 0 && instance > 0;
    if (hasInstance) AppendPart(rule, ";BYSETPOS=", instance == kLastInstance ? -1 : instance);
    // The store's weeks begin on Sunday, the standard's on Monday.
    if ((mask & 127) != 0) rule += ";WKST=SU";
}

// The standard wants a whole number of percent.
std::string WholePercent(PropertySource& item) {
    const double percent = item.Double(property::kPercentComplete).value_or(-1);
    return percent >= 0 && percent <= 100 ? std::to_string(std::lround(percent)) : std::string();
}

}  // namespace

std::string RuleOf(PropertySource& item) {
    if (item.NumberOr(property::kIsRecurring, 0) == 0) return {};
    const std::int32_t type = item.NumberOr(property::kRecurrenceType, 0);
    const std::string frequency = FrequencyWord(type);
    if (frequency.empty()) return {};
    std::string rule = "FREQ=" + frequency;
    const std::int32_t interval = item.NumberOr(property::kRecurrenceInterval, 0);
    if (interval > 0) AppendPart(rule, ";INTERVAL=", interval);
    AppendEnd(rule, item);
    AppendDays(rule, item, IsMonthly(type) || IsYearly(type));
    const std::int32_t day = item.NumberOr(property::kRecurrenceDayOfMonth, 0);
    if (IsMonthly(type) && day != 0) AppendPart(rule, ";BYMONTHDAY=", day);
    const std::int32_t month = item.NumberOr(property::kRecurrenceMonth, 0);
    if (IsYearly(type) && month != 0) AppendPart(rule, ";BYMONTH=", month);
    return rule;
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
    lines.Word("RRULE:", RuleOf(event));
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

#include "Library/convert/CalendarFileText.h"

#include <cmath>

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"
#include "Library/convert/RuleParts.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

constexpr const char* kExportProducer = "-//Tarnwick//Calendar Export//EN";

bool ContinuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// Appends a line, folded after at most 75 bytes and not within a UTF-8 character.
void AppendLine(std::string& text, std::string_view line) {
    constexpr std::size_t kLongestLine = 75;
    constexpr std::size_t kLongestCharacter = 4;
    std::size_t limit = kLongestLine;
    while (line.size() > limit) {
        std::size_t length = limit;
        while (length + kLongestCharacter > limit && ContinuesCharacter(line[length])) --length;
        text.append(line.substr(0, length)).append("\r\n ");
        line.remove_prefix(length);
        limit = kLongestLine - 1;
    }
    text.append(line).append("\r\n");
}

class ItemLines {
  public:
    ItemLines(std::string& text, PropertySource& item) : text_(text), item_(item) {}

    void Line(const std::string& line) { AppendLine(text_, line); }
    void Text(const char* name, const char* property) {
        const std::string value = item_.TextOr(property);
        if (!value.empty()) Line(name + EscapeText(value));
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
    void Rule();
    void CommonTexts() {
        Text("SUMMARY:", property::kSubject);
        Text("DESCRIPTION:", property::kBody);
    }
    // A value that needs no escaping; none when it is empty.
    void Word(const char* name, const std::string& word) {
        if (!word.empty()) Line(name + word);
    }

  private:
    std::string& text_;
    PropertySource& item_;
};

// The item's rule with at most one end: the count when there is one, else the date, in UTC.
void ItemLines::Rule() {
    const std::string own = RecurrenceRuleLine(item_);
    constexpr std::string_view kName = "RRULE:";
    if (own.empty()) return;
    const std::string_view value(own.data() + kName.size(), own.size() - kName.size() - 2);
    const auto parts = ParseRule(value);
    if (!parts || parts->frequency.empty()) return;
    const bool hasCount = parts->count.value_or(0) > 0;
    std::string line(kName);
    std::string_view rest = value;
    while (!rest.empty()) {
        const std::size_t end = rest.find(';');
        const std::string_view part = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        const bool isUntil = part.starts_with("UNTIL=");
        if (part.starts_with("COUNT=") && !hasCount) continue;
        if (isUntil && (hasCount || !parts->until)) continue;
        if (line.size() > kName.size()) line += ';';
        line += part;
        if (isUntil) line += 'Z';
    }
    Line(line);
}

void AppendEvent(std::string& text, PropertySource& item, const std::string& stamp) {
    ItemLines lines(text, item);
    lines.Line("BEGIN:VEVENT");
    lines.Text("UID:", property::kAppointmentUid);
    lines.Line(stamp);
    lines.Date("DTSTART:", property::kEventStart);
    lines.Date("DTEND:", property::kEventEnd);
    lines.CommonTexts();
    lines.Text("LOCATION:", property::kLocation);
    lines.Rule();
    lines.Modified();
    lines.Line("END:VEVENT");
}

// The standard wants a whole number of percent.
std::string WholePercent(PropertySource& item) {
    const double percent = item.Double(property::kPercentComplete).value_or(-1);
    return percent >= 0 && percent <= 100 ? std::to_string(std::lround(percent)) : std::string();
}

void AppendTask(std::string& text, PropertySource& item, const std::string& stamp) {
    ItemLines lines(text, item);
    lines.Line("BEGIN:VTODO");
    lines.Text("UID:", property::kItemId);
    lines.Line(stamp);
    lines.Date("DTSTART:", property::kTaskStart);
    lines.Date("DUE:", property::kDueDate);
    lines.CommonTexts();
    lines.Word("CLASS:", ClassWord(item));
    lines.Word("STATUS:", StatusWord(item));
    lines.Word("PRIORITY:", PriorityWord(item));
    lines.Word("PERCENT-COMPLETE:", WholePercent(item));
    lines.Modified();
    lines.Line("END:VTODO");
}

}  // namespace

std::string CalendarFileText(std::span<CalendarItem> items, std::uint64_t now) {
    const std::string stamp = "DTSTAMP:" + DateText(now) + "Z";
    std::string text =
        std::string("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:") + kExportProducer + "\r\n";
    for (CalendarItem& item : items) {
        const bool isEvent = item.kind == ItemKind::Event;
        (isEvent ? AppendEvent : AppendTask)(text, item.properties, stamp);
    }
    return text + "END:VCALENDAR\r\n";
}

}  // namespace tarnwick

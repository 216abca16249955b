#include "Library/convert/OwnItems.h"

#include <algorithm>
#include <string>

#include "common/Scan.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/ItemText.h"

namespace tarnwick {
namespace {

// What stands before an own item; behind it come the kind and the item's lines.
bool TakeBeginning(std::string_view& text) {
    for (const std::string_view part :
         {std::string_view("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:"),
          std::string_view(kProducer), std::string_view("\r\nBEGIN:V")}) {
        if (!text.starts_with(part)) return false;
        text.remove_prefix(part.size());
    }
    return true;
}

constexpr std::string_view kEventEnd = "\r\nEND:VEVENT\r\nEND:VCALENDAR";
constexpr std::string_view kModified = "LAST-MODIFIED:";
constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kTaskEnd = "\r\nEND:VTODO\r\nEND:VCALENDAR";

bool IsDateOrEmpty(std::string_view value) {
    return value.empty() || ParseDateValue(value).has_value();
}

bool IsModifiedLine(std::string_view line) {
    return line.starts_with(kModified) && IsDateOrEmpty(line.substr(kModified.size()));
}

}  // namespace

// What is left of an item, without the line break before its end.
struct OwnItems::Cursor {
    std::string_view text;  // the whole file
    std::size_t at;         // in it
    std::size_t end;

    std::string_view Rest() const { return text.substr(at, end - at); }

    // Takes a line of that name, up to the first line break; false when there is none.
    bool TakeLine(std::string_view name, OwnItem& item) {
        if (!Rest().starts_with(name)) return false;
        return TakeUpTo(std::min(FindText(text, "\r\n", at), end), item);
    }
    bool TakeDate(std::string_view name, OwnItem& item) {
        return TakeLine(name, item) && IsDateOrEmpty(item.lines.back().value);
    }
    // Takes the line, or lines, of a name up to a place.
    bool TakeUpTo(std::size_t place, OwnItem& item) {
        if (place > end || place < at) return false;
        const std::string_view whole = text.substr(at, place - at);
        const std::size_t colon = FindByte(whole, ':');
        ContentLine line;
        line.text = whole;
        line.name = whole.substr(0, colon);
        line.value = whole.substr(colon + 1);
        line.hasValue = true;
        item.lines.push_back(line);
        at = std::min(place + 2, end);
        return true;
    }
    // Takes the body and the subject, which is behind the last line that begins like one.
    bool TakeSubject(OwnItem& item) {
        if (!Rest().starts_with("DESCRIPTION:")) return false;
        const std::size_t found = Rest().rfind("\r\nSUMMARY:");
        return found != kNotFound && TakeUpTo(at + found, item) && TakeUpTo(end, item);
    }
};

std::size_t OwnItems::Find(Place& place, std::string_view wanted, std::size_t from) const {
    if (from < place.from || from > place.at) {
        place.from = from;
        place.at = FindText(text_, wanted, from);
    }
    return place.at;
}

// The end that the text of an item goes up to. Nothing but blank lines may follow before the next
// calendar or the end.
std::size_t OwnItems::FindEnd(ItemKind kind, std::size_t from) {
    const std::string_view wanted = kind == ItemKind::Event ? kEventEnd : kTaskEnd;
    Place& place = ends_[static_cast<std::size_t>(kind)];
    if (from >= place.from && from <= place.at) return place.at;
    place.from = from;
    for (place.at = FindText(text_, wanted, from); place.at != kNotFound;
         place.at = FindText(text_, wanted, place.at + 1)) {
        const std::size_t next = text_.find_first_not_of(kBlanks, place.at + wanted.size());
        const bool isLast =
            next == kNotFound || text_.substr(next).starts_with("BEGIN:VCALENDAR\r\n");
        if (isLast && (kind == ItemKind::Task || IsModifiedLine(LineBefore(place.at)))) {
            break;
        }
    }
    return place.at;
}

// The line that a line break ends.
std::string_view OwnItems::LineBefore(std::size_t lineBreak) const {
    const std::size_t before = text_.substr(0, lineBreak).rfind("\r\n");
    const std::size_t start = before == kNotFound ? 0 : before + 2;
    return text_.substr(start, lineBreak - start);
}

// What is behind the place, backwards.
bool OwnItems::TakeEventEnd(Cursor& cursor, OwnItem& item) {
    const std::string_view modified = LineBefore(cursor.end);
    if (cursor.end - cursor.at < modified.size() + 2) return false;
    Cursor last{text_, cursor.end - modified.size(), cursor.end};
    cursor.end = last.at - 2;
    const std::string_view line = LineBefore(cursor.end);
    Cursor rule{text_, cursor.end - line.size(), cursor.end};
    const bool hasRule = line.starts_with("RRULE:FREQ=") && rule.at >= cursor.at + 2;
    if (hasRule) cursor.end = rule.at - 2;
    return cursor.TakeSubject(item) && (!hasRule || rule.TakeUpTo(rule.end, item)) &&
           last.TakeDate(kModified, item);
}

bool OwnItems::TakeEventLines(Cursor& cursor, OwnItem& item) {
    if (!cursor.TakeDate("DTSTART:", item) || !cursor.TakeDate("DTEND:", item) ||
        !cursor.Rest().starts_with("UID:") ||
        !cursor.TakeUpTo(Find(location_, "\r\nLOCATION:", cursor.at), item) ||
        !cursor.TakeUpTo(Find(description_, "\r\nDESCRIPTION:", cursor.at), item) ||
        failedEnd_ == cursor.end) {
        return false;
    }
    const std::size_t end = cursor.end;
    const bool isTaken = TakeEventEnd(cursor, item);
    if (!isTaken) failedEnd_ = end;
    return isTaken;
}

bool OwnItems::TakeTaskEnd(Cursor& cursor, std::size_t classPlace, OwnItem& item) {
    const std::string_view due = LineBefore(classPlace);
    const std::size_t dueStart = classPlace - due.size();
    if (due.starts_with("DUE:") && dueStart >= cursor.at + 2) {
        if (!cursor.TakeUpTo(dueStart - 2, item) || !cursor.TakeDate("DUE:", item)) return false;
    } else if (!cursor.TakeUpTo(classPlace, item)) {
        return false;
    }
    for (const std::string_view name :
         {"CLASS:", "LAST-MODIFIED:", "PERCENT-COMPLETE:", "STATUS:", "PRIORITY:"}) {
        if (!cursor.TakeLine(name, item)) return false;
    }
    if (cursor.Rest().starts_with("DTSTART:") && !cursor.TakeDate("DTSTART:", item)) return false;
    return cursor.TakeSubject(item);
}

bool OwnItems::TakeTaskLines(Cursor& cursor, OwnItem& item) {
    if (!cursor.Rest().starts_with("UID:")) return false;
    const std::size_t classPlace = Find(class_, "\r\nCLASS:", cursor.at);
    if (classPlace > cursor.end || classPlace == failedClass_) return false;
    const bool isTaken = TakeTaskEnd(cursor, classPlace, item);
    if (!isTaken) failedClass_ = classPlace;
    return isTaken;
}

std::optional<OwnItem> OwnItems::At(std::size_t position) {
    std::string_view rest = text_.substr(position);
    if (!TakeBeginning(rest)) return std::nullopt;
    const bool isEvent = rest.starts_with("EVENT\r\n");
    if (!isEvent && !rest.starts_with("TODO\r\n")) return std::nullopt;
    OwnItem item;
    item.kind = isEvent ? ItemKind::Event : ItemKind::Task;
    const std::size_t start = text_.size() - rest.size() + (isEvent ? 7 : 6);
    const std::size_t end = FindEnd(item.kind, start);
    if (end == kNotFound) return std::nullopt;
    Cursor cursor{text_, start, end};
    if (!(isEvent ? TakeEventLines(cursor, item) : TakeTaskLines(cursor, item))) {
        return std::nullopt;
    }
    const std::size_t next =
        text_.find_first_not_of(kBlanks, end + (isEvent ? kEventEnd : kTaskEnd).size());
    item.length = std::min(next, text_.size()) - position;
    return item;
}

}  // namespace tarnwick

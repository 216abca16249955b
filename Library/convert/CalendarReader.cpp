#include "Library/convert/CalendarReader.h"

#include <span>

#include "Library/convert/Components.h"
#include "Library/convert/ItemReader.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/ZoneTable.h"

namespace tarnwick {
namespace {

// The lines that this system's own writers put into an item, in their order.
constexpr std::string_view kEventLines[] = {
    "DTSTART:", "DTEND:", "UID:",           "LOCATION:", "DESCRIPTION:",
    "SUMMARY:", "RRULE:", "LAST-MODIFIED:", "END:VEVENT"};
constexpr std::string_view kTaskLines[] = {
    "UID:",      "DUE:",     "CLASS:",       "LAST-MODIFIED:", "PERCENT-COMPLETE:", "STATUS:",
    "PRIORITY:", "DTSTART:", "DESCRIPTION:", "SUMMARY:",       "END:VTODO"};

std::optional<ItemKind> KindOf(const OpenComponent& component) {
    if (component.Is("VEVENT")) return ItemKind::Event;
    if (component.Is("VTODO")) return ItemKind::Task;
    return std::nullopt;
}

class Reader {
  public:
    explicit Reader(std::string_view text) : lines_(text) {}

    void Read();
    CalendarReading Take() { return std::move(reading_); }

  private:
    void ReadCalendar(const OpenComponent& open);
    void TakeCalendarLine(const ContentLine& line);
    void ReadChild(const OpenComponent& child);
    void ReadItem(const OpenComponent& open, ItemKind kind);
    bool ReadVerbatimItem(const OpenComponent& open, ItemKind kind);

    ContentLines lines_;
    ZoneTable zones_;
    std::vector<PendingItem> pending_;
    CalendarReading reading_;
    Escapes escapes_ = Escapes::Modern;
    bool isOwnText_ = false;
};

void Reader::Read() {
    bool isEmpty = true;
    while (const auto line = lines_.Next()) {
        const auto open = BeginningOf(*line);
        if (!open || !open->Is("VCALENDAR")) {
            throw ReadFailure(line->number, "BEGIN:VCALENDAR expected");
        }
        ReadCalendar(*open);
        isEmpty = false;
    }
    if (isEmpty) throw ReadFailure(lines_.LineNumber(), "BEGIN:VCALENDAR expected");
    zones_.Finish(reading_.notes);
    reading_.items.reserve(pending_.size());
    for (PendingItem& pending : pending_) {
        SetDates(pending, zones_, reading_.notes);
        reading_.items.push_back(std::move(pending.item));
    }
}

void Reader::ReadCalendar(const OpenComponent& open) {
    escapes_ = Escapes::Modern;
    isOwnText_ = false;
    lines_.KeepFoldBlanks(false);
    ReadComponent(
        lines_, open, [this](const OpenComponent& child) { ReadChild(child); },
        [this](const ContentLine& line) { TakeCalendarLine(line); });
}

void Reader::TakeCalendarLine(const ContentLine& line) {
    if (EqualsIgnoreCase(line.name, "VERSION") && line.value == "1.0") {
        escapes_ = Escapes::Old;
        lines_.KeepFoldBlanks(true);
    } else if (EqualsIgnoreCase(line.name, "PRODID")) {
        isOwnText_ = line.value == kProducer;
    }
}

void Reader::ReadChild(const OpenComponent& child) {
    if (const auto kind = KindOf(child)) {
        ReadItem(child, *kind);
    } else if (child.Is("VTIMEZONE")) {
        zones_.ReadTimeZone(lines_, child, reading_.notes);
    } else if (child.Is("VCALENDAR")) {
        throw ReadFailure(child.line, "a VCALENDAR inside a VCALENDAR");
    } else {
        SkipComponent(lines_, child);
    }
}

void Reader::ReadItem(const OpenComponent& open, ItemKind kind) {
    if (isOwnText_ && ReadVerbatimItem(open, kind)) return;
    ItemReader item(kind, open.line, escapes_, zones_, reading_.notes);
    const auto onChild = [this, &open](const OpenComponent& child) {
        if (KindOf(child) || child.Is("VCALENDAR")) {
            throw ReadFailure(child.line, "a " + child.name + " inside the " + open.name +
                                              " of line " + std::to_string(open.line));
        }
        SkipComponent(lines_, child);
    };
    ReadComponent(lines_, open, onChild, [&item](const ContentLine& line) { item.Take(line); });
    pending_.push_back(item.Finish());
}

// An item as this system writes it: its texts stand there as they are, line breaks included. False,
// with nothing read, when it does not begin like one.
bool Reader::ReadVerbatimItem(const OpenComponent& open, ItemKind kind) {
    const std::span<const std::string_view> beginnings =
        kind == ItemKind::Event ? std::span<const std::string_view>(kEventLines)
                                : std::span<const std::string_view>(kTaskLines);
    std::size_t at = 0;
    auto line = lines_.NextVerbatim(beginnings, at);
    if (!line) return false;
    ItemReader item(kind, open.line, Escapes::None, zones_, reading_.notes);
    const std::size_t end = beginnings.size() - 1;
    while (line && at != end) {
        item.Take(*line);
        ++at;
        line = lines_.NextVerbatim(beginnings, at);
    }
    if (!line) throw ReadFailure(open.line, "BEGIN:" + open.name + " is never ended");
    pending_.push_back(item.Finish());
    return true;
}

}  // namespace

CalendarReading ReadCalendarText(std::string_view text) try {
    RequireText(text);
    Reader reader(text);
    reader.Read();
    return reader.Take();
} catch (const ReadFailure& failure) {
    CalendarReading failed;
    failed.failure = failure.problem;
    return failed;
}

}  // namespace tarnwick

#include "Library/convert/CalendarReader.h"

#include <algorithm>

#include "Library/convert/Components.h"
#include "Library/convert/ItemReader.h"
#include "Library/convert/OwnItems.h"
#include "Library/convert/ZoneTable.h"

namespace tarnwick {
namespace {

std::optional<ItemKind> KindOf(const OpenComponent& component) {
    if (component.Is("VEVENT")) return ItemKind::Event;
    if (component.Is("VTODO")) return ItemKind::Task;
    return std::nullopt;
}

// Reads one VCALENDAR, whose BEGIN has been read, to its END.
class CalendarPart {
  public:
    CalendarPart(ContentLines& lines, CalendarReading& reading, Remarks& remarks)
        : lines_(lines), reading_(reading), remarks_(remarks), writer_(escapes_, remarks) {
        lines_.KeepFoldBlanks(false);
    }

    void Read(const OpenComponent& open);
    // Takes an item of this system's own instead.
    void Take(const OwnItem& own);

  private:
    void TakeLine(const ContentLine& line);
    void TakeOffset(const ContentLine& line);
    void ReadChild(const OpenComponent& child);
    void ReadItem(const OpenComponent& open, ItemKind kind);
    void ReadInner(ItemReader& item, const OpenComponent& parent, const OpenComponent& child);
    void Finish();

    ContentLines& lines_;
    CalendarReading& reading_;
    Remarks& remarks_;
    Escapes escapes_ = Escapes::Modern;
    LineWriter writer_;
    ZoneTable zones_;
    std::vector<PendingItem> pending_;
    std::string zoneName_;
    CalendarFacts facts_;
};

void CalendarPart::Read(const OpenComponent& open) {
    ReadComponent(
        lines_, open, [this](const OpenComponent& child) { ReadChild(child); },
        [this](const ContentLine& line) { TakeLine(line); });
    if (escapes_ == Escapes::Modern) facts_.zone = zones_.Defined(zoneName_);
    zones_.Finish(remarks_);
    Finish();
}

void CalendarPart::Take(const OwnItem& own) {
    const std::size_t number = lines_.LineNumber();
    ItemReader item(own.kind, number, 1, Escapes::None, nullptr, zones_, remarks_);
    for (ContentLine line : own.lines) {
        line.number = number;
        item.Take(line);
    }
    pending_.push_back(item.Finish());
    Finish();
}

void CalendarPart::Finish() {
    if (reading_.items.empty()) reading_.items.reserve(pending_.size());
    for (PendingItem& pending : pending_) {
        if (CompleteItem(pending, facts_, remarks_)) {
            reading_.items.push_back(std::move(pending.item));
        } else if (pending.isUnreadable) {
            ++reading_.leftOut;
        }
    }
}

void CalendarPart::TakeLine(const ContentLine& line) {
    const std::string_view value = TrimBlanks(line.value);
    if (!line.IsProperty()) {
        remarks_.Note(line.number, NotAProperty(line));
    } else if (line.Is("VERSION") && value == "1.0") {
        escapes_ = Escapes::Old;
        writer_.SetEscapes(escapes_);
        lines_.KeepFoldBlanks(true);
    } else if (line.Is("METHOD")) {
        facts_.isCancelled = EqualsIgnoreCase(value, "CANCEL");
    } else if (line.Is("X-WR-TIMEZONE")) {
        zoneName_ = Unescape(value, escapes_);
    } else if (line.Is("TZ")) {
        TakeOffset(line);
    } else if (line.Is("DAYLIGHT") && !EqualsIgnoreCase(value, "FALSE")) {
        remarks_.Note(line.number, "daylight saving is left out: " + Excerpt(value));
    } else if (line.Is("CALSCALE") && !EqualsIgnoreCase(value, "GREGORIAN")) {
        remarks_.Note(line.number, "the dates are taken as Gregorian, not as " + Excerpt(value));
    }
}

// The offset that the times of the older format count from.
void CalendarPart::TakeOffset(const ContentLine& line) {
    std::string value(TrimBlanks(line.value));
    std::erase(value, ':');
    if (value.size() == 3) value += "00";
    if (const auto offset = ParseUtcOffset(value)) {
        facts_.zone = zones_.DefineFixed(*offset);
    } else {
        remarks_.Note(line.number, CannotRead(line, "an offset", line.value));
    }
}

void CalendarPart::ReadChild(const OpenComponent& child) {
    if (const auto kind = KindOf(child)) {
        ReadItem(child, *kind);
    } else if (child.Is("VTIMEZONE")) {
        zones_.ReadTimeZone(lines_, child, writer_, remarks_);
    } else if (child.Is("VCALENDAR")) {
        throw ReadFailure(child.line, "a VCALENDAR inside a VCALENDAR");
    } else {
        remarks_.Note(child.line, "a " + Excerpt(child.name) + " is passed over");
        SkipComponent(lines_, child);
    }
}

void CalendarPart::ReadItem(const OpenComponent& open, ItemKind kind) {
    ItemReader item(kind, open.line, pending_.size() + 1, escapes_, &writer_, zones_, remarks_);
    // Items of one text are of about one length.
    if (!pending_.empty()) item.Expect(pending_.back().item.lines.size());
    ReadComponent(
        lines_, open,
        [this, &item, &open](const OpenComponent& child) { ReadInner(item, open, child); },
        [&item](const ContentLine& line) { item.Take(line); });
    pending_.push_back(item.Finish());
}

void RefuseItem(const OpenComponent& child, const OpenComponent& parent) {
    if (!KindOf(child) && !child.Is("VCALENDAR")) return;
    throw ReadFailure(child.line, "a " + child.name + " inside the " + parent.name + " of line " +
                                      std::to_string(parent.line));
}

// An alarm and the like.
void CalendarPart::ReadInner(ItemReader& item, const OpenComponent& parent,
                             const OpenComponent& child) {
    RefuseItem(child, parent);
    const std::string begin = "BEGIN:" + child.name;
    item.TakeInner({child.line, begin, "BEGIN", {}, child.name, true});
    ReadWhole(lines_, child, [&item, &parent](const ContentLine& line) {
        if (const auto inner = BeginningOf(line)) RefuseItem(*inner, parent);
        item.TakeInner(line);
    });
}

// Reads the calendars of a text.
class Reader {
  public:
    explicit Reader(std::string_view text) : lines_(text), own_(text), remarks_(text) {
        lines_.NoteControlsIn(remarks_);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void Read();
    CalendarReading Take();

  private:
    bool ReadOwnItem();

    ContentLines lines_;
    OwnItems own_;
    Remarks remarks_;
    CalendarReading reading_;
};

void Reader::Read() {
    bool isEmpty = true;
    bool isStray = false;
    std::size_t firstLine = lines_.LineNumber();
    for (lines_.SkipBlankLines();; lines_.SkipBlankLines()) {
        if (ReadOwnItem()) {
            isEmpty = isStray = false;
            continue;
        }
        lines_.KeepFoldBlanks(false);
        const auto line = lines_.Next();
        if (!line) break;
        const auto open = BeginningOf(*line);
        const bool isCalendar = open && open->Is("VCALENDAR");
        if (isCalendar) {
            CalendarPart(lines_, reading_, remarks_).Read(*open);
            isEmpty = false;
        } else if (!isStray) {
            remarks_.Note(line->number,
                          "text outside of calendars is passed over: " + Excerpt(line->text));
        }
        isStray = !isCalendar;
    }
    if (isEmpty) throw ReadFailure(firstLine, "BEGIN:VCALENDAR expected");
}

bool Reader::ReadOwnItem() {
    const auto own = own_.At(lines_.Position());
    if (!own) return false;
    CalendarPart(lines_, reading_, remarks_).Take(*own);
    lines_.Skip(own->length);
    return true;
}

CalendarReading Reader::Take() {
    for (auto* problems : {&remarks_.notes, &remarks_.unheld}) {
        std::stable_sort(problems->begin(), problems->end(),
                         [](const ReadProblem& left, const ReadProblem& right) {
                             return left.line < right.line;
                         });
    }
    reading_.notes = std::move(remarks_.notes);
    reading_.unheld = std::move(remarks_.unheld);
    return std::move(reading_);
}

}  // namespace

CalendarReading ReadCalendarText(std::string_view text) {
    return ReadingOf<CalendarReading>(text, [](std::string_view utf8) {
        Reader reader(utf8);
        reader.Read();
        return reader.Take();
    });
}

}  // namespace tarnwick

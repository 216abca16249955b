// Takes the lines of one VEVENT or VTODO and makes an item of them.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Library/convert/CalendarReader.h"
#include "Library/convert/ValueText.h"
#include "Library/convert/ZoneTable.h"

namespace tarnwick {

// An item whose dates wait for the time zones, which may follow it in the text.
struct PendingItem {
    CalendarItem item;
    std::optional<ZonedDate> start;
    std::optional<ZonedDate> end;
    std::optional<DurationValue> duration;
    // Whether an event without an end gets one from its start, as the standard has it.
    bool endsImplicitly = false;
};

class ItemReader {
  public:
    ItemReader(ItemKind kind, std::size_t line, Escapes escapes, ZoneTable& zones,
               std::vector<ReadProblem>& notes);

    // Takes one property line; those that no property holds are passed over. Throws ReadFailure
    // when the value of one that is held cannot be read.
    void Take(const ContentLine& line);

    PendingItem Finish() { return std::move(pending_); }

  private:
    using Handler = void (ItemReader::*)(const ContentLine&);
    struct Row {
        std::string_view name;
        Handler handler;
    };
    static const Row kEventRows[];
    static const Row kTaskRows[];

    void SetText(const char* name, const ContentLine& line);
    void TakeUid(const ContentLine& line);
    void TakeStart(const ContentLine& line);
    void TakeEnd(const ContentLine& line);
    void TakeDuration(const ContentLine& line);
    void TakeLocation(const ContentLine& line);
    void TakeDescription(const ContentLine& line);
    void TakeSummary(const ContentLine& line);
    void TakeRule(const ContentLine& line);
    void TakeModified(const ContentLine& line);
    void TakeClass(const ContentLine& line);
    void TakePercent(const ContentLine& line);
    void TakeStatus(const ContentLine& line);
    void TakePriority(const ContentLine& line);

    Escapes escapes_;
    ZoneTable& zones_;
    std::vector<ReadProblem>& notes_;
    PendingItem pending_;
};

// Sets the item's dates, after the end of the text.
void SetDates(PendingItem& pending, const ZoneTable& zones, std::vector<ReadProblem>& notes);

}  // namespace tarnwick

// Takes the lines of one VEVENT or VTODO and makes an item of them.
#pragma once

#include <bitset>
#include <optional>
#include <string_view>
#include <vector>

#include "Library/convert/CalendarReader.h"
#include "Library/convert/ScheduleReader.h"
#include "Library/convert/ZoneTable.h"

namespace tarnwick {

// An item that waits for the time zones, which may follow it in the text.
struct PendingItem {
    CalendarItem item;
    std::string rule;  // the first, for the properties
    std::size_t ruleLine = 0;
    std::vector<ReadProblem> unheld;
    std::vector<LinePlace> floating;  // where the zone of a floating time would stand in the lines
    LinePlace status;                 // the line of STATUS
    LinePlace duration;               // of DURATION
    LinePlace end;                    // and of DTEND
    bool isOwn = false;               // of a text of this system, which has neither lines nor notes
    bool isUnreadable = false;        // an event whose start cannot be read
};

// The calendar that an item stands in, as its end knows it.
struct CalendarFacts {
    std::shared_ptr<const Zone> zone;  // of floating times; null for UTC
    bool isCancelled = false;          // METHOD:CANCEL
};

class ItemReader {
  public:
    // The item begins in line `line` and is the `number`-th. A null `writer` leaves its lines
    // empty.
    ItemReader(ItemKind kind, std::size_t line, std::size_t number, Escapes escapes,
               LineWriter* writer, ZoneTable& zones, Remarks& remarks);

    // Makes room for lines of that length.
    void Expect(std::size_t length) { pending_.item.lines.reserve(length); }

    // Takes one line; what cannot be read of it is noted.
    void Take(const ContentLine& line);
    // Takes a line of a component within the item, BEGIN and END included.
    void TakeInner(const ContentLine& line);

    PendingItem Finish();

  private:
    struct Row;
    static const Row kRows[];
    static const Row* RowOf(std::string_view name, ItemKind kind);

    bool TakeValue(const Row& row, const ContentLine& line,
                   const std::shared_ptr<const Zone>& zone);
    bool TakeReplaced(const ContentLine& line, const std::shared_ptr<const Zone>& zone);
    bool TakeText(const char* property, const ContentLine& line);
    bool TakeRule(const Row& row, const ContentLine& line);
    bool TakeStamp(const Row& row, const ContentLine& line,
                   const std::shared_ptr<const Zone>& zone);
    bool TakeClass(const ContentLine& line);
    bool TakePercent(const ContentLine& line);
    bool TakeStatus(const ContentLine& line);
    bool TakeNumber(const Row& row, const ContentLine& line);
    void Keep(const ContentLine& line);
    void KeepTrimmed(const ContentLine& line);
    void Unheld(const ContentLine& line, const std::string& what);

    std::size_t number_;
    Escapes escapes_;
    LineWriter* writer_;
    ZoneTable& zones_;
    Remarks& remarks_;
    std::size_t firstNote_;
    std::bitset<32> seen_;  // rows that count once
    PendingItem pending_;
    ScheduleReader schedule_;
};

// Sets the item's dates and recurrence and completes its lines, at the end of its calendar. False
// when the item is not to be kept, which is noted.
bool CompleteItem(PendingItem& pending, const CalendarFacts& calendar, Remarks& remarks);

}  // namespace tarnwick

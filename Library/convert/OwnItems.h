// Finds the events and tasks that this system wrote itself (ItemText.h). Their texts stand there as
// they are, line breaks included, so that only the whole of such an item tells where they end.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "Library/convert/CalendarReader.h"
#include "Library/convert/ContentLines.h"

namespace tarnwick {

struct OwnItem {
    ItemKind kind = ItemKind::Event;
    std::size_t length = 0;          // of its VCALENDAR, up to the next one or the end of the text
    std::vector<ContentLine> lines;  // their numbers are not set
};

class OwnItems {
  public:
    // `text` must outlive this and the lines.
    explicit OwnItems(std::string_view text) : text_(text) {}

    // The item whose VCALENDAR begins at `position`; nothing when it is not exactly as the writers
    // have it. Positions must not descend. The time of all calls together goes with the text's
    // length.
    //
    // An item ends where "END:VEVENT" and "END:VCALENDAR" are followed by the end of the text or by
    // another VCALENDAR. Within it the subject is behind the last "SUMMARY:" that begins a line,
    // so that a body may hold what it likes; other texts end at the first line that begins with
    // the next name.
    std::optional<OwnItem> At(std::size_t position);

  private:
    // Where a text is found again: looked for once for all positions up to the place.
    struct Place {
        std::size_t from = 1;
        std::size_t at = 0;
    };
    struct Cursor;

    std::size_t Find(Place& place, std::string_view wanted, std::size_t from) const;
    std::string_view LineBefore(std::size_t lineBreak) const;
    std::size_t FindEnd(ItemKind kind, std::size_t from);
    bool TakeEventLines(Cursor& cursor, OwnItem& item);
    bool TakeTaskLines(Cursor& cursor, OwnItem& item);
    bool TakeEventEnd(Cursor& cursor, OwnItem& item);
    bool TakeTaskEnd(Cursor& cursor, std::size_t classPlace, OwnItem& item);

    std::string_view text_;
    Place ends_[2];
    Place location_;
    Place description_;
    Place class_;
    // Nothing that ends, or has its class, at these places is an own item.
    std::size_t failedEnd_ = 0;
    std::size_t failedClass_ = 0;
};

}  // namespace tarnwick

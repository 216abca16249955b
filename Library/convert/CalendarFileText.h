// Writes calendar files for other programs, as RFC 5545 has them. The item texts of ItemText.h are
// the store's own form; what is written here is escaped, folded and valid. Lines of items are those
// of CalendarItem::lines throughout.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Library/convert/CalendarReader.h"

namespace tarnwick {

// The lines of a component without its properties of these names, and with `instead` behind its
// BEGIN. Components within it stay as they are.
std::string ReplaceLines(std::string_view lines, std::initializer_list<std::string_view> names,
                         std::string_view instead);
// Whether a component has a property of that name.
bool HasLine(std::string_view lines, std::string_view name);

// The lines with a UID and a DTSTAMP (of the file time `now`) where they have none.
std::string CompleteLines(std::string_view lines, std::string_view uid, std::uint64_t now);

// One VCALENDAR, put together of components and the zones that they name.
class CalendarFile {
  public:
    explicit CalendarFile(std::string_view producer) : producer_(producer) {}

    // A property of the calendar itself.
    void AddProperty(std::string_view line) { head_.append(line).append("\n"); }

    // Zones of one name that are defined alike stand in the file once; for one that is defined
    // otherwise, the lines get another name.
    void Add(std::string_view lines, std::span<const std::shared_ptr<const Zone>> zones);

    // The file: lines folded after at most 75 bytes (not within a UTF-8 character), with CR LF.
    std::string Text() const;

  private:
    struct WrittenZone {
        std::string name;        // in the file
        std::string definition;  // as the zone's own text has it
    };
    std::string NameOf(const Zone& zone);

    std::string producer_;
    std::string head_;
    std::vector<WrittenZone> written_;
    std::vector<std::string> zones_;
    std::string components_;
};

// A calendar file of all the items.
std::string CalendarFileText(std::span<const CalendarItem> items, std::uint64_t now);

}  // namespace tarnwick

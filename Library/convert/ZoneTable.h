// The time zones of one calendar, by their TZID. Times may name a zone before its definition.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Library/convert/Components.h"
#include "Library/convert/LineWriter.h"
#include "Library/convert/Schedule.h"

namespace tarnwick {

class ZoneTable {
  public:
    // The zone that a line names; null without a TZID.
    std::shared_ptr<const Zone> Of(const ContentLine& line);

    // Makes the zone that Of gave last one of `zones`, those of item number `item` (from 1,
    // ascending), unless it is already.
    void Keep(std::size_t item, std::vector<std::shared_ptr<const Zone>>& zones);

    // Reads a VTIMEZONE to its end. What of it cannot be used is noted.
    void ReadTimeZone(ContentLines& lines, const OpenComponent& open, LineWriter& writer,
                      Remarks& remarks);

    // Defines a zone whose clocks are always so many seconds east of UTC, under a name that tells
    // of it.
    std::shared_ptr<const Zone> DefineFixed(std::int32_t offset);

    // The zone of that name, where it is defined; null otherwise.
    std::shared_ptr<const Zone> Defined(std::string_view name) const;

    // To be called at the end of the calendar: notes the zones that were named and not defined.
    void Finish(Remarks& remarks) const;

  private:
    struct Entry {
        std::shared_ptr<Zone> zone;
        std::size_t lastItem = 0;
    };

    Entry& Named(std::string_view name, std::size_t line);

    std::vector<Entry> entries_;
    std::map<std::string, std::size_t, std::less<>> numbers_;
    std::size_t lastNumber_ = 0;
};

}  // namespace tarnwick

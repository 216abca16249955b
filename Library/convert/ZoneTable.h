// The time zones of one calendar text, by their TZID. Times may name a zone before its definition.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Library/convert/CalendarValues.h"
#include "Library/convert/Components.h"
#include "Library/convert/ReadProblem.h"
#include "Library/convert/TimeZone.h"

namespace tarnwick {

// A date with the zone whose clocks show it.
struct ZonedDate {
    static constexpr std::size_t kNoZone = static_cast<std::size_t>(-1);

    DateValue date;
    std::size_t zone = kNoZone;
};

class ZoneTable {
  public:
    // Parses the date of a line, with its TZID. Throws ReadFailure when it is no date.
    ZonedDate ParseDate(const ContentLine& line);

    // Reads a VTIMEZONE to its end. What of it cannot be used is noted.
    void ReadTimeZone(ContentLines& lines, const OpenComponent& open,
                      std::vector<ReadProblem>& notes);

    // To be called at the end of the text: notes the zones that were named and not defined.
    void Finish(std::vector<ReadProblem>& notes);

    // Seconds since 1970 in UTC, after the end of the text. Dates, times without a zone and times
    // in a zone that the text does not define are taken as UTC.
    std::int64_t ToUtc(const ZonedDate& date) const;

  private:
    struct Zone {
        std::string name;
        std::size_t firstUse = 0;
        TimeZone zone;
    };

    std::size_t NumberOf(std::string_view name, std::size_t line);

    std::vector<Zone> zones_;
    std::map<std::string, std::size_t, std::less<>> numbers_;
    std::size_t lastNumber_ = 0;
};

}  // namespace tarnwick

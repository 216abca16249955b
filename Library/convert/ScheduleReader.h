// Takes the lines of an item that say when it takes place.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Library/convert/LineWriter.h"
#include "Library/convert/Schedule.h"

namespace tarnwick {

// A place in an item's lines that may change at the end of its calendar.
struct LinePlace {
    std::size_t at = 0;
    std::size_t length = 0;
};

class ScheduleReader {
  public:
    // Lines that are read are appended to `lines`, in their standard form, unless `writer` is null;
    // where the zone of a floating time would stand goes into `floating`.
    ScheduleReader(Schedule& schedule, std::string& lines, std::vector<LinePlace>& floating,
                   LineWriter* writer, Escapes escapes, Remarks& remarks)
        : schedule_(schedule),
          lines_(lines),
          floating_(floating),
          writer_(writer),
          escapes_(escapes),
          remarks_(remarks) {}

    // Each reads one line, whose TZID names `zone`. False, with a note, when nothing of it can be
    // read. Of a list, what can be read is kept.
    bool TakeDate(const ContentLine& line, const std::shared_ptr<const Zone>& zone,
                  std::optional<ZonedTime>& date);
    bool TakeExceptions(const ContentLine& line, const std::shared_ptr<const Zone>& zone);
    bool TakeAdditions(const ContentLine& line, const std::shared_ptr<const Zone>& zone);
    bool TakeDuration(const ContentLine& line, LinePlace& place);
    bool TakeRule(const ContentLine& line, std::vector<std::string>& rules);

  private:
    std::string TakeAddition(std::string_view item, const std::shared_ptr<const Zone>& zone);
    template <typename Take>
    bool TakeList(const ContentLine& line, Take take);
    void WriteDates(const ContentLine& line, std::string_view value, bool areDates,
                    bool areFloating);

    Schedule& schedule_;
    std::string& lines_;
    std::vector<LinePlace>& floating_;
    LineWriter* writer_;
    Escapes escapes_;
    Remarks& remarks_;
};

// What a note says of a property that cannot be read.
std::string CannotRead(const ContentLine& line, const char* what, std::string_view value);

inline bool IsFloating(const ZonedTime& time) {
    return time.zone == nullptr && !time.date.isDate && !time.date.isUtc;
}

}  // namespace tarnwick

// A time zone as a VTIMEZONE describes it (RFC 5545 section 3.6.5).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Library/convert/RuleParts.h"

namespace tarnwick {

// The day of a year on which an observance begins again each `interval` years.
struct YearlyOnset {
    std::int64_t interval = 1;
    std::int64_t lastYear = INT64_MAX;
    std::optional<DateValue> until;
    unsigned month = 1;
    int ordinal = 0;              // n-th (or n-th last, negative) day of `weekdays`; 0 none
    std::int32_t weekdays = 127;  // bit n is weekday n, from Sunday
    std::uint32_t daysOfMonth = 0xFFFFFFFE;  // bit n is day n; for the ordinal 0

    // The rule of an observance that starts on `start`; no value when it is not of this kind.
    static std::optional<YearlyOnset> From(const RuleParts& parts, std::int64_t start);
    // Days since 1970 of the onset in a year; no value when that year has none.
    std::optional<std::int64_t> DayIn(std::int64_t year) const;
};

// STANDARD or DAYLIGHT. Times are seconds on the clocks that show the offset before it.
struct Observance {
    std::optional<std::int64_t> start;
    std::optional<std::int32_t> offsetFrom;
    std::optional<std::int32_t> offsetTo;
    std::vector<std::int64_t> dates;
    std::optional<YearlyOnset> rule;
};

class TimeZone {
  public:
    // More yearly rules than any real zone has; each one costs every conversion some time.
    static constexpr std::size_t kMostRules = 64;

    // False when the observance lacks its start or an offset, or when there are too many rules.
    bool Add(const Observance& observance);
    bool IsEmpty() const { return changes_.empty(); }

    // To be called once behind the last Add.
    void Sort();

    // The time in UTC of a time shown by clocks in the zone. A time that occurs twice is the first
    // of the two; one that does not occur is taken with the offset before the gap.
    std::int64_t ToUtc(std::int64_t local) const;

    // A later local time; all before it, from `local` on, have the same offset.
    std::int64_t SameUntil(std::int64_t local) const;

  private:
    // From the local time at which the change has passed however one counts, `offset` holds.
    struct Change {
        std::int64_t passed;
        std::int32_t offset;
        std::int32_t offsetBefore;
        auto operator<=>(const Change&) const = default;
    };
    struct YearlyChange {
        YearlyOnset onset;
        std::int64_t start;
        std::int32_t offset;
        std::int32_t offsetBefore;
        std::int64_t TimeOn(std::int64_t day) const;
    };
    std::vector<Change>::const_iterator NextChange(std::int64_t local) const;
    static std::optional<Change> LatestChange(const YearlyChange& yearly, std::int64_t local);

    std::vector<Change> changes_;
    std::vector<YearlyChange> yearlyChanges_;
};

}  // namespace tarnwick

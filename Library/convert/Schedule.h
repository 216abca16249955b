// When an event takes place: its times on the clocks of its zone, and the rules by which it recurs
// (RFC 5545 sections 3.6.1 and 3.8.5).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/TimeZone.h"

namespace tarnwick {

// A time zone by its name in the text, defined there or not.
struct Zone {
    std::string name;
    std::size_t firstUse = 0;  // number of the first line that names it
    TimeZone offsets;          // empty when the text does not define it: its times count as UTC
    std::string lines;         // of its VTIMEZONE, as CalendarItem::lines
};

struct ZonedTime {
    DateValue date;
    std::shared_ptr<const Zone> zone;  // null for dates, UTC and floating times

    // Seconds since 1970 in UTC. Dates and floating times count as UTC.
    std::int64_t ToUtc() const;
};

// RDATE: one more occurrence. A period brings its own end, or its own length.
struct AddedTime {
    ZonedTime start;
    std::optional<ZonedTime> end;
    std::optional<DurationValue> length;
};

struct Schedule {
    std::optional<ZonedTime> start;
    std::optional<ZonedTime> end;
    std::optional<DurationValue> length;      // when there is no end
    std::vector<std::string> rules;           // the values of RRULE; ParsePattern takes each
    std::vector<std::string> exceptionRules;  // of EXRULE
    std::vector<AddedTime> additions;         // RDATE
    std::vector<ZonedTime> exceptions;        // EXDATE
    std::optional<ZonedTime> replaces;        // RECURRENCE-ID
    bool replacesFollowing = false;           // RANGE=THISANDFUTURE
    bool isCancelled = false;                 // STATUS:CANCELLED
};

// In seconds since 1970, UTC.
struct Occurrence {
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::size_t schedule = 0;  // which of the schedules gives it
    auto operator<=>(const Occurrence&) const = default;
};

struct OccurrenceWindow {
    std::optional<std::int64_t> from;  // none: from the first
    std::int64_t until = 0;            // the first second that is beyond
};

struct Occurrences {
    std::vector<Occurrence> within;  // in the order of their times
    std::size_t beyond = 0;          // how many start at or behind the window's end
    bool isEndless = false;          // `beyond` is then 0
    // More than kMostOccurrences lie in the window, or beyond it; or the search ended before all
    // were found: after a million times of one schedule, or when it has more than 64 rules of a
    // kind.
    bool isCut = false;
};

inline constexpr std::size_t kMostOccurrences = 10'000;

// The occurrences of all events with one UID that start in the window: those of each schedule
// without RECURRENCE-ID, less what it excludes and what the others replace or cancel, and the
// replacements. A schedule without a start has none. An event without rules and additions has one,
// its start; the start is always one, as most readers have it, whether its rules give it or not.
//
// Times of a rule are those on the clocks of the event's zone. A count counts the start, and does
// not count what exception rules and dates take away. UNTIL without a zone is on the same clocks,
// and a DATE is a whole day. Of texts of rules that ParsePattern does not take there is nothing.
// An exception, or the name of a replaced occurrence, means the occurrence of its instant; a DATE
// means those of its day, and for events of whole days a time does too. Of several replacements
// of one occurrence the last holds. RANGE=THISANDFUTURE moves what follows by as much, on the
// clocks of the event's zone, as it moves the one that it names. The exact length from DTSTART to
// DTEND, in UTC, is that of each occurrence; the days of a DURATION move the date on the zone's
// clocks. Nothing ends before it starts.
//
// Time goes with the number of occurrences up to the window's end and kMostOccurrences behind it;
// rules without a count pass over what is before the window. Rules that never come true end after
// a bounded search.
Occurrences OccurrencesOf(std::span<const Schedule* const> schedules,
                          const OccurrenceWindow& window);

}  // namespace tarnwick

#include "Library/convert/TimeZone.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <iterator>

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"

namespace tarnwick {
namespace {

// A rule may have no onset in some years; beyond so many years without one there is none.
constexpr int kMostYearsWithoutOnset = 32;

std::int64_t YearOf(std::int64_t seconds) {
    return CivilFromDays(DayOf(seconds)).year;
}

// When a change of offsets at `onset` has passed on the clocks before it and on those after it.
std::int64_t PassedAt(std::int64_t onset, std::int32_t before, std::int32_t after) {
    return onset + std::max(0, after - before);
}

std::optional<std::uint32_t> DaysOfMonthMask(std::string_view list) {
    std::uint32_t mask = 0;
    while (const auto item = NextListItem(list)) {
        const auto day = ParseWholeNumber(*item);
        if (!day || *day < 1 || *day > 31) return std::nullopt;
        mask |= std::uint32_t{1} << *day;
    }
    return mask;
}

}  // namespace

std::optional<YearlyOnset> YearlyOnset::From(const RuleParts& parts, std::int64_t start) {
    if (!EqualsIgnoreCase(parts.frequency, "YEARLY") || parts.hasMore || !parts.positions.empty()) {
        return std::nullopt;
    }
    const CivilDate date = CivilFromDays(DayOf(start));
    YearlyOnset onset;
    onset.until = parts.until;
    onset.interval = std::max(parts.interval.value_or(1), 1);
    if (parts.count) onset.lastYear = date.year + (*parts.count - 1) * onset.interval;
    const auto month = parts.months.empty() ? static_cast<std::int32_t>(date.month)
                                            : ParseWholeNumber(parts.months);
    const auto days = ParseRuleDays(parts.days);
    const auto daysOfMonth = DaysOfMonthMask(parts.daysOfMonth);
    if (!month || *month < 1 || *month > 12 || !days || !daysOfMonth) return std::nullopt;
    onset.month = static_cast<unsigned>(*month);
    if (days->mask != 0) onset.weekdays = days->mask;
    onset.ordinal = days->ordinal.value_or(0);
    if (!parts.daysOfMonth.empty()) {
        onset.daysOfMonth = *daysOfMonth;
    } else if (parts.days.empty()) {
        onset.daysOfMonth = std::uint32_t{1} << date.day;
    }
    return onset;
}

// Reading asks this for each time of an event and each rule of its zone, some years back; looking
// at one day after the other takes two to twelve times as long.
std::optional<std::int64_t> YearlyOnset::DayIn(std::int64_t year) const {
    // The weekdays for six weeks on end, from a Sunday; shifted so that bit n is day n.
    const auto week = static_cast<std::uint64_t>(weekdays);
    const std::uint64_t weeks =
        week | week << 7 | week << 14 | week << 21 | week << 28 | week << 35;
    const std::int64_t first = DaysFromCivil({year, month, 1});
    const std::uint64_t weekdaysFromFirst = weeks >> WeekdayFromDays(first) << 1;
    const std::uint64_t inMonth = (std::uint64_t{2} << DaysInMonth(year, month)) - 1;
    std::uint64_t days = weekdaysFromFirst & daysOfMonth & inMonth;
    for (int left = std::abs(ordinal); left > 1 && days != 0; --left) {
        days &= ordinal > 0 ? days - 1 : ~std::bit_floor(days);
    }
    if (days == 0) return std::nullopt;
    const int day = ordinal < 0 ? 63 - std::countl_zero(days) : std::countr_zero(days);
    return first + day - 1;
}

std::int64_t TimeZone::YearlyChange::TimeOn(std::int64_t day) const {
    return start + (day - DayOf(start)) * kSecondsPerDay;
}

bool TimeZone::Add(const Observance& observance) {
    if (!observance.start || !observance.offsetFrom || !observance.offsetTo) return false;
    if (observance.rule && yearlyChanges_.size() == kMostRules) return false;
    const std::int32_t before = *observance.offsetFrom;
    const std::int32_t after = *observance.offsetTo;
    changes_.push_back({PassedAt(*observance.start, before, after), after, before});
    for (const std::int64_t date : observance.dates) {
        changes_.push_back({PassedAt(date, before, after), after, before});
    }
    if (observance.rule) {
        yearlyChanges_.push_back({*observance.rule, *observance.start, after, before});
    }
    return true;
}

void TimeZone::Sort() {
    std::sort(changes_.begin(), changes_.end());
}

std::optional<TimeZone::Change> TimeZone::LatestChange(const YearlyChange& yearly,
                                                       std::int64_t local) {
    const YearlyOnset& onset = yearly.onset;
    const std::int64_t firstYear = YearOf(yearly.start);
    std::int64_t year = std::min(YearOf(local), onset.lastYear);
    if (onset.until) year = std::min(year, YearOf(onset.until->seconds) + 1);
    if (year < firstYear) return std::nullopt;
    year -= (year - firstYear) % onset.interval;
    for (int tries = 0; year >= firstYear && tries < kMostYearsWithoutOnset; ++tries) {
        if (const auto day = onset.DayIn(year)) {
            const std::int64_t time = yearly.TimeOn(*day);
            const std::int64_t passed = PassedAt(time, yearly.offsetBefore, yearly.offset);
            const std::int64_t comparable =
                onset.until && onset.until->isUtc ? time - yearly.offsetBefore : time;
            const bool ended = onset.until && comparable > onset.until->seconds;
            if (passed <= local && time >= yearly.start && !ended) {
                return Change{passed, yearly.offset, yearly.offsetBefore};
            }
        }
        year -= onset.interval;
    }
    return std::nullopt;
}

std::vector<TimeZone::Change>::const_iterator TimeZone::NextChange(std::int64_t local) const {
    return std::upper_bound(
        changes_.begin(), changes_.end(), local,
        [](std::int64_t time, const Change& change) { return time < change.passed; });
}

std::int64_t TimeZone::ToUtc(std::int64_t local) const {
    if (changes_.empty()) return local;
    const auto next = NextChange(local);
    std::optional<Change> latest;
    if (next != changes_.begin()) latest = *std::prev(next);
    for (const YearlyChange& yearly : yearlyChanges_) {
        const std::optional<Change> change = LatestChange(yearly, local);
        if (change && (!latest || change->passed > latest->passed)) latest = change;
    }
    return local - (latest ? latest->offset : changes_.front().offsetBefore);
}

std::int64_t TimeZone::SameUntil(std::int64_t local) const {
    const std::int64_t year = YearOf(local);
    std::int64_t until = DaysFromCivil({year + 1, 1, 1}) * kSecondsPerDay;
    if (const auto next = NextChange(local); next != changes_.end()) {
        until = std::min(until, next->passed);
    }
    for (const YearlyChange& yearly : yearlyChanges_) {
        // Last year's may pass in this one. Those before the rule's start or behind its end do no
        // harm.
        for (const std::int64_t onsetYear : {year - 1, year}) {
            const auto day = yearly.onset.DayIn(onsetYear);
            if (!day) continue;
            const std::int64_t passed =
                PassedAt(yearly.TimeOn(*day), yearly.offsetBefore, yearly.offset);
            if (passed > local) until = std::min(until, passed);
        }
    }
    return until;
}

}  // namespace tarnwick

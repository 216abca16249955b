#include "Library/convert/PatternOccurrences.h"

#include <algorithm>
#include <bit>
#include <numeric>

#include "Library/convert/CalendarDate.h"

namespace tarnwick {
namespace {

constexpr std::int64_t kLastYear = 9999;
constexpr std::int64_t kSecondsPerHour = 3600;
constexpr std::int64_t kSecondsPerMinute = 60;

// The calendar repeats itself after these; in the numbers of periods.
constexpr std::int64_t kYearsOfCycle = 400;
constexpr std::int64_t kDaysOfCycle = 146'097;
constexpr std::int64_t CycleOf(Frequency frequency) {
    switch (frequency) {
        case Frequency::Yearly:
            return kYearsOfCycle;
        case Frequency::Monthly:
            return kYearsOfCycle * 12;
        case Frequency::Weekly:
            return kDaysOfCycle;
        default:
            return kDaysOfCycle * kSecondsPerDay;
    }
}

// Seconds, for periods of a day or less.
constexpr std::int64_t LengthOf(Frequency frequency) {
    switch (frequency) {
        case Frequency::Hourly:
            return kSecondsPerHour;
        case Frequency::Minutely:
            return kSecondsPerMinute;
        case Frequency::Secondly:
            return 1;
        default:
            return kSecondsPerDay;
    }
}

std::int64_t FloorTo(std::int64_t number, std::int64_t unit) {
    const std::int64_t remainder = number % unit;
    return number - (remainder < 0 ? remainder + unit : remainder);
}

std::int64_t FirstOfYear(std::int64_t year) {
    return DaysFromCivil({year, 1, 1});
}

// Whether a set has what `number` is in a row from `first` to `last`, counted from either end.
bool HasPlace(const NumberSet& set, std::int64_t number, std::int64_t first, std::int64_t last) {
    return set.Has(number - first + 1) || set.Has(number - last - 1);
}

// The start of the next of the units, numbered within their parent, that the set has; or the end of
// the parent.
std::int64_t NextUnit(const NumberSet& set, std::int64_t time, std::int64_t unit,
                      std::int64_t parent) {
    const std::int64_t parentStart = FloorTo(time, parent);
    std::int64_t number = (time - parentStart) / unit + 1;
    while (number < parent / unit && !set.Has(number)) ++number;
    return parentStart + number * unit;
}

// The numbers below `limit` that the set has; `otherwise` when it is empty.
std::vector<std::int32_t> ListOf(const NumberSet& set, std::int32_t limit, std::int64_t otherwise) {
    if (set.IsEmpty()) return {static_cast<std::int32_t>(otherwise)};
    std::vector<std::int32_t> list;
    for (std::int32_t number = 0; number < limit; ++number) {
        if (set.Has(number)) list.push_back(number);
    }
    return list;
}

}  // namespace

PatternOccurrences::PatternOccurrences(const RecurrencePattern& pattern, const DateValue& start)
    : pattern_(pattern), earliest_(start.seconds) {
    last_ = FirstOfYear(kLastYear + 1) * kSecondsPerDay - 1;
    if (pattern.until) {
        const std::int64_t wholeDay = pattern.until->isDate ? kSecondsPerDay - 1 : 0;
        last_ = std::min(last_, pattern.until->seconds + wholeDay);
    }
    TakeFromStart(start);
    step_ = pattern.interval;
    if (pattern.frequency == Frequency::Weekly) step_ *= 7;
    if (pattern.frequency >= Frequency::Daily) step_ *= LengthOf(pattern.frequency);
    const std::int64_t cycle = CycleOf(pattern.frequency);
    mostTries_ = std::min(cycle / std::gcd(cycle, step_), kDaysOfCycle);
    firstPosition_ = position_ = PositionOf(start.seconds);
}

void PatternOccurrences::TakeFromStart(const DateValue& start) {
    const std::int64_t day = DayOf(start.seconds);
    const CivilDate date = CivilFromDays(day);
    RecurrencePattern& pattern = pattern_;
    if (pattern.weeks.IsEmpty() && pattern.daysOfYear.IsEmpty() && pattern.daysOfMonth.IsEmpty() &&
        !pattern.HasWeekdays()) {
        if (pattern.frequency == Frequency::Yearly && pattern.months.IsEmpty()) {
            pattern.months.Add(static_cast<int>(date.month));
        }
        if (pattern.frequency <= Frequency::Monthly) {
            pattern.daysOfMonth.Add(static_cast<int>(date.day));
        }
        if (pattern.frequency == Frequency::Weekly) pattern.weekdays[WeekdayFromDays(day)].Add(0);
    }
    if (start.isDate) pattern.hours = pattern.minutes = pattern.seconds = {};
    const std::int64_t time = start.seconds - day * kSecondsPerDay;
    const Frequency frequency = pattern.frequency;
    // What the period itself fixes is in its unit.
    const NumberSet none;
    hours_ = frequency < Frequency::Hourly ? ListOf(pattern.hours, 24, time / kSecondsPerHour)
                                           : ListOf(none, 0, 0);
    minutes_ = frequency < Frequency::Minutely
                   ? ListOf(pattern.minutes, 60, time / kSecondsPerMinute % 60)
                   : ListOf(none, 0, 0);
    seconds_ = frequency < Frequency::Secondly ? ListOf(pattern.seconds, 60, time % 60)
                                               : ListOf(none, 0, 0);
}

bool PatternOccurrences::HasDay(std::int64_t day, std::int64_t firstOfYear,
                                std::int64_t lastOfYear) const {
    const std::int64_t lastOfMonth = month_.first + month_.length - 1;
    if (!pattern_.daysOfMonth.IsEmpty() &&
        !HasPlace(pattern_.daysOfMonth, day, month_.first, lastOfMonth)) {
        return false;
    }
    if (!pattern_.daysOfYear.IsEmpty() &&
        !HasPlace(pattern_.daysOfYear, day, firstOfYear, lastOfYear)) {
        return false;
    }
    const unsigned weekday = WeekdayFromDays(day);
    if (pattern_.HasWeekdays()) {
        const NumberSet& ordinals = pattern_.weekdays[weekday];
        const bool isEach = ordinals.Has(0) || pattern_.frequency > Frequency::Monthly;
        const bool inYear = pattern_.frequency == Frequency::Yearly && pattern_.months.IsEmpty();
        const std::int64_t fromFirst = day - (inYear ? firstOfYear : month_.first);
        const std::int64_t toLast = (inYear ? lastOfYear : lastOfMonth) - day;
        if (ordinals.IsEmpty() ||
            (!isEach && !ordinals.Has(fromFirst / 7 + 1) && !ordinals.Has(-(toLast / 7 + 1)))) {
            return false;
        }
    }
    if (!pattern_.weeks.IsEmpty()) {
        // A week belongs to the year that has its fourth day.
        const std::int64_t fourth = day - (weekday + 7 - pattern_.weekStart) % 7 + 3;
        const std::int64_t year = CivilFromDays(fourth).year;
        const std::int64_t number = (fourth - FirstOfYear(year)) / 7 + 1;
        const std::int64_t fromEnd = (FirstOfYear(year + 1) - 1 - fourth) / 7 + 1;
        if (!pattern_.weeks.Has(number) && !pattern_.weeks.Has(-fromEnd)) return false;
    }
    return true;
}

void PatternOccurrences::LoadMonth(std::int64_t year, unsigned month) {
    month_ = {DaysFromCivil({year, month, 1}), DaysInMonth(year, month), 0};
    if (!pattern_.months.IsEmpty() && !pattern_.months.Has(month)) return;
    const std::int64_t firstOfYear = FirstOfYear(year);
    const std::int64_t lastOfYear = FirstOfYear(year + 1) - 1;
    for (unsigned day = 1; day <= month_.length; ++day) {
        if (HasDay(month_.first + day - 1, firstOfYear, lastOfYear)) {
            month_.days |= std::uint32_t{1} << day;
        }
    }
}

void PatternOccurrences::LoadMonthOf(std::int64_t day) {
    if (day >= month_.first && day < month_.first + month_.length) return;
    const CivilDate date = CivilFromDays(day);
    LoadMonth(date.year, date.month);
}

void PatternOccurrences::AddDaysOfMonth() {
    for (std::uint32_t days = month_.days; days != 0; days &= days - 1) {
        units_.push_back((month_.first + std::countr_zero(days) - 1) * kSecondsPerDay);
    }
}

std::int64_t PatternOccurrences::PositionOf(std::int64_t time) const {
    const std::int64_t day = DayOf(time);
    switch (pattern_.frequency) {
        case Frequency::Yearly:
            return CivilFromDays(day).year;
        case Frequency::Monthly: {
            const CivilDate date = CivilFromDays(day);
            return date.year * 12 + date.month - 1;
        }
        case Frequency::Weekly:
            return day - (WeekdayFromDays(day) + 7 - pattern_.weekStart) % 7;
        default:
            return FloorTo(time, LengthOf(pattern_.frequency));
    }
}

// Adds the units of the period; the result is the least position that may have others.
std::int64_t PatternOccurrences::LookAt(std::int64_t position) {
    switch (pattern_.frequency) {
        case Frequency::Yearly:
            for (unsigned month = 1; month <= 12; ++month) {
                if (!pattern_.months.IsEmpty() && !pattern_.months.Has(month)) continue;
                LoadMonth(position, month);
                AddDaysOfMonth();
            }
            return position + 1;
        case Frequency::Monthly: {
            const std::int64_t year = FloorTo(position, 12) / 12;
            LoadMonth(year, static_cast<unsigned>(position - year * 12) + 1);
            AddDaysOfMonth();
            return position + 1;
        }
        case Frequency::Weekly:
            for (std::int64_t day = position; day < position + 7; ++day) {
                LoadMonthOf(day);
                if (month_.days >> (day - month_.first + 1) & 1) {
                    units_.push_back(day * kSecondsPerDay);
                }
            }
            return position + 1;
        default:
            return LookAtUnit(position);
    }
}

std::int64_t PatternOccurrences::LookAtUnit(std::int64_t time) {
    const std::int64_t day = DayOf(time);
    LoadMonthOf(day);
    const std::uint64_t fromDay = std::uint64_t{month_.days} >> (day - month_.first + 1);
    if ((fromDay & 1) == 0) {
        const std::int64_t next =
            fromDay == 0 ? month_.first + month_.length : day + std::countr_zero(fromDay);
        return next * kSecondsPerDay;
    }
    const struct {
        Frequency frequency;
        const NumberSet& set;
        std::int64_t unit;
        std::int64_t parent;
    } levels[] = {{Frequency::Hourly, pattern_.hours, kSecondsPerHour, kSecondsPerDay},
                  {Frequency::Minutely, pattern_.minutes, kSecondsPerMinute, kSecondsPerHour},
                  {Frequency::Secondly, pattern_.seconds, 1, kSecondsPerMinute}};
    for (const auto& level : levels) {
        if (pattern_.frequency < level.frequency || level.set.IsEmpty()) continue;
        const std::int64_t number = (time - FloorTo(time, level.parent)) / level.unit;
        if (!level.set.Has(number)) return NextUnit(level.set, time, level.unit, level.parent);
    }
    units_.push_back(time);
    return time + 1;
}

void PatternOccurrences::ChooseTimes() {
    size_ = units_.size() * hours_.size() * minutes_.size() * seconds_.size();
    if (pattern_.positions.IsEmpty()) return;
    chosen_.clear();
    const auto all = static_cast<std::int64_t>(size_);
    const auto add = [&](std::int64_t from, std::int64_t to) {
        for (std::int64_t place = from; place < to; ++place) {
            if (HasPlace(pattern_.positions, place, 0, all - 1)) {
                chosen_.push_back(static_cast<std::size_t>(place));
            }
        }
    };
    // Positions do not reach farther from either end.
    const std::int64_t front = std::min<std::int64_t>(all, NumberSet::kMost);
    add(0, front);
    add(std::max(front, all - NumberSet::kMost), all);
    size_ = chosen_.size();
}

std::int64_t PatternOccurrences::TimeAt(std::size_t index) const {
    if (!pattern_.positions.IsEmpty()) index = chosen_[index];
    const std::size_t second = index % seconds_.size();
    index /= seconds_.size();
    const std::size_t minute = index % minutes_.size();
    index /= minutes_.size();
    const std::size_t hour = index % hours_.size();
    return units_[index / hours_.size()] + hours_[hour] * kSecondsPerHour +
           minutes_[minute] * kSecondsPerMinute + seconds_[second];
}

// Finds the next period with times from the earliest on; false when there is none.
bool PatternOccurrences::LoadPeriod() {
    const std::int64_t lastPosition = PositionOf(last_);
    for (std::int64_t tries = mostTries_; tries > 0; --tries) {
        if (position_ > lastPosition) return false;
        units_.clear();
        const std::int64_t steps = (LookAt(position_) - firstPosition_ + step_ - 1) / step_;
        position_ = firstPosition_ + steps * step_;
        ChooseTimes();
        // Sets of a day or less are all of one size.
        if (size_ == 0 && !units_.empty() && pattern_.frequency >= Frequency::Daily) return false;
        index_ = 0;
        for (std::size_t end = size_; index_ < end;) {
            const std::size_t middle = index_ + (end - index_) / 2;
            if (TimeAt(middle) < earliest_) {
                index_ = middle + 1;
            } else {
                end = middle;
            }
        }
        if (index_ < size_) return true;
    }
    return false;
}

std::optional<std::int64_t> PatternOccurrences::Next() {
    if (pattern_.count == 0) return std::nullopt;
    if (index_ == size_ && !LoadPeriod()) {
        pattern_.count = 0;
        return std::nullopt;
    }
    const std::int64_t time = TimeAt(index_++);
    if (time > last_) {
        pattern_.count = 0;
        return std::nullopt;
    }
    if (pattern_.count) --*pattern_.count;
    return time;
}

void PatternOccurrences::SkipTo(std::int64_t time) {
    if (pattern_.count || time <= earliest_) return;
    earliest_ = time;
    position_ = firstPosition_ + (PositionOf(time) - firstPosition_) / step_ * step_;
}

}  // namespace tarnwick

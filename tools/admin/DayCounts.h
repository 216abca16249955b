// The numbers of entries on the days of a year.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnwick::admin {

// Counts entries by the days, in UTC, that they touch.
class DayCounts {
  public:
    explicit DayCounts(std::chrono::year year);

    // An entry that ends before it starts takes place on the day on which it starts.
    void Take(std::int32_t start, std::int32_t end);

    std::chrono::year Year() const { return year_; }
    // The entries that touch the year.
    std::size_t Entries() const { return entries_; }
    // Of each day of the year.
    std::vector<std::size_t> Days() const;

  private:
    std::chrono::year year_;
    std::size_t entries_ = 0;
    // How many more, or fewer, entries a day has than the day before it; one more than days.
    std::vector<std::int64_t> steps_;
};

}  // namespace tarnwick::admin

// The calendar that an appointment belongs to by its time, for callers that sort entries by date.
#pragma once

#include <cstdint>
#include <span>

namespace tarnwick {

// Stores the name of the smallest bucket (day, month, year, or all years) that holds both times,
// seconds since 1970 UTC, cut to fit: "Y11M08D03", "Y11M08", "Y11" or "Y".
void MakeCalendarBucketName(std::int32_t start, std::int32_t end, std::span<char> name);

}  // namespace tarnwick

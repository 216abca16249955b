// From the parts of an RRULE back to the recurrence properties of an item.
#pragma once

#include "Library/convert/ItemProperties.h"
#include "Library/convert/RuleParts.h"
#include "Library/convert/Schedule.h"

namespace tarnwick {

// Sets the properties, which count in UTC, from the rule of an item that starts at `start`. False,
// with none set, for a rule that they cannot hold: several days of the month, months or positions,
// hours and the like, ordinals before several days, the fifth of a month's days, weeks that begin
// otherwise where that matters, or days that are others in UTC.
bool SetRecurrence(ItemPropertyContainer& item, const RuleParts& parts,
                   const std::optional<ZonedTime>& start);

// Whether the clocks of the start's zone change within a year, so that what repeats at the same
// local time does not repeat at the same time in UTC.
bool HasChangingClocks(const ZonedTime& start);

}  // namespace tarnwick

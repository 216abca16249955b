// From the parts of an RRULE back to the recurrence properties of an item.
#pragma once

#include "Library/convert/ItemProperties.h"
#include "Library/convert/RuleParts.h"

namespace tarnwick {

// Sets the properties. False, with none set, for a rule that they cannot hold: several days of the
// month, months or positions, hours and the like, or ordinals before several days.
bool SetRecurrence(ItemPropertyContainer& item, const RuleParts& parts);

}  // namespace tarnwick

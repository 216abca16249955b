// Recurrence rules of vCalendar 1.0, such as "MP1 2+ TU #12".
#pragma once

#include <string>
#include <string_view>

namespace tarnwick {

// The same rule as RFC 5545 writes it; empty for a text that is no such rule. The count 0, which
// stands for no end, is left out; a rule without count or end date has two occurrences.
std::string ModernRule(std::string_view oldRule);

}  // namespace tarnwick

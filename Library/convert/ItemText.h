// Texts of store items, built from their properties. Property texts go into them as they are: no
// escaping of commas, semicolons or line breaks and no folding, so such a text can break the
// structure of what it stands in.
#pragma once

#include <string>

#include "Library/convert/ItemProperties.h"

namespace tarnwick {

// The producer that every event and task text names.
inline constexpr const char* kProducer = "-//Tarnwick//Tarnwick//EN";

// The date text that marks a missing date in tasks: the largest signed 32-bit count of seconds.
inline constexpr const char* kNoDateText = "20380119T031407";

// A VCALENDAR with one VEVENT (RFC 5545). Every line but the recurrence rule is always there, with
// an empty value when its property is missing.
std::string EventText(PropertySource& source);

// A VCALENDAR with one VTODO. DUE and DTSTART are left out without a date; the store's tasks do
// not recur.
std::string TaskText(PropertySource& source);

// The values of a task's CLASS, STATUS and PRIORITY; empty when their properties are missing.
std::string ClassWord(PropertySource& source);
std::string StatusWord(PropertySource& source);
std::string PriorityWord(PropertySource& source);

// A vCard 2.1 of name, nickname and preferred e-mail address.
std::string ContactText(PropertySource& source);

}  // namespace tarnwick

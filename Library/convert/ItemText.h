// Texts of store items, built from their properties: the store's own, and the lines that RFC 5545
// has for the same. Property texts go into the store's own as they are: no escaping of commas,
// semicolons or line breaks and no folding, so such a text can break the structure of what it
// stands in.
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

// A vCard 2.1 of name, nickname and preferred e-mail address.
std::string ContactText(PropertySource& source);

// The lines (as CalendarItem::lines) of a VEVENT or VTODO with these properties, without DTSTAMP.
// Times are UTC, properties that are missing have no line, bytes that are no UTF-8 are taken as
// Windows-1252. An end before the start has no line either.
std::string EventLines(PropertySource& event);
std::string TaskLines(PropertySource& task);

}  // namespace tarnwick

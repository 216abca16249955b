// Where a calendar and its companions lie.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "twaicp.h"

namespace tarnwick {

// The three names by which a record names a calendar; views into the record.
struct CalendarNames {
    std::string_view postoffice;
    std::string_view mailbox;
    std::string_view calendar;
};
CalendarNames NamesOf(const AppointmentRecord& record);

// The mailbox's Calendar folder, and the files in it: all below the mail root.
std::string CalendarFolder(const CalendarNames& names);
std::string CalendarFile(const CalendarNames& names);
std::string ReplacementFile(const CalendarNames& names);
std::string ChangeFlagFile(const CalendarNames& names);
// A file of any name in the Calendar folder of the mailbox.
std::string FileInCalendarFolder(std::string_view postoffice, std::string_view mailbox,
                                 std::string_view fileName);

// Whether a path has as many characters as one can have and so may have been cut. What is left of a
// cut one names another file, or the same one for a calendar and its block file, so nobody may
// write there.
bool FillsPathCapacity(const std::string& path);

// Whether the names can name a calendar: a postoffice there must be, and room for path and key.
bool NamesCalendar(const CalendarNames& names);

// The calendar's path relative to the root, without extension: from it the lock and the swap name
// their files.
std::string CalendarKey(const CalendarNames& names);

// Capacity of a calendar key, its terminator included; a longer one is cut.
inline constexpr std::size_t kKeyCapacity = 512;

// Makes the Calendar folder, if it is missing, and gives the calendar's key. A folder that cannot
// be made is found out by whoever opens a file in it.
std::string PrepareCalendarFolder(const CalendarNames& names);

// Writes the change flag anew for whoever watches the folder; a failure is not reported.
void WriteChangeFlag(const std::string& path);

}  // namespace tarnwick

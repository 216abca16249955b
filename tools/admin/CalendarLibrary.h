// TWAICP.DLL, loaded when the first mailbox is opened, on the mail root that the command line
// names.
#pragma once

#include <string>

#include "twaicp.h"

namespace tarnwick::admin {

// The exports that the tool calls.
struct CalendarLibrary {
    decltype(&::AppointmentAdd) add;
    decltype(&::AppointmentEdit) edit;
    decltype(&::AppointmentRemove) remove;
    decltype(&::AppointmentGet) get;
    decltype(&::AppointmentFindFirst) findFirst;
    decltype(&::AppointmentFindNext) findNext;
    decltype(&::AppointmentItemWriteFirstChunk) writeFirstChunk;
    decltype(&::AppointmentItemWriteNextChunk) writeNextChunk;
    decltype(&::AppointmentItemGetFirstChunk) readFirstChunk;
    decltype(&::AppointmentItemGetNextChunk) readNextChunk;
    decltype(&::AppointmentItemDelete) deleteItem;
    decltype(&::GetFreeBusyData) getFreeBusyData;
    decltype(&::SetCurrentHost) setCurrentHost;
};

// Loads the library, and with it the copies of the provider's and the store library's path rules
// that this program holds, on the folder `mailRoot`; empty: on that of the registry. The first call
// decides for the process. Throws Failure when there is no such folder or no library. `mailRoot` is
// lent: the library reads its root in the moment it is loaded, and for that moment alone this
// process sees a copy of the product's settings that has another "Mail Root"; everything else it
// reads where it always is.
const CalendarLibrary& LoadCalendarLibrary(const std::string& mailRoot);

// The library, once it is loaded.
const CalendarLibrary& Library();

}  // namespace tarnwick::admin

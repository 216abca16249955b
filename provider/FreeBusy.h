// On which days of a period a mailbox has day calendars.
#pragma once

#include "twaicp.h"

namespace tarnwick {

// Lists, separated by commas, what stands between the first "D" and the next "." in the names of
// the calendars that begin with the prefix. Takes no lock and waits for none. The list ends with
// the last entry that fits into the record. Always true.
bool ScanFreeBusy(FreeBusyRecord& record);

}  // namespace tarnwick

// What the exports do on this machine's files, and the operations that are not exported. Files and
// records are as include/twaicp.h and docs/ describe them. True means the 1 of an export.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "twaicp.h"

namespace tarnwick {

// The six calendar operations. The record is the caller's and is written by Get and the finder
// alone.
bool AddAppointment(const AppointmentRecord& record);
bool EditAppointment(const AppointmentRecord& key, const AppointmentRecord& replacement);
bool RemoveAppointment(const AppointmentRecord& record);
bool GetAppointment(AppointmentRecord& record);
bool FindFirstAppointment(AppointmentRecord& record);
bool FindNextAppointment(AppointmentRecord& record);

// Item files: an appointment's full content, moved in chunks of 8192 bytes. See docs/item-file.md.
// Write the data up to its first NUL into the item file, replacing it or at its end, and store that
// length in the record. A file that cannot be opened leaves the record as it was.
void WriteFirstItemChunk(AppointmentItemRecord& record);
void WriteNextItemChunk(AppointmentItemRecord& record);
// Reads a chunk at one byte behind the read offset of the process; false when nothing was read.
bool ReadNextItemChunk(AppointmentItemRecord& record);
bool ReadFirstItemChunk(AppointmentItemRecord& record);
// Stores the low half of the item file's last-access time as the length (0 without a file) and
// resets the read offset.
void StoreItemSize(AppointmentItemRecord& record);
void DeleteItem(const AppointmentItemRecord& record);

// Lists, separated by commas, what stands between the first "D" and the next "." in the names of
// the calendars that begin with the prefix: the days of a period on which a mailbox has calendars.
// Takes no lock and waits for none. The list ends with the last entry that fits into the record.
void ScanFreeBusy(FreeBusyRecord& record);

// The operations that are not exported run here or on the chosen server.

// A first-chunk writer that deletes the item before it writes it. A server is asked under the name
// "AppointmentItemWriteFirstChunk".
std::uint32_t RewriteItem(AppointmentItemRecord& record);

// A record whose content means something to the remote side alone.
using ListRecord = std::array<std::byte, 5388>;

// Sets this thread's find position; the result is 1, or the server's.
std::uint32_t AppointmentListItemListSetPosition(std::int32_t& position);

// The server's result, or 0.
std::uint32_t AppointmentListItemListGetLength(ListRecord& record);

}  // namespace tarnwick

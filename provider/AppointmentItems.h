// Item files: an appointment's full content, moved in chunks of 8192 bytes. See docs/item-file.md.
#pragma once

#include <cstdint>

#include "twaicp.h"

namespace tarnwick {

// Write the data up to its first NUL into the item file, replacing it or at its end, and store that
// length in the record. Always true; a file that cannot be opened leaves the record as it was.
bool WriteFirstItemChunk(AppointmentItemRecord& record);
bool WriteNextItemChunk(AppointmentItemRecord& record);

// Reads a chunk at one byte behind the read offset of the process; false when nothing was read.
bool ReadNextItemChunk(AppointmentItemRecord& record);
bool ReadFirstItemChunk(AppointmentItemRecord& record);

// Stores the low half of the item file's last-access time as the length (0 without a file) and
// resets the read offset. Always false.
bool StoreItemSize(AppointmentItemRecord& record);

// Always true.
bool DeleteItem(const AppointmentItemRecord& record);

// A first-chunk writer that deletes the item before it writes it, here or on the chosen server
// under the name "AppointmentItemWriteFirstChunk". Not exported.
std::uint32_t RewriteItem(AppointmentItemRecord& record);

}  // namespace tarnwick

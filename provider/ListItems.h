// The list operations that are not exported: the server's own programs position an enumeration with
// them, here or on the chosen server.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarnwick {

// A record whose content means something to the remote side alone.
using ListRecord = std::array<std::byte, 5388>;

// Sets this thread's find position; the result is 1, or the server's.
std::uint32_t AppointmentListItemListSetPosition(std::int32_t& position);

// The server's result, or 0.
std::uint32_t AppointmentListItemListGetLength(ListRecord& record);

}  // namespace tarnwick

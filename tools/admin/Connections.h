// The client connections of an activity file, and which of them the library would drop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Library/activity/ActivityFile.h"

namespace tarnwick::admin {

// Texts lie in the bytes of the file.
struct ListedConnection {
    ActivityEntry entry;
    std::int64_t time = 0;  // seconds since 1970 at which it was last set
    // The session of its server that runs now, when the entry is of an earlier one: the library
    // drops it when that run sets or closes a connection.
    std::string_view laterSession{};
};

// In the order of the file. Of the runs of a server, told apart by their sessions for each notify
// protocol, the one that set a connection last is taken for the one that runs now.
std::vector<ListedConnection> ListConnections(std::string_view bytes);

// Lines that are too short for an entry; the library leaves them out when it next writes the file.
std::size_t CountBrokenLines(std::string_view bytes);

// The file without the connections that are to go.
RewrittenActivity WithoutConnections(
    std::string_view bytes, const std::function<bool(const ListedConnection& connection)>& goes);

}  // namespace tarnwick::admin

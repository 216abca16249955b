// Calendar entries as lines of text: "start<tab>end<tab>ID", as calendar files hold them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

struct Entry {
    std::int32_t start = 0;
    std::int32_t end = 0;
    std::string id;
    bool operator==(const Entry&) const = default;
};

// An entry and the number of its line, from 1.
struct NumberedEntry {
    std::size_t line = 0;
    Entry entry;
};

enum class TimeStyle { Seconds, Iso };

// The entry as one line, line break included.
std::string FormatEntryLine(const Entry& entry, TimeStyle style);

// Reads all lines, each break LF or CR LF; blank lines and lines that begin with "#" are skipped,
// times may be seconds or ISO 8601. Throws Failure (Refused), naming the line, at the first that is
// no entry: a file is taken as a whole or not at all.
std::vector<NumberedEntry> ParseEntryLines(std::string_view text);

}  // namespace tarnwick::admin

// Calendar entries as text: the lines that calendar files hold, a table for people, and JSON for
// programs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
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

// An entry and the calendar in which it lies.
struct PlacedEntry {
    std::string calendar;
    Entry entry;
};

// An entry and the number of its line, from 1.
struct NumberedEntry {
    std::size_t line = 0;
    Entry entry;
};

enum class TimeStyle { Seconds, Iso };

// The entry as one line, "start<tab>end<tab>ID" and a line break.
std::string FormatEntryLine(const Entry& entry, TimeStyle style);

// Reads all lines, each break LF or CR LF; blank lines and lines that begin with "#" are skipped,
// times may be seconds or ISO 8601. Throws Failure (Refused), naming the line, at the first that is
// no entry: a file is taken as a whole or not at all.
std::vector<NumberedEntry> ParseEntryLines(std::string_view text);

// One line an entry in columns under a heading; nothing at all for no entries.
std::string EntryTable(const std::vector<PlacedEntry>& entries);

nlohmann::ordered_json EntryJson(const PlacedEntry& entry);

// "1 entry", "2 entries".
std::string Counted(std::size_t count, const std::string& one, const std::string& many);

}  // namespace tarnwick::admin

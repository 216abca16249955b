// Entries of calendars as a table for people and as JSON for programs.
#pragma once

#include <string>
#include <vector>

#include "tools/admin/EntryLines.h"

namespace tarnwick::admin {

// An entry and the calendar in which it lies.
struct PlacedEntry {
    std::string calendar;
    Entry entry;
};

// One line an entry in columns under a heading; nothing at all for no entries.
std::string EntryTable(const std::vector<PlacedEntry>& entries);

// "1 entry", "2 entries".
std::string Counted(std::size_t count, const std::string& one, const std::string& many);

// Texts must be UTF-8; what is not is replaced.
std::string EntryJson(const PlacedEntry& entry);
std::string EntryListJson(const std::vector<PlacedEntry>& entries);

// {"result": result, "calendar": ..., "id": ...}: what a change did.
std::string ChangeJson(const std::string& result, const PlacedEntry& entry);

}  // namespace tarnwick::admin

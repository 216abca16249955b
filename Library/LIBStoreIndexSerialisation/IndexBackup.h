// The backup and quarantine copies of a folder's "_index.xml"; the serialisers that support them
// share these. A group folder's copies are those of "_index.xml" too. Folders come without a
// backslash at the end.
#pragma once

#include <cstdint>
#include <string>

namespace tarnwick {

// Copies the index over "_index.xml.bak".
void CreateIndexBackup(const std::string& folder);
// If there is a backup: keeps the index as "_index.xml.bad" and copies the backup over the index.
// True when the backup is in its place; false when there is none, or something holds the index or
// keeps the copy from being made. A full disk makes it move the files.
bool RestoreIndexBackup(const std::string& folder);
// Keeps the index as "_index.xml.bad" and deletes it; where it cannot be kept so it stays. Always
// true.
bool QuarantineFolderIndex(const std::string& folder);
bool IndexBackupExists(const std::string& folder);
// Age of the backup by its last write, in minutes; 0 when there is none or it lies in the future.
std::uint32_t IndexBackupAgeMinutes(const std::string& folder);
void DeleteIndexBackup(const std::string& folder);

// Minutes in a span of 100 ns units, counted on the calendar date that it is after 1601-01-01, with
// 365 days a year and 30 a month: 40 days count as 39.
std::uint32_t CalendarMinutes(std::uint64_t span);

}  // namespace tarnwick

#include "Library/LIBStoreIndexSerialisation/BackedUpIndexSerialiser.h"

#include "common/Clock.h"
#include "common/Files.h"
#include "common/Retry.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {
namespace {

// Of a group folder too, whose own index so has no copies; kept for compatibility.
std::string IndexPath(const std::string& folder) {
    return IndexFilePath(folder, kMailFolder);
}
std::string BackupPath(const std::string& folder) {
    return IndexPath(folder) + ".bak";
}
std::string QuarantinePath(const std::string& folder) {
    return IndexPath(folder) + ".bad";
}

// Copies, or moves where a copy has no room: what is put aside or back must not be lost to a full
// disk.
bool CopyOrMove(const std::string& from, const std::string& to) {
    if (CopyOver(from, to)) return true;
    if (GetLastError() != ERROR_DISK_FULL) return false;
    RemoveFile(to);
    return MoveToName(from, to);
}

}  // namespace

void BackedUpIndexSerialiser::CreateBackup(const std::string& folder) {
    CopyOver(IndexPath(folder), BackupPath(folder));
}

bool BackedUpIndexSerialiser::RestoreBackup(const std::string& folder) {
    if (!BackupExists(folder)) return false;
    // Without the copy the only other one of what the index still holds would go.
    if (!CopyOrMove(IndexPath(folder), QuarantinePath(folder)) && !IsGone(GetLastError())) {
        return false;
    }
    return CopyOrMove(BackupPath(folder), IndexPath(folder));
}

bool BackedUpIndexSerialiser::QuarantineIndex(const std::string& folder) {
    if (CopyOrMove(IndexPath(folder), QuarantinePath(folder))) RemoveFile(IndexPath(folder));
    return true;
}

bool BackedUpIndexSerialiser::BackupExists(const std::string& folder) {
    return FileExists(BackupPath(folder));
}

std::uint32_t BackedUpIndexSerialiser::BackupAgeMinutes(const std::string& folder) {
    const auto backup = StampOf(BackupPath(folder));
    const std::uint64_t now = CurrentFileTime();
    if (!backup || backup->lastWrite > now) return 0;
    return CalendarMinutes(now - backup->lastWrite);
}

void BackedUpIndexSerialiser::DeleteBackup(const std::string& folder) {
    RemoveFile(BackupPath(folder));
}

// Months of 30 days, kept for compatibility: an interval is as long as it was when it was set.
std::uint32_t CalendarMinutes(std::uint64_t span) {
    const FILETIME time{static_cast<DWORD>(span), static_cast<DWORD>(span >> 32)};
    SYSTEMTIME date;
    if (FileTimeToSystemTime(&time, &date) == FALSE) return 0;
    const std::uint32_t days =
        (date.wYear - 1601U) * 365 + (date.wMonth - 1U) * 30 + (date.wDay - 1U);
    return (days * 24 + date.wHour) * 60 + date.wMinute;
}

}  // namespace tarnwick

#include "Library/FolderFlags.h"

#include <string_view>
#include <vector>

#include "common/Files.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

// Kept to the byte, without a line end, for compatibility.
constexpr std::string_view kChangeFlagText =
    "This file is a flag file that denotes that this folder has been changed";
constexpr std::string_view kCachedFlagText =
    "This file is a flag file that there are cached transactions that are not written to disk.";

std::string ChangeFlagPath(const std::string& folder) {
    return FormatPath("%s\\_CHANGE.DTY", {folder});
}

std::string CachedFlagPath(const std::string& folder) {
    return FormatPath("%s\\_CACHED.DTY", {folder});
}

bool WriteFlag(const std::string& path, std::string_view text) {
    File flag(path, kOpenTruncate);
    return flag.IsOpen() && flag.Write(text) && flag.Close();
}

}  // namespace

ChangeMark::ChangeMark(const std::string& folder) : path_(ChangeFlagPath(folder)) {}

bool ChangeMark::Write() const {
    return WriteFlag(path_, kChangeFlagText);
}

bool MarkFolderChanged(const std::string& folder) {
    return ChangeMark(folder).Write();
}

bool IsFolderMarkedChanged(const std::string& folder) {
    return FileExists(ChangeFlagPath(folder));
}

bool ClearFolderChanged(const std::string& folder) {
    // The flag is a search pattern: on a file system that tells case apart several may match.
    std::vector<std::string> names;
    DirectoryScan scan(ChangeFlagPath(folder));
    while (const auto found = scan.Next()) names.push_back(found->name);
    for (const std::string& name : names) RemoveFile(folder + "\\" + name);
    return !names.empty();
}

std::atomic<bool>& CachedTransactionsEnabled() {
    static std::atomic<bool> enabled{false};
    return enabled;
}

bool WriteCachedFlag(const std::string& folder) {
    return CachedTransactionsEnabled() && WriteFlag(CachedFlagPath(folder), kCachedFlagText);
}

bool HasCachedFlag(const std::string& folder) {
    return CachedTransactionsEnabled() && FileExists(CachedFlagPath(folder));
}

bool DeleteCachedFlag(const std::string& folder) {
    return CachedTransactionsEnabled() && RemoveFile(CachedFlagPath(folder));
}

}  // namespace tarnwick

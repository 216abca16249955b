#include "Library/FolderFiles.h"

#include <algorithm>
#include <string_view>

#include "common/Files.h"
#include "common/Text.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"

namespace tarnwick {
namespace {

// The pattern "*.MAI" also finds longer extensions by their short names, so the name is looked at.
bool IsMessageFile(const FoundFile& found, std::string_view extension) {
    if ((found.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 || found.name.starts_with('_')) {
        return false;
    }
    const std::size_t dot = found.name.rfind('.');
    return dot != std::string::npos &&
           EqualsIgnoreCase(std::string_view(found.name).substr(dot + 1), extension);
}

bool NamePrecedes(const MessageFile& left, const MessageFile& right) {
    return std::lexicographical_compare(
        left.name.begin(), left.name.end(), right.name.begin(), right.name.end(),
        [](char one, char other) { return LowerAscii(one) < LowerAscii(other); });
}

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

const char* MessageFileExtension(FolderType folderType) {
    switch (folderType) {
        case kMailFolder:
            return "MAI";
        case kContactsFolder:
            return "VCF";
        case kCalendarFolder:
            return "CAL";
        case kTaskFolder:
            return "TSK";
        case kGroupsFolder:
            return "GRP";
        default:
            return nullptr;
    }
}

std::optional<std::vector<MessageFile>> ListMessageFiles(const std::string& folder,
                                                         const char* extension) {
    std::vector<MessageFile> files;
    DirectoryScan scan(FormatPath("%s\\*.%s", {folder, extension}));
    while (const auto found = scan.Next()) {
        if (!IsMessageFile(*found, extension)) continue;
        files.push_back({found->name, found->size, ToUint64(found->lastWrite)});
    }
    const DWORD end = GetLastError();
    if (end != ERROR_NO_MORE_FILES && end != ERROR_FILE_NOT_FOUND) return std::nullopt;
    std::sort(files.begin(), files.end(), NamePrecedes);
    const std::uint32_t most = StoredIndexSettings().maximumRows;
    if (files.size() > most) files.resize(most);
    return files;
}

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

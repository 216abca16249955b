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

}  // namespace

const char* MessageFileExtension(std::uint32_t folderType) {
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

}  // namespace tarnwick

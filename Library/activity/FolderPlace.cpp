#include "Library/activity/FolderPlace.h"

#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr std::string_view kPublicMarker = "Public";
constexpr std::string_view kFileStoreMarker = "$FILEROOT";

bool IsSlash(char character) {
    return character == '\\' || character == '/';
}

bool BeginsWithMarker(std::string_view folder, std::string_view marker) {
    return StartsWithIgnoreCase(folder, marker) &&
           (folder.size() == marker.size() || IsSlash(folder[marker.size()]));
}

// The marker may stand behind one character, meant for a slash. Kept for compatibility: any does.
bool HasMarker(std::string_view folder, std::string_view marker) {
    return BeginsWithMarker(folder, marker) ||
           (!folder.empty() && BeginsWithMarker(folder.substr(1), marker));
}

}  // namespace

bool IsPublicFolderName(std::string_view folder) {
    return HasMarker(folder, kPublicMarker);
}

bool IsFileStoreName(std::string_view folder) {
    return HasMarker(folder, kFileStoreMarker);
}

std::string PublicFolderDirectory(std::string_view postofficeDirectory, std::string_view folder) {
    // Kept for compatibility: a name with a character before its marker is the root too.
    if (!BeginsWithMarker(folder, kPublicMarker) || folder.size() == kPublicMarker.size()) {
        return FormatPath("%s\\PUBROOT", {postofficeDirectory});
    }
    return FormatPath("%s\\PUBROOT\\%s",
                      {postofficeDirectory, folder.substr(kPublicMarker.size() + 1)});
}

std::string FileStoreDirectory(std::string_view postofficeDirectory, std::string_view folder) {
    if (!BeginsWithMarker(folder, kFileStoreMarker)) folder.remove_prefix(1);
    if (folder.size() <= kFileStoreMarker.size() + 1) {
        return FormatPath("%s\\$FILEROOT", {postofficeDirectory});
    }
    return FormatPath("%s\\$FILEROOT\\%s",
                      {postofficeDirectory, folder.substr(kFileStoreMarker.size() + 1)});
}

std::string MailboxDirectory(std::string_view postofficeDirectory, std::string_view mailbox) {
    return FormatPath("%s\\MAILROOT\\%s", {postofficeDirectory, mailbox});
}

std::string MailboxFolderDirectory(std::string_view postofficeDirectory, std::string_view mailbox,
                                   std::string_view folder) {
    return FormatPath("%s\\MAILROOT\\%s\\%s", {postofficeDirectory, mailbox, folder});
}

}  // namespace tarnwick

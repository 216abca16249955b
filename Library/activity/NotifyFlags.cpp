#include "Library/activity/NotifyFlags.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "common/Files.h"
#include "common/Reports.h"
#include "common/Text.h"
#include "common/TextFile.h"
#include "common/Waits.h"
#include "Library/activity/FolderPlace.h"
#include "Library/activity/OperationEdge.h"
#include "Library/activity/StoreSettings.h"

namespace tarnwick {
namespace {

constexpr std::string_view kFlagText =
    "This file is a flag file that denotes that this folder has been changed";
constexpr std::uint32_t kWaitBeforeConsuming = 1000;
// Kept for compatibility, both: pieces of 1023 characters, 2047 in all.
constexpr std::size_t kMarkerTextLimit = 2047;
constexpr std::size_t kMarkerLineCapacity = 1024;

void CreateWithText(const std::string& path, std::string_view text) {
    File file(path, kOpenTruncate);
    if (!file.IsOpen()) return;
    // The file's existence is the message; a text that is lost loses nothing else.
    file.Write(text);
    file.Close();
}

std::string ChangeFlagPath(std::string_view postoffice, std::string_view mailbox,
                           std::string_view folder) {
    const std::string root = PostofficeDirectory(postoffice);
    const bool isPublic = IsPublicFolderName(folder) && ArePublicFoldersEnabled();
    return FormatPath("%s\\_NOTIFY.NFY",
                      {isPublic ? PublicFolderDirectory(root, folder)
                                : MailboxFolderDirectory(root, mailbox, folder)});
}

// Names first, then the deletions: a scan need not survive changes of what it scans.
std::vector<std::string> NamesOf(const std::string& pattern) {
    std::vector<std::string> names;
    DirectoryScan scan(pattern);
    while (auto found = scan.Next()) names.push_back(std::move(found->name));
    return names;
}

struct Marker {
    std::string path;
    std::int32_t number = 0;
};

std::int32_t MarkerNumber(std::string_view name) {
    return ParseInt32(name.substr(1, name.find('.') - 1));
}

// The marker with the highest number; every other one is deleted.
Marker KeepHighestMarker(const std::string& directory) {
    Marker highest;
    for (const std::string& name : NamesOf(FormatPath("%s\\_*.NEW", {directory}))) {
        const std::string path = FormatPath("%s\\%s", {directory, name});
        const std::int32_t number = MarkerNumber(name);
        if (number <= highest.number) {
            RemoveFile(path);
            continue;
        }
        if (highest.number > 0) RemoveFile(highest.path);
        highest = {path, number};
    }
    return highest;
}

void AppendMarkerText(const std::string& path, std::span<char> text) {
    std::string bytes = ReadWholeFile(path).value_or("");
    DecodeTextMode(bytes);
    std::string all(FieldText(text));
    const std::size_t limit = std::min(text.size() - 1, kMarkerTextLimit);
    LineReader lines(bytes, kMarkerLineCapacity);
    while (const auto piece = lines.NextPiece()) {
        const std::string_view line = UpToNul(*piece);
        if (all.size() > limit || line.size() > limit - all.size()) break;
        all.append(line);
    }
    StoreField(text, all);
}

}  // namespace

int FlagFolderChanged(std::string_view postoffice, std::string_view mailbox,
                      std::string_view folder) {
    return RunOperation("FlagFolderChanged", 0, [&] {
        CreateWithText(ChangeFlagPath(postoffice, mailbox, folder), kFlagText);
        // Kept for compatibility: said also when there is no file.
        PrintStandardOutput("Folder=" + std::string(folder) +
                            "::Folder Flagged to notify clients\n");
        return 1;
    });
}

int ConsumeFolderChangeFlags(std::string_view postoffice, std::string_view mailbox,
                             std::string_view folder) {
    return RunOperation("ConsumeFolderChangeFlags", 0, [&] {
        // In the mailbox for public names too: the flag of a public folder is not one mailbox's.
        const std::string directory =
            MailboxFolderDirectory(PostofficeDirectory(postoffice), mailbox, folder);
        int consumed = 0;
        for (const std::string& name : NamesOf(FormatPath("%s\\_*.NFY", {directory}))) {
            // Kept for compatibility: each flag stays for a second after it was seen.
            WaitDispatchingMessages(kWaitBeforeConsuming);
            if (RemoveFile(FormatPath("%s\\%s", {directory, name}))) consumed = 1;
        }
        return consumed;
    });
}

int WriteNewMailMarker(std::string_view postoffice, std::string_view mailbox,
                       std::string_view text) {
    return RunOperation("WriteNewMailMarker", 0, [&] {
        const std::int32_t highest = GetNewMessageCount(postoffice, mailbox, {});
        std::string number;
        // The last number there is would have no next one: its marker is written again.
        AppendDecimal(number, std::min(std::int64_t{highest} + 1,
                                       std::int64_t{std::numeric_limits<std::int32_t>::max()}));
        const std::string directory = MailboxDirectory(PostofficeDirectory(postoffice), mailbox);
        CreateWithText(FormatPath("%s\\_%s.NEW", {directory, number}), text);
        return 1;
    });
}

int GetNewMessageCount(std::string_view postoffice, std::string_view mailbox,
                       std::span<char> text) {
    return RunOperation("GetNewMessageCount", 0, [&] {
        const Marker highest =
            KeepHighestMarker(MailboxDirectory(PostofficeDirectory(postoffice), mailbox));
        if (highest.number > 0 && !text.empty()) AppendMarkerText(highest.path, text);
        return highest.number;
    });
}

}  // namespace tarnwick

#include "Library/FolderScan.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "common/Files.h"
#include "common/Retry.h"
#include "Library/convert/CalendarDate.h"
#include "Library/FolderFiles.h"
#include "Library/ItemIndexProperties.h"

namespace tarnwick {
namespace {

std::atomic<FolderScan> installedScan{nullptr};

std::string ReadUpTo(const std::string& path, std::size_t limit) {
    std::string text;
    File file(path, kOpenRead);
    if (!file.IsOpen()) return text;
    const auto size = static_cast<std::uint64_t>(file.Size().value_or(0));
    limit = static_cast<std::size_t>(std::min<std::uint64_t>(limit, size));
    text.resize(limit);
    std::size_t length = 0;
    while (length < limit) {
        const auto count =
            file.Read(text.data() + length, static_cast<std::uint32_t>(limit - length));
        if (count.value_or(0) == 0) break;
        length += *count;
    }
    text.resize(length);
    return text;
}

// SIZE (bytes), the time of the last write in seconds since 1970, and what the content gives: that
// comes later and so counts more. A file that cannot be read gives the first two alone.
void AddFile(StoreIndex& index, const std::string& folder, FolderType folderType,
             const MessageFile& file) {
    StoreIndex::Entry* const entry = index.Add(file.name);
    if (entry == nullptr) return;
    index.SetProperty(*entry, "SIZE", std::to_string(file.size));
    index.SetProperty(*entry, folderType == kMailFolder ? "RECEIVED" : "MODIFIEDDATE",
                      std::to_string(SecondsOfFileTime(file.lastWrite)));
    const std::size_t limit = ItemTextLimit(folderType);
    if (limit == 0) return;
    const std::string text = ReadUpTo(folder + "\\" + file.name, limit);
    for (const NamedValue& property : ItemIndexProperties(folderType, text)) {
        index.SetProperty(*entry, property.name, property.value);
    }
}

void AddFiles(StoreIndex& index, const std::string& folder, FolderType folderType,
              const std::vector<MessageFile>& files) {
    IdSet known;
    for (const StoreIndex::Entry& entry : index.InPositionOrder()) known.emplace(entry.Id());
    for (const MessageFile& file : files) {
        if (!known.contains(file.name)) AddFile(index, folder, folderType, file);
    }
}

// The list may have been cut, so a file that is not in it is looked for. Not being able to look is
// no reason to drop an entry.
bool HasGone(const std::string& folder, const std::string& id, const IdSet& listed) {
    return !listed.contains(id) && !FileExists(folder + "\\" + id) && IsGone(GetLastError());
}

void DropGone(StoreIndex& index, const std::string& folder, const std::vector<MessageFile>& files) {
    IdSet listed;
    for (const MessageFile& file : files) listed.insert(file.name);
    std::vector<StoreIndex::Entry*> gone;
    for (StoreIndex::Entry& entry : index.InPositionOrder()) {
        if (HasGone(folder, std::string(entry.Id()), listed)) gone.push_back(&entry);
    }
    for (StoreIndex::Entry* const entry : gone) index.Remove(*entry);
}

}  // namespace

void InstallFolderScan(FolderScan scan) {
    installedScan = scan;
}

FolderScan InstalledFolderScan() {
    const FolderScan scan = installedScan;
    return scan == nullptr ? DefaultFolderScan : scan;
}

bool AddUnknownFiles(StoreIndex& index, const std::string& folder, FolderType folderType) {
    const char* const extension = MessageFileExtension(folderType);
    if (extension == nullptr) return false;
    const auto files = ListMessageFiles(folder, extension);
    if (!files) return false;
    AddFiles(index, folder, folderType, *files);
    return true;
}

bool DefaultFolderScan(StoreIndex& index, const std::string& folder, FolderType folderType) {
    const char* const extension = MessageFileExtension(folderType);
    if (extension == nullptr) return false;
    const auto files = ListMessageFiles(folder, extension);
    if (!files) return false;
    // What a group's entry holds cannot be had from a file again: only the message store drops it.
    if (folderType != kGroupsFolder) DropGone(index, folder, *files);
    AddFiles(index, folder, folderType, *files);
    return true;
}

}  // namespace tarnwick

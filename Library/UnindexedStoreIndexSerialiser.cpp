#include "Library/UnindexedStoreIndexSerialiser.h"

#include "Library/FolderFiles.h"
#include "Library/FolderScan.h"
#include "Library/IndexRecovery.h"

namespace tarnwick {
namespace {

bool ScanByType(StoreIndex& index, const std::string& folder, std::uint32_t folderType) {
    switch (folderType) {
        case kMailFolder:
        case kContactsFolder:
            return InstalledFolderScan()(index, folder, folderType);
        case kCalendarFolder:
        case kTaskFolder:
            return AddUnknownFiles(index, folder, folderType);
        case kGroupsFolder:
            // Groups cannot be told from files; callers get an empty index and not a failure.
            index.Clear();
            return true;
        default:
            return false;
    }
}

}  // namespace

std::uint32_t UnindexedStoreIndexSerialiser::LoadWrapped(StoreIndex& index,
                                                         const std::string& folder,
                                                         std::uint32_t folderType,
                                                         const DeserialiseRequest& request) {
    // All of it: an entry that is not loaded would be taken for a file without one.
    DeserialiseRequest full = request;
    full.loadMode = kLoadFull;
    full.knownIds = nullptr;
    if (load_ == WrappedLoad::Plain) return wrapped_->Deserialise(index, folder, folderType, full);
    return LoadWithRecovery(wrapped_, index, folder, folderType, full, BackupWish::None);
}

std::uint32_t UnindexedStoreIndexSerialiser::Deserialise(StoreIndex& index,
                                                         const std::string& folder,
                                                         std::uint32_t folderType,
                                                         const DeserialiseRequest& request) {
    index.SetIdFilter({});
    if (wrapped_ == nullptr) {
        index.Clear();
    } else if (LoadWrapped(index, folder, folderType, request) == kLoadFailed) {
        if (load_ == WrappedLoad::Plain || !index.IsDamaged()) return kLoadFailed;
        index.CountAsWhole();
    }
    const bool scanned = ScanByType(index, folder, folderType);
    index.SetLoadStatus(scanned ? kLoadFull : kLoadFailed);
    return index.LoadStatus();
}

}  // namespace tarnwick

#include "Library/IndexRecovery.h"

#include "common/CaughtException.h"
#include "common/Reports.h"
#include "Library/FolderScan.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"

namespace tarnwick {
namespace {

bool BackupsEnabled() {
    return StoredIndexSettings().backupIndex == 1;
}

std::uint32_t LoadAndCatch(StoreIndexSerialiser& serialiser, StoreIndex& index,
                           const std::string& folder, FolderType folderType,
                           const DeserialiseRequest& request) {
    try {
        return serialiser.Deserialise(index, folder, folderType, request);
    } catch (...) {
        ReportCaughtException("StoreIndexSerialiser::Deserialise");
        return kLoadFailed;
    }
}

void RefreshBackup(StoreIndexSerialiser& serialiser, const std::string& folder) {
    try {
        if (!BackupsEnabled() || !serialiser.SupportsRecovery()) return;
        const bool recent =
            serialiser.BackupExists(folder) &&
            serialiser.BackupAgeMinutes(folder) <= StoredIndexSettings().backupIntervalMinutes;
        if (!recent) serialiser.CreateBackup(folder);
    } catch (...) {
        // The load is good without a backup. The spelling is kept.
        PrintStandardOutput("Exception occured when backing up");
    }
}

void ReportFailure(const std::string& folder, const char* what) {
    const std::string text = "Failed to deserialise index: " + folder + what;
    Trace(text);
    Report(ReportChannel::EventLogError, text);
}

// The backup takes the index's place and the folder's files tell what it does not know yet.
std::uint32_t LoadBackup(SerialiserOwner& serialiser, StoreIndex& index, const std::string& folder,
                         FolderType folderType, const DeserialiseRequest& request) {
    StoreIndexSerialiser& recovering = *serialiser;
    const bool restored = recovering.RestoreBackup(folder);
    UnindexedStoreIndexSerialiser wrapper(std::move(serialiser), WrappedLoad::Plain);
    // The wrapper's scan would empty an index of groups, which the next save then wrote.
    StoreIndexSerialiser& loader =
        folderType == kGroupsFolder ? recovering : static_cast<StoreIndexSerialiser&>(wrapper);
    // Beside what could be read of the index, which outlives a backup that is damaged too.
    StoreIndex backup;
    backup.SetIdFilter(index.IdFilter());
    backup.SetLastUid(index.LastUid());
    const std::uint32_t status = LoadAndCatch(loader, backup, folder, folderType, request);
    if (status != kLoadFailed) {
        index = std::move(backup);
        ReportFailure(folder, ". Successfully loaded recovery index.");
        return status;
    }
    // The load on the backup failed by the rules of any load, so it has its own report before the
    // one about the backup.
    ReportFailure(folder, "");
    // Something held the index, so that the backup was not what was loaded: it may well be good.
    if (!restored) return kLoadFailed;
    ReportFailure(folder, ". Backup Index is also corrupt.");
    recovering.DeleteBackup(folder);
    return kLoadFailed;
}

std::uint32_t Recover(SerialiserOwner& serialiser, StoreIndex& index, const std::string& folder,
                      FolderType folderType, const DeserialiseRequest& request) {
    if (!BackupsEnabled() || !serialiser->SupportsRecovery()) {
        ReportFailure(folder, "");
        return kLoadFailed;
    }
    if (serialiser->BackupExists(folder)) {
        return LoadBackup(serialiser, index, folder, folderType, request);
    }
    ReportFailure(
        folder, ". Unable to find recovery index. Recovering Index (there may be some flag loss)");
    serialiser->QuarantineIndex(folder);
    return kLoadFailed;
}

bool ScanByType(StoreIndex& index, const std::string& folder, FolderType folderType) {
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

std::uint32_t LoadWithRecovery(SerialiserOwner& serialiser, StoreIndex& index,
                               const std::string& folder, FolderType folderType,
                               const DeserialiseRequest& request, BackupWish backup) {
    if (serialiser == nullptr) {
        index.SetLoadStatus(kLoadFailed);
        return kLoadFailed;
    }
    std::uint32_t status = LoadAndCatch(*serialiser, index, folder, folderType, request);
    if (status == kLoadFull && backup == BackupWish::Refresh) RefreshBackup(*serialiser, folder);
    if (status == kLoadFailed) {
        try {
            status = Recover(serialiser, index, folder, folderType, request);
        } catch (...) {
            ReportCaughtException("StoreIndexSerialiser::Deserialise");
        }
    }
    index.SetLoadStatus(status);
    return status;
}

std::uint32_t UnindexedStoreIndexSerialiser::LoadWrapped(StoreIndex& index,
                                                         const std::string& folder,
                                                         FolderType folderType,
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
                                                         FolderType folderType,
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

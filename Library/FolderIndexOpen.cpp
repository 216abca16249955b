#include "common/MutexLock.h"
#include "common/Reports.h"
#include "common/Text.h"
#include "Library/ExceptionReport.h"
#include "Library/FolderFiles.h"
#include "Library/FolderFlags.h"
#include "Library/FolderIndex.h"
#include "Library/FolderScan.h"
#include "Library/IndexBlockFile.h"
#include "Library/IndexRecovery.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/SerialiserChoice.h"

namespace tarnwick {
namespace {

std::string IndexPath(const FolderIndex& index) {
    return IndexFilePath(index.folder, index.folderType);
}

bool HasOwnScan(std::uint32_t folderType) {
    return folderType != kCalendarFolder && folderType != kTaskFolder;
}

// Loads what the folder has for a scan to work on. False when there is an index that cannot be
// read: it stays for an operator to look at. One that was put aside is rebuilt from nothing.
bool LoadForScan(const FolderIndex& index, StoreIndex& entries, bool force) {
    SerialiserOwner loader = ChooseLoader(index.folder, index.folderType, {true, force});
    const DeserialiseRequest request{.verifyFiles = true};
    if (LoadWithRecovery(loader, entries, index.folder, index.folderType, request,
                         BackupWish::None) == kLoadFull) {
        return true;
    }
    if (FileExists(IndexPath(index))) return false;
    entries.Clear();
    entries.SetLoadStatus(kLoadFull);
    return true;
}

// Scans the folder and saves what changed; false when one or the other could not be done.
bool ScanFolder(const FolderIndex& index, bool force) {
    // A forced scan of groups would find none, and saving that would lose them.
    if (force && index.folderType == kGroupsFolder) return true;
    const ObjectHandle mutex = OpenFolderMutex(index.folder);
    const xMutexLock lock(mutex.Get(), INFINITE);
    StoreIndex entries;
    if (!LoadForScan(index, entries, force)) return false;
    if (HasOwnScan(index.folderType) &&
        !InstalledFolderScan()(entries, index.folder, index.folderType)) {
        return false;
    }
    if (!entries.IsModified() && FileExists(IndexPath(index))) return true;
    try {
        return SaveByChoice(entries, index.folder, index.folderType);
    } catch (...) {
        // What is stored still serves whoever opens the folder.
        ReportCaughtException("StoreIndexSerialiser::Serialise");
        return false;
    }
}

// Whether the files must be looked at: the folder is marked as changed, or has no index yet. The
// marks are taken away first, so that a change during the scan marks the folder again.
bool TakeChangeMarks(const FolderIndex& index) {
    DeleteCachedFlag(index.folder);
    const bool marked = ClearFolderChanged(index.folder);
    return marked || !FileExists(IndexPath(index));
}

// True when a scan ran.
bool ScanWhenChanged(const FolderIndex& index) {
    const std::string path = IndexBlockPath(index.folder, index.folderType);
    File block = WaitForAccessToIndexFileEx(path);
    if (!block.IsOpen()) return false;
    bool scanned = false;
    try {
        if (HasOwnScan(index.folderType) && TakeChangeMarks(index)) {
            // What a scan did not get to is still to be looked at, by whoever opens the folder
            // next.
            if (!ScanFolder(index, false)) MarkFolderChanged(index.folder);
            Trace(
                "StoreIndex_Open::Performing StoreIndex_Scan(TW_STOREINDEX_CHECKDIRTY) on folder " +
                index.folder);
            scanned = true;
        }
    } catch (...) {
        MarkFolderChanged(index.folder);
        ReleaseIndexBlock(block, path);
        throw;
    }
    ReleaseIndexBlock(block, path);
    return scanned;
}

bool ScanByMode(const FolderIndex& index, int mode) {
    if (index.folder.empty() || mode == kOpenUnscanned) return false;
    if (mode != kOpenReindexed) return ScanWhenChanged(index);
    ScanFolder(index, true);
    Trace("StoreIndex_Open::Performing StoreIndex_Scan(TW_STOREINDEX_REINDEX) on folder " +
          index.folder);
    return true;
}

// Whether the entries in memory are those of the folder's file as it is now.
bool IsStillValid(const FolderIndex& index) {
    return EqualsIgnoreCase(index.loadedFolder, index.folder) &&
           index.loadedType == index.folderType && index.entries.IsWhole() &&
           !IsAlwaysScanned(index.folderType) &&
           (HasOwnScan(index.folderType) || !IsFolderMarkedChanged(index.folder)) &&
           StampOf(IndexPath(index)) == index.entries.FileStamp();
}

// A mark that is still there after the scan means that the scan could not be done, and what is
// stored then serves; folders without a scan of their own are scanned by their loader.
bool ScansWhileLoading(const FolderIndex& index, int mode) {
    return mode != kOpenUnscanned &&
           (!HasOwnScan(index.folderType) || !FileExists(IndexPath(index)));
}

int Load(FolderIndex& index, int mode) {
    if (index.folder.empty()) {
        Trace("StoreIndex_Open:: (Error) Attempted to open a blank folder name");
        return kOpenFailed;
    }
    const ObjectHandle mutex = OpenFolderMutex(index.folder);
    const xMutexLock lock(mutex.Get(), INFINITE);
    index.entries.Clear();
    index.open = false;
    SerialiserOwner loader =
        ChooseLoader(index.folder, index.folderType, {ScansWhileLoading(index, mode), false});
    const DeserialiseRequest request{.verifyFiles = mode != kOpenUnverified};
    if (LoadWithRecovery(loader, index.entries, index.folder, index.folderType, request,
                         BackupWish::Refresh) == kLoadFailed) {
        Trace("StoreIndex_Open::Error opening store index in: " + index.folder);
        return kOpenFailed;
    }
    index.open = true;
    index.loadedFolder = index.folder;
    index.loadedType = index.folderType;
    Trace("StoreIndex_Open::Loaded index for folder " + index.folder);
    return kOpenLoaded;
}

int Open(FolderIndex& index, int mode) {
    const bool scanned = ScanByMode(index, mode);
    if (!scanned && IsStillValid(index)) {
        index.open = true;
        Trace("StoreIndex_Open::Using cached index for folder " + index.folder);
        return kOpenKept;
    }
    return Load(index, mode);
}

}  // namespace

int StoreIndex_Open(FolderIndex* index, int mode) {
    if (index == nullptr) {
        Trace("StoreIndex_Open::WARNING!: StoreIndex is NULL when passed to StoreIndex_Open");
        return kOpenFailed;
    }
    try {
        return Open(*index, mode == kOpenCheckedToo ? kOpenChecked : mode);
    } catch (...) {
        ReportCaughtException("StoreIndex_Open");
        throw;
    }
}

}  // namespace tarnwick

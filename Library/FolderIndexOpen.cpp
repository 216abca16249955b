#include "common/CaughtException.h"
#include "common/MutexLock.h"
#include "common/Reports.h"
#include "common/Text.h"
#include "Library/FolderFiles.h"
#include "Library/FolderIndex.h"
#include "Library/FolderMutex.h"
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

bool HasOwnScan(FolderType folderType) {
    return folderType != kCalendarFolder && folderType != kTaskFolder;
}

enum class ScanCause { Changed, Forced };

// Fills `entries` with what the folder's index holds, for a scan to work on. False when that is not
// to be had: the stored index then stays as it is, one that is damaged for an operator to look at
// unless the scan was asked for.
bool LoadForScan(const FolderIndex& index, StoreIndex& entries, ScanCause cause) {
    IndexPresence presence = LookForIndex(index.folder, index.folderType);
    if (presence == IndexPresence::There) {
        SerialiserOwner reader = ChooseReader();
        // Groups whose file has gone stay in the file; what is opened leaves them out.
        const DeserialiseRequest request{.verifyFiles = index.folderType != kGroupsFolder};
        if (LoadWithRecovery(reader, entries, index.folder, index.folderType, request,
                             BackupWish::None) == kLoadFull) {
            return true;
        }
        // What failed for memory or a locked file says nothing about what the index holds.
        if (!entries.IsDamaged()) return false;
        // Recovery may have put it aside.
        presence = LookForIndex(index.folder, index.folderType);
    }
    const bool build = presence == IndexPresence::Gone ||
                       (presence == IndexPresence::There && cause == ScanCause::Forced);
    if (build) entries.CountAsWhole();
    return build;
}

bool LookThroughFiles(const FolderIndex& index, StoreIndex& entries) {
    const FolderScan scan = HasOwnScan(index.folderType) ? InstalledFolderScan() : AddUnknownFiles;
    return scan(entries, index.folder, index.folderType);
}

bool SaveScanned(const FolderIndex& index, StoreIndex& entries) try {
    const auto before = StampOf(IndexPath(index));
    if (SaveByChoice(entries, index.folder, index.folderType)) return true;
    // One that broke off has left less than was scanned; the next writes all of it.
    return StampOf(IndexPath(index)) != before &&
           SaveByChoice(entries, index.folder, index.folderType);
} catch (...) {
    // What is stored still serves whoever opens the folder.
    ReportCaughtException("StoreIndexSerialiser::Serialise");
    return false;
}

// Scans the folder and saves what changed; false when one or the other could not be done.
bool ScanFolder(const FolderIndex& index, ScanCause cause) {
    const ObjectHandle mutex = OpenFolderMutex(index.folder);
    const xMutexLock lock(mutex.Get(), INFINITE);
    StoreIndex entries;
    if (!LoadForScan(index, entries, cause) || !LookThroughFiles(index, entries)) return false;
    return !entries.IsModified() || SaveScanned(index, entries);
}

// Marks the folder at its end unless the scan was done: what it did not get to is still to be
// looked at, by whoever opens the folder next.
class MarkUnlessScanned {
  public:
    explicit MarkUnlessScanned(const std::string& folder) : mark_(folder) {}
    ~MarkUnlessScanned() {
        if (!scanned_) mark_.Write();
    }
    MarkUnlessScanned(const MarkUnlessScanned&) = delete;
    MarkUnlessScanned& operator=(const MarkUnlessScanned&) = delete;
    void SetScanned(bool scanned) { scanned_ = scanned; }

  private:
    ChangeMark mark_;
    bool scanned_ = false;
};

void TraceScan(const char* kind, const FolderIndex& index) {
    Trace("StoreIndex_Open::Performing StoreIndex_Scan(" + std::string(kind) + ") on folder " +
          index.folder);
}

bool HasNoIndex(const FolderIndex& index) {
    return LookForIndex(index.folder, index.folderType) == IndexPresence::Gone;
}

// Whether the files must be looked at: the folder is marked as changed, or has no index yet. The
// marks are taken away first, so that a change during the scan marks the folder again.
bool TakeChangeMarks(const FolderIndex& index) {
    DeleteCachedFlag(index.folder);
    return ClearFolderChanged(index.folder) || HasNoIndex(index);
}

// True when a scan ran.
bool ScanWhenChanged(const FolderIndex& index) {
    const IndexBlock block(index.folder, index.folderType);
    // The block is taken for calendars and tasks too: it keeps them apart from a scan elsewhere.
    if (!block.IsHeld() || !HasOwnScan(index.folderType)) return false;
    MarkUnlessScanned mark(index.folder);
    const bool wanted = TakeChangeMarks(index);
    mark.SetScanned(!wanted || ScanFolder(index, ScanCause::Changed));
    if (wanted) TraceScan("TW_STOREINDEX_CHECKDIRTY", index);
    return wanted;
}

// Whoever opens without a scan holds the block file or does not care for it; an index that is
// missing is built all the same, or a later save would make one without the folder's messages.
bool ScanWhenMissing(const FolderIndex& index) {
    if (!HasOwnScan(index.folderType) || !HasNoIndex(index)) return false;
    MarkUnlessScanned mark(index.folder);
    mark.SetScanned(ScanFolder(index, ScanCause::Changed));
    TraceScan("TW_STOREINDEX_CHECKDIRTY", index);
    return true;
}

bool ScanByForce(const FolderIndex& index) {
    MarkUnlessScanned mark(index.folder);
    mark.SetScanned(ScanFolder(index, ScanCause::Forced));
    TraceScan("TW_STOREINDEX_REINDEX", index);
    return true;
}

bool ScanByMode(const FolderIndex& index, int mode) {
    if (index.folder.empty()) return false;
    if (mode == kOpenReindexed) return ScanByForce(index);
    return mode == kOpenUnscanned ? ScanWhenMissing(index) : ScanWhenChanged(index);
}

bool IsLoadedFrom(const FolderIndex& index) {
    return EqualsIgnoreCase(index.loadedFolder, index.folder) &&
           index.loadedType == index.folderType;
}

// Whether the entries in memory are those of the folder's file as it is now.
bool IsStillValid(const FolderIndex& index) {
    return IsLoadedFrom(index) && index.entries.IsWhole() && !IsAlwaysScanned(index.folderType) &&
           (HasOwnScan(index.folderType) || !IsFolderMarkedChanged(index.folder)) &&
           StampOf(IndexPath(index)) == index.entries.FileStamp();
}

// Whether the loader is to look through the files too. The mark of a folder with a scan of its own
// means that the scan could not be done, and what is stored then serves.
bool ScansWhileLoading(const FolderIndex& index, int mode, IndexPresence presence) {
    return presence == IndexPresence::Gone ||
           (mode != kOpenUnscanned && !HasOwnScan(index.folderType));
}

// Empties the object for a load. Another folder's last UID would leave a hole in this one's.
void BeginLoad(FolderIndex& index) {
    const bool sameFolder = IsLoadedFrom(index);
    index.entries.Clear();
    if (!sameFolder) index.entries.SetLastUid(0);
    index.open = false;
    index.loadedFolder = index.folder;
    index.loadedType = index.folderType;
}

bool LoadEntries(FolderIndex& index, int mode) {
    const IndexPresence presence = LookForIndex(index.folder, index.folderType);
    const LoaderChoice choice{.reindexIfFlagged = ScansWhileLoading(index, mode, presence)};
    SerialiserOwner loader = ChooseLoader(index.folder, index.folderType, choice, presence);
    // Entries whose files have gone would be listed and then fail to open; mode 5 alone wants them.
    const DeserialiseRequest request{.verifyFiles = mode != kOpenUnverified};
    if (LoadWithRecovery(loader, index.entries, index.folder, index.folderType, request,
                         BackupWish::Refresh) == kLoadFailed) {
        return false;
    }
    // The loader of a missing index has no groups to give; saving none would hide their files.
    const bool groups = index.folderType == kGroupsFolder && presence == IndexPresence::Gone;
    return !groups || AddUnknownFiles(index.entries, index.folder, index.folderType);
}

int Load(FolderIndex& index, int mode) {
    if (index.folder.empty()) {
        Trace("StoreIndex_Open:: (Error) Attempted to open a blank folder name");
        return kOpenFailed;
    }
    const ObjectHandle mutex = OpenFolderMutex(index.folder);
    const xMutexLock lock(mutex.Get(), INFINITE);
    BeginLoad(index);
    if (!LoadEntries(index, mode)) {
        Trace("StoreIndex_Open::Error opening store index in: " + index.folder);
        return kOpenFailed;
    }
    index.open = true;
    Trace("StoreIndex_Open::Loaded index for folder " + index.folder);
    return kOpenLoaded;
}

int Open(FolderIndex& index, int mode) {
    // Whatever breaks off below: nothing of another folder is left to be saved into this one.
    if (!IsLoadedFrom(index)) BeginLoad(index);
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
        // Kept for callers that pass 6.
        return Open(*index, mode == kOpenCheckedToo ? kOpenChecked : mode);
    } catch (...) {
        // Thrown on as well: the report says that the session will be dropped, and that is the
        // caller's to do.
        ReportCaughtException("StoreIndex_Open");
        throw;
    }
}

}  // namespace tarnwick

#include "common/CaughtException.h"
#include "common/MutexLock.h"
#include "common/Registry.h"
#include "common/Reports.h"
#include "common/Scan.h"
#include "common/Text.h"
#include "Library/FolderFiles.h"
#include "Library/FolderIndex.h"
#include "Library/FolderMutex.h"
#include "Library/IndexBlockFile.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/SerialiserChoice.h"

namespace tarnwick {
namespace {

// The notified mode alone may go on unsaved; without a setting it waits like all others.
DWORD CommitTimeout(int mode) {
    if (mode != kCommitNotified) return INFINITE;
    return RegistryDwordOr(kProductKey, "Index Notification Timeout", INFINITE);
}

bool Save(FolderIndex& index) {
    return SaveByChoice(index.entries, index.folder, index.folderType);
}

void AppendNumber(std::string& text, const char* name, std::uint64_t number) {
    text.append(name).append("\t").append(std::to_string(number)).append("\r\n");
}

std::string DetailsText(const FolderDetails& details) {
    std::string text;
    AppendNumber(text, "ITEMS", details.items);
    AppendNumber(text, "UNREAD", details.unread);
    AppendNumber(text, "SIZE", details.size);
    AppendNumber(text, "LASTUID", details.lastUid);
    return text;
}

// Of a whole index.
FolderDetails DetailsOf(const StoreIndex& index) {
    FolderDetails details;
    details.lastUid = index.LastUid();
    for (const StoreIndex::Entry& entry : index.InPositionOrder()) {
        ++details.items;
        if (entry.Property("READ") != "1") ++details.unread;
        const std::int64_t size = ParseInt64(entry.Property("SIZE").value_or(""));
        if (size > 0) details.size += static_cast<std::uint64_t>(size);
    }
    return details;
}

// Folders of the file store keep no details; nor does one whose place in the store is not known.
bool KeepsDetails(const FolderIndex& index) {
    return FindTextIgnoreCase(index.folder, "$FILEROOT") == kNotFound && !index.folderName.empty();
}

// Writes the given details, or those of an index that was whole before its save (the save may let
// a part count as whole). True when there were some to write.
bool WriteDetails(const FolderIndex& index, const FolderDetails* given, bool wasWhole) {
    if (!KeepsDetails(index) || (given == nullptr && !wasWhole)) return false;
    File file(FormatPath("%s\\MAILROOT\\%s\\%s\\_FOLDER.DAT",
                         {index.dataDirectory, index.postoffice, index.folderName}),
              kOpenTruncate);
    if (file.IsOpen())
        file.Write(DetailsText(given == nullptr ? DetailsOf(index.entries) : *given));
    return true;
}

int Commit(FolderIndex& index, int mode) {
    const ObjectHandle mutex = OpenFolderMutex(index.folder);
    // No exception for a mutex that was not had: a time-out here is an outcome, not a failure.
    const MutexLock lock(mutex.Get(), CommitTimeout(mode));
    if (!lock.IsLocked()) {
        Trace("StoreIndex_Commit:: Was abandoned due to mutex timeout " + index.folder);
        return kCommitFailed;
    }
    const bool wasWhole = index.entries.IsWhole();
    const bool saved = Save(index);
    if (saved) WriteDetails(index, nullptr, wasWhole);
    // The parenthesis that is never closed is kept for whoever searches traces for the line.
    Trace((mode == kCommitNotified ? "StoreIndex_Commit::(Notified and Committed Index for folder "
                                   : "StoreIndex_Commit::Committed Index for folder ") +
          index.folder);
    return saved ? kCommitted : kCommitFailed;
}

// False when the save failed, or when another had written the file since it was loaded: its entries
// may be overwritten, and only a scan brings them back.
bool SaveUnlessOvertaken(FolderIndex& index, const FolderDetails* details) {
    const std::uint64_t atLoad = index.entries.FileStamp().lastWrite;
    const std::uint64_t beforeSave =
        StampOf(IndexFilePath(index.folder, index.folderType)).value_or(IndexFileStamp{}).lastWrite;
    const bool wasWhole = index.entries.IsWhole();
    const bool saved = Save(index);
    if (atLoad != beforeSave) {
        Trace("StoreIndex_SaveAndClose::Failed to commit index for folder " + index.folder +
              ". Index was changed while being transacted. Folder will be marked as dirty.");
        return false;
    }
    if (saved && WriteDetails(index, details, wasWhole)) {
        Trace("StoreIndex_SaveAndClose::SetCacheDetailsToFile for folder " + index.folder);
    }
    return saved;
}

bool SaveAndReport(FolderIndex& index, const FolderDetails* details) {
    try {
        return SaveUnlessOvertaken(index, details);
    } catch (...) {
        ReportCaughtException("StoreIndex_SaveAndClose");
        return false;
    }
}

// An overtaken save has said so already and says this as well, like every commit that failed.
// The mark is written also when memory is too short for it.
void MarkAsDirty(const ChangeMark& mark, const std::string& folder) {
    try {
        Trace("StoreIndex_SaveAndClose::Failed to commit index for folder " + folder +
              ". Folder will be marked as dirty.");
    } catch (...) {
    }
    mark.Write();
}

// The mark is there before the mutex is given back: who comes next loads without the entries that
// were not saved, and must find it.
void SaveOrMark(FolderIndex& index, const FolderDetails* details) {
    const ChangeMark mark(index.folder);
    try {
        MakeDirectory(index.folder);
        Trace("StoreIndex_SaveAndClose::Committing Index for folder " + index.folder);
        const ObjectHandle mutex = OpenFolderMutex(index.folder);
        const xMutexLock lock(mutex.Get(), INFINITE);
        if (!SaveAndReport(index, details)) MarkAsDirty(mark, index.folder);
        return;
    } catch (...) {
        ReportCaughtException("StoreIndex_SaveAndClose");
    }
    MarkAsDirty(mark, index.folder);
}

}  // namespace

int StoreIndex_Commit(FolderIndex* index, int mode) {
    if (index == nullptr) {
        Trace("WARNING!: StoreIndex is NULL when passed to StoreIndex_Commit");
        return kCommitFailed;
    }
    if (index->folder.empty()) {
        Trace("WARNING!: StoreIndex Folder has not been set. Commit is ignored");
        return kCommitFailed;
    }
    // Neither saved nor failed: closing twice is no error.
    if (!index->open) return kCommitNotOpen;
    try {
        return Commit(*index, mode);
    } catch (...) {
        Trace("StoreIndex_Commit raised an exception");
        return kCommitFailed;
    }
}

int StoreIndex_SaveAndClose(FolderIndex* index, bool save, bool blockIsOpen, File& block,
                            const FolderDetails* details) try {
    if (index == nullptr || index->folder.empty()) {
        // Which file it locks is not known, so it is closed and stays.
        if (blockIsOpen) block.Close();
        return 1;
    }
    if (save) SaveOrMark(*index, details);
    index->open = false;
    // The file goes also when the caller does not hold it: one left behind delays every open by a
    // minute.
    File none;
    RemoveIndexBlock(blockIsOpen ? block : none, IndexBlockPath(index->folder, index->folderType));
    return 1;
} catch (...) {
    ReportCaughtException("StoreIndex_SaveAndClose");
    // Not a failure to the caller: what was not saved, the mark tells the next open.
    return 1;
}

}  // namespace tarnwick

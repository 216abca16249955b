#include "tools/admin/store/IndexRepair.h"

#include <algorithm>
#include <set>

#include "common/Files.h"
#include "common/MutexLock.h"
#include "common/Text.h"
#include "Library/FolderFiles.h"
#include "Library/FolderMutex.h"
#include "Library/IndexBlockFile.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tools/admin/store/FolderListing.h"
#include "tools/admin/store/IndexInspection.h"
#include "tools/admin/store/StoreNames.h"

namespace tarnwick::admin {
namespace {

constexpr DWORD kMutexMilliseconds = 60'000;
constexpr const char* kNoLock = "another program holds the folder; try again";
constexpr const char* kNoCopy = "no copy of it could be kept; see the folder's rights and room";

// What an index file holds: the entries that can be read of it, and whether it loads.
struct IndexContent {
    bool there = false;
    bool loads = false;
    StoreIndex index = {};
};

IndexContent ContentOf(const std::string& path) {
    const auto bytes = ReadWholeFile(path);
    if (!bytes) return {};
    IndexInspection inspection;
    inspection.Run(*bytes, 0);
    return {true, inspection.Loads(), inspection.TakeIndex()};
}

std::string Entries(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " entry" : " entries");
}

// Does `change` with the folder to itself.
template <typename Change>
Outcome WithFolder(const std::string& folder, FolderType type, Change change) {
    const IndexBlock block(folder, type);
    const ObjectHandle mutex = OpenFolderMutex(folder);
    const MutexLock lock(mutex.Get(), kMutexMilliseconds);
    if (!block.IsHeld() || !lock.IsLocked()) return Left(kNoLock);
    return change();
}

bool SaveWhole(StoreIndex& index, const std::string& folder, FolderType type) {
    index.CountAsWhole();
    return StreamXMLStoreIndexSerialiser().Serialise(index, folder, type);
}

void Copy(const StoreIndex::Entry& entry, IndexEntryDraft& draft) {
    draft.SetId(entry.Id());
    if (entry.HasUid()) draft.SetUid(entry.Uid());
    for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
        draft.SetProperty(entry.Names().Name(at), entry.Value(at));
    }
}

// Adds the backup's entries that the index lacks, as they are; how many there were. One whose UID
// has become another's stays out: its file gets a new one. Entries without a UID share none.
std::size_t AddMissing(StoreIndex& index, const StoreIndex& backup) {
    std::set<std::uint32_t> uids;
    for (const StoreIndex::Entry& entry : index.InUidOrder()) uids.insert(entry.Uid());
    const std::size_t before = index.Count();
    IndexEntryDraft draft;
    for (const StoreIndex::Entry& entry : backup.InUidOrder()) {
        if (index.FindById(entry.Id()) != nullptr) continue;
        if (entry.HasUid() && !uids.insert(entry.Uid()).second) continue;
        draft.Begin(index.Names());
        Copy(entry, draft);
        const auto number = static_cast<std::uint32_t>(index.Count() + 1);
        index.Load(draft, number, number);
    }
    index.FinishLoad();
    index.SetLastUid(std::max(index.LastUid(), backup.LastUid()));
    return index.Count() - before;
}

}  // namespace

FolderType IndexTypeOf(const Finding& finding) {
    return EqualsIgnoreCase(NameOf(finding.file), kGroupsName) ? kGroupsFolder : kMailFolder;
}

Outcome RewriteIndex(const Finding& finding, bool dryRun) {
    const FolderType type = IndexTypeOf(finding);
    const std::string backupPath = finding.folder + "\\" + kBackupName;
    const auto change = [&] {
        IndexContent content = ContentOf(finding.file);
        if (!content.there) return Left("the file cannot be read");
        std::string text =
            "written anew with the " + Entries(content.index.Count()) + " that could be read";
        // What could be read is newer than its like in the backup.
        if (!content.loads && type != kGroupsFolder) {
            const IndexContent backup = ContentOf(backupPath);
            const std::size_t added = backup.loads ? AddMissing(content.index, backup.index) : 0;
            if (added > 0) text += " and " + Entries(added) + " of the backup";
        }
        if (dryRun) return Done(text);
        const auto kept = KeepCopy(finding.file);
        if (!kept) return Left(kNoCopy);
        if (!SaveWhole(content.index, finding.folder, type)) {
            return Left("it could not be written; as it was: " + *kept);
        }
        // Files that have no entry now get one when the folder is opened next.
        if (!content.loads) MarkFolderChanged(finding.folder);
        return Done(text + "; as it was: " + *kept);
    };
    return dryRun ? change() : WithFolder(finding.folder, type, change);
}

Outcome RestoreIndex(const Finding& finding, bool dryRun) {
    const std::string path = finding.folder + "\\" + kIndexName;
    const auto change = [&] {
        if (FileExists(path)) return Done("it is there again");
        const std::string backup = finding.folder + "\\" + kBackupName;
        const std::string quarantined = finding.folder + "\\" + kQuarantineName;
        IndexContent taken = ContentOf(backup);
        const bool useBackup = taken.loads || !FileExists(quarantined);
        if (!useBackup) taken = ContentOf(quarantined);
        const std::string text = "from " + std::string(useBackup ? kBackupName : kQuarantineName) +
                                 " with " + Entries(taken.index.Count());
        if (dryRun) return Done(text);
        if (!CopyToNew(useBackup ? backup : quarantined, path)) return Left(kNoCopy);
        if (!taken.loads && !SaveWhole(taken.index, finding.folder, kMailFolder)) {
            return Left("it could not be written");
        }
        MarkFolderChanged(finding.folder);
        return Done(text);
    };
    return dryRun ? change() : WithFolder(finding.folder, kMailFolder, change);
}

Outcome MarkFolder(const Finding& finding, bool dryRun) {
    if (!dryRun && !MarkFolderChanged(finding.folder)) return Left(kNoCopy);
    return Done("the folder is marked: its next open compares index and files");
}

Outcome RenewBackup(const Finding& finding, bool dryRun) {
    const auto change = [&] {
        if (!ContentOf(finding.folder + "\\" + kIndexName).loads) {
            return Left("the index itself does not load");
        }
        if (dryRun) return Done("a new copy of the index");
        const auto kept = SetAside(finding.file);
        if (!kept) return Left(kNoCopy);
        if (CopyToNew(finding.folder + "\\" + kIndexName, finding.file)) {
            return Done("a new copy of the index; as it was: " + *kept);
        }
        MoveInPlace(finding.folder + "\\" + *kept, finding.file);
        return Left(kNoCopy);
    };
    return dryRun ? change() : WithFolder(finding.folder, kMailFolder, change);
}

}  // namespace tarnwick::admin

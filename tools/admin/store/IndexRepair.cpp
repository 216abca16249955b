#include "tools/admin/store/IndexRepair.h"

#include "common/Files.h"
#include "common/MutexLock.h"
#include "common/Text.h"
#include "Library/FolderFiles.h"
#include "Library/IndexBlockFile.h"
#include "Library/LIBStoreIndexSerialisation/BackedUpIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/StreamXMLStoreIndexSerialiser.h"
#include "tools/admin/store/FolderListing.h"
#include "tools/admin/store/IndexInspection.h"
#include "tools/admin/store/StoreNames.h"

namespace tarnwick::admin {
namespace {

constexpr DWORD kMutexMilliseconds = 60'000;
constexpr const char* kNoLock = "another program holds the folder; try again";
constexpr const char* kNoCopy = "no copy of it could be kept; see the folder's rights and room";

// What an index file holds: how many entries can be read of it, and whether it loads.
struct IndexContent {
    bool there = false;
    bool loads = false;
    std::size_t entries = 0;
};

IndexContent ContentOf(const std::string& path) {
    const auto bytes = ReadWholeFile(path);
    if (!bytes) return {};
    IndexInspection inspection;
    inspection.Run(*bytes, 0);
    return {true, inspection.Loads(), inspection.Index().Count()};
}

std::string Entries(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " entry" : " entries");
}

// Does `change` with the folder to itself.
template <typename Change>
Outcome WithFolder(const std::string& folder, std::uint32_t type, Change change) {
    const IndexBlock block(folder, type);
    const ObjectHandle mutex = OpenFolderMutex(folder);
    const MutexLock lock(mutex.Get(), kMutexMilliseconds);
    if (!block.IsHeld() || !lock.IsLocked()) return Left(kNoLock);
    return change();
}

std::uint32_t TypeOf(const Finding& finding) {
    return EqualsIgnoreCase(NameOf(finding.file), kGroupsName) ? kGroupsFolder : kMailFolder;
}

bool SaveWhole(const std::string& folder, std::uint32_t type) {
    StreamXMLStoreIndexSerialiser serialiser;
    StoreIndex index;
    serialiser.Deserialise(index, folder, type, {});
    index.CountAsWhole();
    return serialiser.Serialise(index, folder, type);
}

bool MayUseBackup(const IndexContent& index, const IndexContent& backup) {
    return !index.loads && backup.loads && backup.entries > index.entries;
}

}  // namespace

Outcome RewriteIndex(const Finding& finding, bool dryRun) {
    const std::uint32_t type = TypeOf(finding);
    const std::string backupPath = finding.folder + "\\" + kBackupName;
    const auto change = [&] {
        const IndexContent index = ContentOf(finding.file);
        if (!index.there) return Left("the file cannot be read");
        const IndexContent backup = type == kGroupsFolder ? IndexContent{} : ContentOf(backupPath);
        const bool useBackup = MayUseBackup(index, backup);
        const std::string text =
            useBackup
                ? "the backup with " + Entries(backup.entries) + " takes its place, of which " +
                      Entries(index.entries) + " could be read"
                : "written anew with the " + Entries(index.entries) + " that could be read";
        if (dryRun) return Done(text);
        const auto kept = KeepCopy(finding.file);
        if (!kept) return Left(kNoCopy);
        const bool written =
            useBackup ? CopyOver(backupPath, finding.file) : SaveWhole(finding.folder, type);
        if (!written) return Left("it could not be written; as it was: " + *kept);
        // Files that have no entry now get one when the folder is opened next.
        if (!index.loads) MarkFolderChanged(finding.folder);
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
        const IndexContent best = ContentOf(backup);
        const bool useBackup = best.loads || !FileExists(quarantined);
        const IndexContent taken = useBackup ? best : ContentOf(quarantined);
        const std::string text = "from " + std::string(useBackup ? kBackupName : kQuarantineName) +
                                 " with " + Entries(taken.entries);
        if (dryRun) return Done(text);
        if (!CopyOver(useBackup ? backup : quarantined, path)) return Left(kNoCopy);
        if (!taken.loads && !SaveWhole(finding.folder, kMailFolder)) {
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
        StreamXMLStoreIndexSerialiser().CreateBackup(finding.folder);
        return Done("a new copy of the index; as it was: " + *kept);
    };
    return dryRun ? change() : WithFolder(finding.folder, kMailFolder, change);
}

}  // namespace tarnwick::admin

// The folder's index, its backup, and the files that it lists.
#include "common/Clock.h"
#include "common/Text.h"
#include "Library/LIBStoreIndexSerialisation/BackedUpIndexSerialiser.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"
#include "tools/admin/store/BlockRule.h"
#include "tools/admin/store/FolderInspection.h"
#include "tools/admin/store/StoreNames.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

// A new message may wait as long in a server's memory for its index to be committed.
constexpr std::int64_t kUncommittedSeconds = 10 * 60;

}  // namespace

void FolderInspection::TakeIndexes() {
    const StoredFile* index = listing_->Find(kIndexName);
    const StoredFile* groups = listing_->Find(kGroupsName);
    const StoredFile* backup = listing_->Find(kBackupName);
    const StoredFile* quarantined = listing_->Find(kQuarantineName);
    if (Wants(kIndexUnit)) {
        const std::string state = StampsOf({kIndexName, kBackupName, kQuarantineName});
        if (index != nullptr) {
            TakeIndex(*index, kIndexUnit);
            if (backup != nullptr) TakeBackup(*backup, *index);
        } else if (groups == nullptr && backup != nullptr) {
            Add(Problem::IndexMissing, kIndexName, kIndexUnit, state);
        } else if (groups == nullptr && quarantined != nullptr) {
            Add(Problem::IndexQuarantined, kQuarantineName, kIndexUnit, state);
        }
    }
    if (groups != nullptr && Wants(kGroupsUnit)) TakeIndex(*groups, kGroupsUnit);
}

void FolderInspection::TakeIndex(const StoredFile& file, const std::string& unit) {
    const auto bytes = Read(file, unit);
    if (!bytes) return;
    index_.Run(*bytes, StoredIndexSettings().garbageThreshold);
    for (const ByteProblem& problem : index_.Problems()) {
        Add(problem.problem, file.name, unit, StampOf(&file), problem.detail).offset =
            problem.offset;
    }
    if (!index_.Loads()) return;
    // A folder that is marked is compared with its files when it is opened next.
    const StoredFile* mark = listing_->Find(kChangeFlag);
    if (mark == nullptr || AgeSeconds(mark->lastWrite) > kUnconsumedSeconds) {
        CompareWithFiles(file, unit);
    }
}

void FolderInspection::CompareWithFiles(const StoredFile& index, const std::string& unit) {
    const StoreIndex& entries = index_.Index();
    for (const StoreIndex::Entry& entry : entries.InPositionOrder()) {
        const std::string id(entry.Id());
        // A message whose edit broke off has a problem of its own.
        if (listing_->Find(id) != nullptr || listing_->Find("_" + id) != nullptr) continue;
        Finding& finding = Add(Problem::IndexEntryAlone, index.name, unit, StampOf(&index), id);
        finding.offset = entry.ItemOffset();
        finding.id = id;
    }
    for (const StoredFile& file : listing_->Files()) {
        if (entries.FindById(file.name) != nullptr || !IsMessageOf(index, file)) continue;
        const bool mayWait =
            file.lastWrite > index.lastWrite && AgeSeconds(file.lastWrite) < kUncommittedSeconds;
        if (mayWait) continue;
        Add(Problem::IndexFileAlone, file.name, unit, StampOf(&index) + " " + StampOf(&file));
    }
}

bool FolderInspection::IsMessageOf(const StoredFile& index, const StoredFile& file) {
    if (file.name.starts_with('_')) return false;
    if (EqualsIgnoreCase(index.name, kGroupsName)) return HasExtension(file.name, "GRP");
    if (!HasMessageExtension(file.name)) return false;
    if (!hasCalendars_ || !HasExtension(file.name, "CAL")) return true;
    const auto bytes = reader_.Read(listing_->PathOf(file.name), file.size);
    return bytes && bytes->starts_with(kMessageCalendarStart);
}

void FolderInspection::TakeBackup(const StoredFile& backup, const StoredFile& index) {
    const IndexSettings& settings = StoredIndexSettings();
    if (settings.backupIndex != 1) return;
    const auto bytes = Read(backup, kIndexUnit);
    if (!bytes) return;
    const std::string state = StampsOf({kIndexName, kBackupName});
    index_.Run(*bytes, settings.garbageThreshold);
    if (!index_.Loads()) {
        const ByteProblem& problem = index_.Problems().front();
        Add(Problem::BackupMalformed, backup.name, kIndexUnit, state, problem.detail).offset =
            problem.offset;
        return;
    }
    const std::uint64_t now = CurrentFileTime();
    if (now < backup.lastWrite || index.lastWrite <= backup.lastWrite) return;
    if (CalendarMinutes(now - backup.lastWrite) <= settings.backupIntervalMinutes) return;
    Add(Problem::BackupOld, backup.name, kIndexUnit, state,
        FormatAge(AgeSeconds(backup.lastWrite)));
}

}  // namespace tarnwick::admin

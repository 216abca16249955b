#include "tools/admin/store/FolderInspection.h"

#include <algorithm>

#include "common/Retry.h"
#include "common/Text.h"
#include "tools/admin/EventIds.h"
#include "tools/admin/store/BlockRule.h"
#include "tools/admin/store/CalendarSiblings.h"
#include "tools/admin/store/StoreNames.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

constexpr std::string_view kMessageExtensions[] = {"MAI", "VCF", "TSK", "CAL"};
constexpr const char* kCalendarExtensions[] = {"CAL", "TMP", "BAK", "BLK"};
constexpr const char* kStoreFiles[] = {
    kIndexName,  kGroupsName,   kBackupName,          "_index.blk",   "_groups.blk",
    kChangeFlag, kActivityName, kActivityReplacement, kActivityBlock, kCachedFlag};

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
    return lower;
}

bool IsItem(std::string_view name) {
    return HasExtension(name, "ICS");
}

// Whether an ID is of a form that imports give and people do not: then it came with an item.
bool LooksImported(std::string_view id) {
    constexpr std::size_t kUuidLength = 36;
    if (id.find('@') != id.npos) return true;
    if (id.find('~') != id.npos) {
        const std::string_view stem = WithoutNumber(id).value_or(id);
        // Only a replaced name stays what it is in spite of its "~".
        return EventItemNames(stem).front() == std::string(stem) + ".ICS";
    }
    return id.size() >= kUuidLength && id[8] == '-' && id[13] == '-' && id[18] == '-' &&
           id[23] == '-';
}

// The files that tell somebody something, and should be gone once they did.
bool IsFlag(std::string_view name) {
    return EqualsIgnoreCase(name, kChangeFlag) || EqualsIgnoreCase(name, kCachedFlag) ||
           (name.starts_with('_') && (HasExtension(name, "NFY") || HasExtension(name, "NEW")));
}

// Whether the store's programs open a file by this name, whatever has it.
bool IsNameOfFile(std::string_view name, bool besideCalendars) {
    const auto isIt = [name](const char* known) { return EqualsIgnoreCase(name, known); };
    const auto hasIt = [name](const char* extension) { return HasExtension(name, extension); };
    return std::any_of(std::begin(kStoreFiles), std::end(kStoreFiles), isIt) ||
           (besideCalendars &&
            std::any_of(std::begin(kCalendarExtensions), std::end(kCalendarExtensions), hasIt));
}

std::string ErrorText(DWORD error) {
    if (error == ERROR_SHARING_VIOLATION) return "a program has it for itself";
    return "error " + std::to_string(error);
}

std::string CalendarUnit(std::string_view calendar) {
    return "calendar " + Lower(calendar);
}

}  // namespace

bool HasMessageExtension(std::string_view name) {
    return std::any_of(
        std::begin(kMessageExtensions), std::end(kMessageExtensions),
        [name](std::string_view extension) { return HasExtension(name, extension); });
}

std::string StampOf(const StoredFile* file) {
    if (file == nullptr) return "-";
    return std::to_string(file->size) + "@" + std::to_string(file->lastWrite);
}

std::vector<Finding> FolderInspection::Run(const FolderListing& listing, const Units* units) {
    listing_ = &listing;
    units_ = units;
    hasCalendars_ = IsCalendarFolder(listing.Folder());
    place_ = PlaceOf(listing.Folder(), root_);
    findings_.clear();
    items_.clear();
    itemOfId_.clear();
    entriesHidden_ = false;
    if (listing.Error() != 0 && Wants(kFolderUnit)) {
        Add(Problem::Unreadable, "", kFolderUnit, {}, ErrorText(listing.Error())).file =
            listing.Folder();
    }
    if (hasCalendars_) CollectItems();
    for (const StoredFile& file : listing.Files()) {
        if (hasCalendars_ && HasExtension(file.name, "CAL")) {
            TakeCalendar(file);
        } else if (!hasCalendars_ || file.name.starts_with('_')) {
            TakeOther(file);
        } else {
            TakeCompanion(file);
        }
    }
    for (const std::string& name : listing.Folders()) {
        const std::string unit = Lower(name);
        if (Wants(unit) && IsNameOfFile(name, hasCalendars_)) {
            Add(Problem::FolderInstead, name, unit, {});
        }
    }
    if (hasCalendars_) ReportItems();
    TakeIndexes();
    TakeActivity();
    return std::move(findings_);
}

std::string FolderInspection::StampsOf(std::initializer_list<std::string> names) const {
    std::string stamps;
    for (const std::string& name : names) stamps += StampOf(listing_->Find(name)) + " ";
    return stamps;
}

// Whether a block file stands whose holder may be at work.
bool FolderInspection::IsBusy(const std::string& blockName) const {
    const StoredFile* block = listing_->Find(blockName);
    if (block == nullptr) return false;
    const auto rule = RuleOf(listing_->Folder(), blockName);
    return rule && !IsStale(*rule, listing_->PathOf(blockName), block->lastWrite);
}

Finding& FolderInspection::Add(Problem problem, std::string_view fileName, const std::string& unit,
                               std::string state, std::string detail) {
    Finding finding{.problem = problem, .file = listing_->PathOf(fileName)};
    finding.detail = std::move(detail);
    finding.place = place_.text;
    finding.root = place_.root;
    finding.folder = listing_->Folder();
    finding.unit = unit;
    finding.state = std::move(state);
    findings_.push_back(std::move(finding));
    return findings_.back();
}

// A file that has gone since the listing is no problem of its own.
std::optional<std::string_view> FolderInspection::Read(const StoredFile& file,
                                                       const std::string& unit) {
    const auto bytes = reader_.Read(listing_->PathOf(file.name), file.size);
    const DWORD error = GetLastError();
    if (!bytes && Wants(unit) && !IsGone(error)) {
        Add(Problem::Unreadable, file.name, unit, StampOf(&file), ErrorText(error));
    }
    return bytes;
}

// --- calendars and items ---

void FolderInspection::TakeCalendar(const StoredFile& file) {
    const std::string unit = CalendarUnit(StemOf(file.name));
    if (!Wants(unit) && !Wants(kItemsUnit)) return;
    const auto bytes = Read(file, unit);
    // In a folder with an index a message may have the extension too.
    if (!bytes || bytes->starts_with(kMessageCalendarStart)) return;
    if (file.readOnly && Wants(unit)) {
        Add(Problem::CalendarReadOnly, file.name, unit, StampOf(&file));
    }
    TakeCalendarLines(file, unit, *bytes);
}

void FolderInspection::TakeCalendarLines(const StoredFile& file, const std::string& unit,
                                         std::string_view bytes) {
    const std::string calendar(StemOf(file.name));
    calendar_.Run(bytes, calendar);
    for (const CalendarInspection::SeenEntry& entry : calendar_.Entries()) TakeEntry(file, entry);
    entriesHidden_ = entriesHidden_ || calendar_.HidesEntries();
    if (!Wants(unit)) return;
    for (const LineProblem& problem : calendar_.Problems()) {
        Finding& finding = Add(problem.problem, file.name, unit, StampOf(&file), problem.detail);
        finding.line = problem.line;
        finding.calendar = calendar;
        finding.id = problem.id;
        finding.start = problem.start;
        finding.end = problem.end;
    }
}

// What stands beside a calendar, or is left of one.
void FolderInspection::TakeCompanion(const StoredFile& file) {
    TakeOther(file);
    const bool isReplacement = HasExtension(file.name, "TMP");
    const bool isBlock = HasExtension(file.name, "BLK");
    if (!isReplacement && !isBlock) return;
    const std::string calendar(StemOf(file.name));
    const std::string unit = CalendarUnit(calendar);
    const bool isThere = listing_->Find(calendar + ".CAL") != nullptr;
    entriesHidden_ = entriesHidden_ || !isThere;
    if (!Wants(unit)) return;
    const std::string state = StampsOf({calendar + ".CAL", calendar + ".TMP", calendar + ".BAK",
                                        calendar + ".OLD", calendar + ".BLK"});
    if (isThere) {
        if (isReplacement && !IsBusy(calendar + ".BLK")) {
            Add(Problem::SiblingLeft, file.name, unit, state, calendar + ".CAL");
        }
        return;
    }
    // A block file without a replacement kept nobody from a swap: writers take it, too, when they
    // look for a calendar whose last entry was removed.
    if (isBlock || !Read(file, unit)) return;
    const auto choice = ChooseSibling(*listing_, calendar, reader_);
    if (!choice) return;
    const bool mayBeRemoved = choice->mayBeRemoved;
    Add(mayBeRemoved ? Problem::CalendarEmptied : Problem::CalendarMissing,
        mayBeRemoved ? choice->file->name : calendar + ".CAL", unit, state,
        mayBeRemoved ? calendar + ".TMP" : choice->why)
        .calendar = calendar;
}

void FolderInspection::CollectItems() {
    if (!Wants(kItemsUnit)) return;
    for (const StoredFile& file : listing_->Files()) {
        if (IsItem(file.name)) items_.emplace(Lower(file.name), false);
    }
}

void FolderInspection::TakeEntry(const StoredFile& file,
                                 const CalendarInspection::SeenEntry& entry) {
    if (!Wants(kItemsUnit) || (items_.empty() && !LooksImported(entry.id))) return;
    const auto [known, isNew] = itemOfId_.emplace(Lower(entry.id), false);
    if (isNew) {
        for (const std::string& name : EventItemNames(entry.id)) {
            const auto item = items_.find(Lower(name));
            if (item == items_.end()) continue;
            item->second = true;
            known->second = true;
        }
    }
    if (known->second || !LooksImported(entry.id)) return;
    Finding& finding = Add(Problem::ItemMissing, file.name, kItemsUnit, StampOf(&file),
                           EventItemNames(entry.id).front());
    finding.line = entry.line;
    finding.calendar = StemOf(file.name);
    finding.id = entry.id;
}

// As long as some entries cannot be seen, an item may be theirs.
void FolderInspection::ReportItems() {
    if (entriesHidden_) return;
    for (const auto& [name, hasEntry] : items_) {
        if (hasEntry) continue;
        const StoredFile* file = listing_->Find(name);
        Add(Problem::ItemAlone, file->name, kItemsUnit, StampOf(file));
    }
}

// --- activity, flags, siblings, blocks ---

void FolderInspection::TakeActivity() {
    if (!Wants(kActivityUnit)) return;
    const StoredFile* file = listing_->Find(kActivityName);
    const StoredFile* replacement = listing_->Find(kActivityReplacement);
    const std::string state = StampsOf({kActivityName, kActivityReplacement, kActivityBlock});
    if (replacement != nullptr && !IsBusy(kActivityBlock)) {
        if (file != nullptr || replacement->size == 0) {
            Add(Problem::SiblingLeft, replacement->name, kActivityUnit, state, kActivityName);
        } else {
            Add(Problem::ActivityMissing, kActivityName, kActivityUnit, state);
        }
    }
    if (file == nullptr) return;
    const auto bytes = Read(*file, kActivityUnit);
    if (!bytes) return;
    for (const LineProblem& problem : InspectActivity(*bytes)) {
        Add(problem.problem, file->name, kActivityUnit, state, problem.detail).line = problem.line;
    }
}

// Files that say something by being there.
void FolderInspection::TakeOther(const StoredFile& file) {
    if (!file.name.starts_with('_') && !HasExtension(file.name, "BLK")) return;
    const std::string unit = Lower(file.name);
    if (!Wants(unit)) return;
    const std::int64_t age = AgeSeconds(file.lastWrite);
    if (IsFlag(file.name)) {
        if (age > kUnconsumedSeconds) {
            Add(Problem::FlagOld, file.name, unit, StampOf(&file), FormatAge(age));
        }
        return;
    }
    if (const auto rule = RuleOf(listing_->Folder(), file.name)) {
        if (IsStale(*rule, listing_->PathOf(file.name), file.lastWrite)) {
            Add(Problem::BlockStale, file.name, unit, StampOf(&file),
                rule->guards + ", for " + FormatAge(age));
        }
        return;
    }
    const bool isMessageSibling = file.name.starts_with('_') && (HasMessageExtension(file.name) ||
                                                                 HasExtension(file.name, "GRP"));
    if (!isMessageSibling) return;
    const std::string message = file.name.substr(1);
    const bool isThere = listing_->Find(message) != nullptr;
    Add(isThere ? Problem::SiblingLeft : Problem::MessageMissing, isThere ? file.name : message,
        unit, StampOf(&file), message);
}

}  // namespace tarnwick::admin

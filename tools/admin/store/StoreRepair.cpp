#include "tools/admin/store/StoreRepair.h"

#include <algorithm>
#include <set>
#include <utility>

#include "common/Files.h"
#include "common/Retry.h"
#include "Library/activity/ActivityStore.h"
#include "Library/activity/BlockFileLock.h"
#include "Library/IndexBlockFile.h"
#include "provider/CalendarPaths.h"
#include "tools/admin/store/BlockRule.h"
#include "tools/admin/store/CalendarSiblings.h"
#include "tools/admin/store/HeldBlock.h"
#include "tools/admin/store/IndexRepair.h"
#include "tools/admin/store/RepairFiles.h"
#include "tools/admin/store/StoreNames.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

// A repair may show what it hid: torn lines of a calendar that was put back.
constexpr int kRounds = 3;

constexpr const char* kNoLock = "another program holds the lock; try again";
constexpr const char* kNoWrite = "a file could not be written or moved; see its rights";

std::string WithoutExtension(const std::string& path) {
    return path.substr(0, path.rfind('.'));
}

// As every change of a calendar does.
void TellWatchers(const Finding& finding) {
    WriteChangeFlag(finding.folder + "\\" + kChangeFlag);
}

Outcome RestoreCalendar(const Finding& finding, bool dryRun) {
    const std::string stem = WithoutExtension(finding.file);
    SharedReader reader;
    const auto choose = [&](const FolderListing& listing) {
        return ChooseSibling(listing, finding.calendar, reader);
    };
    if (dryRun) {
        const FolderListing listing(finding.folder);
        const auto choice = choose(listing);
        return choice ? Done("from " + choice->file->name + ": " + choice->why) : Left(kNoWrite);
    }
    const HeldBlock block(stem + ".BLK");
    if (!block.IsHeld()) return Left(kNoLock);
    const FolderListing listing(finding.folder);
    if (listing.Find(finding.calendar + ".CAL") != nullptr) return Done("it is there again");
    const auto choice = choose(listing);
    if (!choice) return Left("none of its companions is there any more");
    const std::string replacement = stem + ".TMP";
    const std::string taken = listing.PathOf(choice->file->name);
    const std::string text = "from " + choice->file->name + ": " + choice->why;
    if (choice->mayBeRemoved) return Left("its entries may have been removed");
    const bool isReplacement = HasExtension(taken, "TMP");
    // The next changes write over the other two.
    if (!choice->whole && !isReplacement && !KeepCopy(taken)) return Left(kNoWrite);
    if (!choice->whole || !isReplacement) {
        const auto bytes = ReadWholeFile(taken);
        if (!bytes || !WriteAnew(replacement, WholeLines(*bytes))) return Left(kNoWrite);
    }
    if (!MoveInPlace(replacement, finding.file)) return Left(kNoWrite);
    TellWatchers(finding);
    return Done(choice->whole ? text : text + "; its torn lines stay in the kept file");
}

Outcome RewriteCalendar(const Finding& finding, bool dryRun) {
    if (dryRun) return Done("its whole lines stay, the others go to a kept copy");
    const std::string stem = WithoutExtension(finding.file);
    const HeldBlock block(stem + ".BLK");
    if (!block.IsHeld()) return Left(kNoLock);
    const auto bytes = ReadWholeFile(finding.file);
    if (!bytes) return Left("the file cannot be read");
    const std::string whole = WholeLines(*bytes);
    if (whole == *bytes) return Done("it is whole again");
    const std::string replacement = stem + ".TMP";
    if (!WriteAnew(replacement, whole)) return Left(kNoWrite);
    const auto kept = SetAside(finding.file);
    if (!kept || !MoveInPlace(replacement, finding.file)) return Left(kNoWrite);
    TellWatchers(finding);
    return Done("its whole lines stay; as it was: " + *kept);
}

// Does `change` under the lock of the folder's activity file.
template <typename Change>
Outcome UnderActivityLock(const std::string& folder, Change change) {
    BlockFileLock lock(folder + "\\" + kActivityBlock, true, 0);
    if (lock.State() != LockState::Held) return Left(kNoLock);
    return change();
}

Outcome RestoreActivity(const Finding& finding, bool dryRun) {
    const std::string replacement = finding.folder + "\\" + kActivityReplacement;
    if (dryRun) return Done("from " + std::string(kActivityReplacement));
    return UnderActivityLock(finding.folder, [&] {
        if (FileExists(finding.file)) return Done("it is there again");
        if (!MoveInPlace(replacement, finding.file)) return Left(kNoWrite);
        return Done("from " + std::string(kActivityReplacement));
    });
}

Outcome RewriteActivity(const Finding& finding, bool dryRun) {
    if (dryRun) return Done("its sound lines stay, the others go to a kept copy");
    return UnderActivityLock(finding.folder, [&] {
        const auto bytes = ReadWholeFile(finding.file);
        if (!bytes) return Left("the file cannot be read");
        const std::string kept = KeptActivity(*bytes);
        if (kept == *bytes) return Done("it is sound again");
        const std::string replacement = finding.folder + "\\" + kActivityReplacement;
        if (!kept.empty() && !WriteAnew(replacement, kept)) return Left(kNoWrite);
        const auto before = SetAside(finding.file);
        if (!before) return Left(kNoWrite);
        if (!kept.empty() && !MoveInPlace(replacement, finding.file)) return Left(kNoWrite);
        return Done("its sound lines stay; as it was: " + *before);
    });
}

Outcome RestoreMessage(const Finding& finding, bool dryRun) {
    const std::string name(NameOf(finding.file));
    const std::string sibling = finding.folder + "\\_" + name;
    if (!dryRun && !MoveInPlace(sibling, finding.file)) return Left(kNoWrite);
    return Done("from _" + name + ", which was written whole before the message was deleted");
}

Outcome KeepAside(const Finding& finding) {
    const auto kept = SetAside(finding.file);
    if (!kept) return Left(kNoWrite);
    return Done(kept->empty() ? "it has gone" : "set aside as " + *kept);
}

Outcome SetAsideUnderLock(const Finding& finding, bool dryRun) {
    if (dryRun) return Done("to be set aside");
    const std::string_view name = NameOf(finding.file);
    if (finding.unit == kActivityUnit) {
        return UnderActivityLock(finding.folder, [&] { return KeepAside(finding); });
    }
    if (!HasExtension(name, "TMP")) return KeepAside(finding);
    const HeldBlock block(WithoutExtension(finding.file) + ".BLK");
    return block.IsHeld() ? KeepAside(finding) : Left(kNoLock);
}

Outcome RemoveBlock(const Finding& finding, bool dryRun) {
    if (dryRun || BreakBlock(finding.file)) return Done("removed: its holder has ended");
    if (!FileExists(finding.file)) return Done("it has gone");
    return Left("a program has it open, or it may not be removed");
}

Outcome Mend(const Finding& finding, bool dryRun) {
    switch (KindOf(finding.problem).repair) {
        case Repair::RestoreCalendar:
            return RestoreCalendar(finding, dryRun);
        case Repair::RewriteCalendar:
            return RewriteCalendar(finding, dryRun);
        case Repair::RewriteIndex:
            return RewriteIndex(finding, dryRun);
        case Repair::RestoreIndex:
            return RestoreIndex(finding, dryRun);
        case Repair::MarkFolder:
            return MarkFolder(finding, dryRun);
        case Repair::RenewBackup:
            return RenewBackup(finding, dryRun);
        case Repair::RestoreActivity:
            return RestoreActivity(finding, dryRun);
        case Repair::RewriteActivity:
            return RewriteActivity(finding, dryRun);
        case Repair::RestoreMessage:
            return RestoreMessage(finding, dryRun);
        case Repair::SetAside:
            return SetAsideUnderLock(finding, dryRun);
        case Repair::BreakBlock:
            return RemoveBlock(finding, dryRun);
        case Repair::None:
            break;
    }
    return Left("only its users know");
}

// The block file under which the problem is mended; empty: none.
std::string BlockOf(const Finding& finding) {
    const std::string ofCalendar = WithoutExtension(finding.file) + ".BLK";
    const std::string ofActivity = finding.folder + "\\" + kActivityBlock;
    switch (KindOf(finding.problem).repair) {
        case Repair::RestoreCalendar:
        case Repair::RewriteCalendar:
            return ofCalendar;
        case Repair::RestoreActivity:
        case Repair::RewriteActivity:
            return ofActivity;
        case Repair::RewriteIndex:
        case Repair::RestoreIndex:
        case Repair::RenewBackup:
            return IndexBlockPath(finding.folder, IndexTypeOf(finding));
        case Repair::SetAside:
            if (finding.unit == kActivityUnit) return ofActivity;
            return HasExtension(finding.file, "TMP") ? ofCalendar : "";
        default:
            return {};
    }
}

// A holder that is at work is waited for.
void TellWait(const Finding& finding, const WaitReport& wait) {
    const std::string block = BlockOf(finding);
    const auto rule = RuleOf(std::string(ParentOf(block)), std::string(NameOf(block)));
    const auto found = DirectoryScan(block).Next();
    if (!rule || !found) return;
    const std::uint64_t lastWrite = ToUint64(found->lastWrite);
    if (IsStale(*rule, block, lastWrite)) return;
    wait("waiting for " + block + ", which guards " + rule->guards + " and is " +
         FormatAge(AgeSeconds(lastWrite)) + " old; " +
         std::to_string(rule->patienceSeconds + kMoreWaits + 1) + " s at most");
}

// Without the right to make files a lock would be waited for in vain.
Outcome MendUnlessRefused(const Finding& finding, bool dryRun, const WaitReport& wait) {
    if (dryRun) return Mend(finding, true);
    if (!CanMakeFiles(finding.folder)) {
        return Left("this account cannot make files in the folder; see its rights");
    }
    TellWait(finding, wait);
    return Mend(finding, false);
}

// Locks first, so that nothing waits for those who have ended; and what is in the way goes before
// something takes its place.
int Rank(const Finding& finding) {
    switch (KindOf(finding.problem).repair) {
        case Repair::BreakBlock:
            return 0;
        case Repair::SetAside:
            return 1;
        default:
            return 2;
    }
}

// What one repair mends is tried once: all torn lines of one calendar, all gaps of one index.
using Attempt = std::pair<Repair, std::string>;

Attempt AttemptOf(const Finding& finding) {
    const Repair repair = KindOf(finding.problem).repair;
    return {repair, repair == Repair::MarkFolder ? finding.folder : finding.file};
}

}  // namespace

std::vector<Finding> RecoverStore(const std::string& folder, const std::string& root, bool dryRun,
                                  const StepReport& report, const WaitReport& wait,
                                  const WalkProgress& progress) {
    std::set<Attempt> tried;
    std::vector<Finding> found = CheckStore(folder, root, progress);
    for (int round = 0; round < kRounds; ++round) {
        bool changed = false;
        std::stable_sort(found.begin(), found.end(), [](const Finding& left, const Finding& right) {
            return Rank(left) < Rank(right);
        });
        for (const Finding& finding : found) {
            if (KindOf(finding.problem).repair == Repair::None) continue;
            if (!tried.insert(AttemptOf(finding)).second) continue;
            const Outcome outcome = MendUnlessRefused(finding, dryRun, wait);
            report({finding.problem, finding.file, outcome.done, outcome.text});
            changed = changed || (outcome.done && !dryRun);
        }
        if (!changed) break;
        found = CheckStore(folder, root);
    }
    return found;
}

}  // namespace tarnwick::admin

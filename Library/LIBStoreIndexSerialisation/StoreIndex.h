// One folder's index in memory: its entries, and what a save needs to know about the file that they
// were loaded from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/IdTable.h"
#include "Library/LIBStoreIndexSerialisation/IndexEntryDraft.h"
#include "Library/LIBStoreIndexSerialisation/IndexItemPropertyContainer.h"
#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

namespace tarnwick {

// How much of an index a load reads, and what it then has read.
inline constexpr std::uint32_t kLoadFailed = 0;
inline constexpr std::uint32_t kLoadHeader = 1;
inline constexpr std::uint32_t kLoadIdentifiers = 2;  // entries without their properties
inline constexpr std::uint32_t kLoadFull = 3;

struct LessIgnoreCase {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const;
};
// File names, which the file system does not tell apart by case.
using IdSet = std::set<std::string, LessIgnoreCase>;

// What tells one state of an index file from another.
struct IndexFileStamp {
    std::uint64_t lastWrite = 0;  // 100 ns units since 1601-01-01 UTC
    std::uint32_t size = 0;
    bool operator==(const IndexFileStamp&) const = default;
};

// An entry that was removed but still stands in the file.
struct RemovedEntry {
    std::uint32_t itemOffset;
    std::string blankedStart;  // what overwrites its start there
};

// Not for use by two threads at once. A pointer to an entry ends with the entry's removal; all end
// with Clear.
class StoreIndex {
  public:
    using Entry = IndexItemPropertyContainer;

    // Looking entries up.
    std::size_t Count() const { return live_; }
    Entry* FindById(std::string_view id) const;
    Entry* FindByPosition(std::uint32_t idx) const;
    // Both orders hold until the index changes.
    LiveEntries InUidOrder() const { return {byUid_, 0}; }
    LiveEntries InUidOrderFrom(const Entry& first) const;
    LiveEntries InPositionOrder() const { return {byNumber_, 0}; }

    // Changing them; when memory is short each throws and leaves the index as it was. An added
    // entry gets the next UID, which becomes the last one. Null when the ID is there already, when
    // the format cannot hold it, when no UID is left, or when the entry would not be the last one
    // and only part of the index was loaded.
    Entry* Add(std::string_view id);
    // False when the format cannot hold the name or the value, or when the entry's other properties
    // are unknown because they were not loaded. Setting the value that is there changes nothing.
    bool SetProperty(Entry& entry, std::string_view name, std::string_view value);
    // True also when there is no such property.
    bool RemoveProperty(Entry& entry, std::string_view name);
    void Remove(Entry& entry);

    std::uint32_t LastUid() const { return lastUid_; }
    void SetLastUid(std::uint32_t uid) { lastUid_ = uid; }

    // Filling it. Clear drops the entries and all that was noted about the file, its stamp and load
    // status too; the last UID (a folder does not hand one out twice) and the ID filter stay.
    void Clear();
    // The names that a draft of an entry begins with.
    PropertyNames& Names() { return names_; }
    // Takes an entry over, whose draft began with this index's names; null, with nothing taken,
    // when there is one with its ID.
    Entry* Load(IndexEntryDraft& draft, std::uint32_t idx, std::uint32_t seq);
    // Puts the loaded entries in UID order, which is assumed until then.
    void FinishLoad();
    // Numbers SEQ from 1 in UID order.
    void NumberSequence();

    std::uint32_t LoadStatus() const { return loadStatus_; }
    void SetLoadStatus(std::uint32_t status) { loadStatus_ = status; }

    // The IDs, separated by "|", to which loads are limited; not empty: a partial load.
    const std::string& IdFilter() const { return idFilter_; }
    void SetIdFilter(std::string_view ids) { idFilter_ = ids; }
    IdSet FilteredIds() const;
    // The loaded entries are those of a filter or of known IDs; the file may hold others.
    void MarkLimited() { limited_ = true; }
    bool IsPartial() const { return limited_ || !idFilter_.empty(); }
    bool IsWhole() const { return loadStatus_ == kLoadFull && !IsPartial(); }

    // The file was read to its end and is no sound index: what could be read is held.
    void MarkDamaged() { damaged_ = true; }
    bool IsDamaged() const { return damaged_; }
    // From here on what is held counts as the whole index, changed and to be saved in full, and no
    // UID in use is above the last one.
    void CountAsWhole();

    // The extents are not to be trusted: the next save writes the whole file. Ends the ID filter.
    void InvalidateExtents();
    bool ExtentsTrusted() const { return !fullRewrite_; }

    const IndexFileStamp& FileStamp() const { return stamp_; }
    void SetFileStamp(const IndexFileStamp& stamp) { stamp_ = stamp; }

    // For saving: what changed since the load or the last save.
    bool IsModified() const { return modified_; }
    const std::vector<RemovedEntry>& Removed() const { return removed_; }
    // The first entry, in UID order, that was added or changed; null when there is none.
    Entry* FirstChanged() const { return firstChanged_; }
    void SetExtent(Entry& entry, std::uint32_t offset, std::uint32_t length);
    // The file holds what the index holds.
    void MarkSaved();

  private:
    static bool PrecedesInUidOrder(const Entry& left, const Entry& right);
    Entry* NewEntry();
    void Register(Entry& entry, std::uint32_t hash);
    std::vector<Entry*>::const_iterator PlaceInUidOrder(const Entry& entry) const;
    static void StoreDraft(const IndexEntryDraft& draft, Entry& entry, char* block);
    void NoteChanged(Entry& entry);
    void ForgetChanged(Entry& entry);
    bool PropertiesKnown(const Entry& entry) const;
    void Redraft(const Entry& entry, std::string_view without);
    void StoreRedrafted(Entry& entry);
    void SweepRemoved();

    IndexArena arena_;
    PropertyNames names_;
    IdTable ids_;                   // numbers are places in byNumber_
    std::vector<Entry*> byNumber_;  // in order of IDX; holds removed entries until compacted
    std::vector<Entry*> byUid_;     // in order of UID, then IDX; holds removed entries as well
    std::vector<Entry*> spare_;     // records for reuse
    std::unordered_map<const Entry*, std::unique_ptr<char[]>> ownBlocks_;  // of changed entries
    IndexEntryDraft draft_;
    std::size_t live_ = 0;
    bool uidOrderKnown_ = true;

    std::uint32_t lastUid_ = 0;
    std::uint32_t loadStatus_ = kLoadFailed;
    bool fullRewrite_ = false;
    bool limited_ = false;
    bool damaged_ = false;
    std::string idFilter_;
    IndexFileStamp stamp_;

    bool modified_ = false;
    std::vector<RemovedEntry> removed_;
    Entry* firstChanged_ = nullptr;
    std::size_t changedCount_ = 0;
};

}  // namespace tarnwick

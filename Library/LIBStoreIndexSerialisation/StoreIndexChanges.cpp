// What the message store does to a loaded index before it saves it.
#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick {
namespace {

// Removed entries are swept out of the orders when there are this many more of them than live ones.
constexpr std::size_t kSweepAbove = 1024;

using Entry = IndexItemPropertyContainer;

}  // namespace

Entry* StoreIndex::Add(std::string_view id) {
    const bool uidLeft = lastUid_ != std::numeric_limits<std::uint32_t>::max();
    if (!uidLeft || !IsStorableId(id) || FindById(id) != nullptr) return nullptr;
    const bool last = byUid_.empty() || byUid_.back()->Uid() <= lastUid_;
    // In the middle there is no room for it, so the whole file must be written.
    if (!last && !IsWhole()) return nullptr;
    draft_.Begin(names_);
    draft_.SetId(id);
    draft_.SetUid(lastUid_ + 1);
    const std::uint32_t idx = byNumber_.empty() ? 1 : byNumber_.back()->Idx() + 1;
    Entry* const entry = Load(draft_, idx, static_cast<std::uint32_t>(live_ + 1));
    ++lastUid_;
    if (!last) InvalidateExtents();
    FinishLoad();
    NoteChanged(*entry);
    return entry;
}

bool StoreIndex::PropertiesKnown(const Entry& entry) const {
    return loadStatus_ != kLoadIdentifiers || entry.ItemOffset() == 0;
}

bool StoreIndex::SetProperty(Entry& entry, std::string_view name, std::string_view value) {
    if (!IsStorablePropertyName(name) || !IsStorablePropertyValue(value)) return false;
    if (!PropertiesKnown(entry)) return false;
    if (entry.Property(name) == value) return true;
    Redraft(entry, name);
    draft_.SetProperty(name, value);
    StoreRedrafted(entry);
    return true;
}

bool StoreIndex::RemoveProperty(Entry& entry, std::string_view name) {
    if (!PropertiesKnown(entry)) return false;
    if (!entry.Property(name)) return true;
    Redraft(entry, name);
    StoreRedrafted(entry);
    return true;
}

void StoreIndex::Redraft(const Entry& entry, std::string_view without) {
    draft_.Begin(names_);
    draft_.SetId(entry.Id());
    for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
        const std::string_view name = entry.Names().Name(at);
        if (name != without) draft_.SetProperty(name, entry.Value(at));
    }
}

void StoreIndex::StoreRedrafted(Entry& entry) {
    const PropertyNameSet* const names = draft_.Finish();
    std::unique_ptr<char[]> block(new char[draft_.BlockSize() + kSlack]);
    std::unique_ptr<char[]>& ownBlock = ownBlocks_[&entry];
    // Nothing from here on needs memory, so that the entry has its old content or its new one.
    entry.names_ = names;
    StoreDraft(draft_, entry, block.get());
    ownBlock = std::move(block);
    NoteChanged(entry);
}

void StoreIndex::Remove(Entry& entry) {
    if (entry.removed_) return;
    if (byNumber_.size() - live_ > live_ + kSweepAbove) SweepRemoved();
    if (entry.itemOffset_ != 0) {
        removed_.push_back({entry.itemOffset_, BlankedStart(entry)});
    }
    const std::uint32_t hash = ids_.Hash(entry.Id());
    const auto number =
        ids_.Find(hash, [&](std::uint32_t candidate) { return byNumber_[candidate] == &entry; });
    if (number) ids_.Remove(hash, *number);
    entry.removed_ = true;
    --live_;
    modified_ = true;
    ForgetChanged(entry);
    ownBlocks_.erase(&entry);
}

void StoreIndex::NoteChanged(Entry& entry) {
    modified_ = true;
    if (entry.changed_) return;
    entry.changed_ = true;
    ++changedCount_;
    if (firstChanged_ == nullptr || PrecedesInUidOrder(entry, *firstChanged_)) {
        firstChanged_ = &entry;
    }
}

// A removed entry is not rewritten; another one is then the first.
void StoreIndex::ForgetChanged(Entry& entry) {
    if (!entry.changed_) return;
    --changedCount_;
    if (firstChanged_ != &entry) return;
    firstChanged_ = nullptr;
    if (changedCount_ == 0) return;
    const LiveEntries later = InUidOrderFrom(entry);
    const auto next = std::find_if(later.begin(), later.end(),
                                   [](const Entry& candidate) { return candidate.changed_; });
    firstChanged_ = &*next;
}

void StoreIndex::SweepRemoved() {
    const auto isRemoved = [](const Entry* entry) { return entry->IsRemoved(); };
    // The only step that needs memory comes first.
    spare_.reserve(spare_.size() + byNumber_.size() - live_);
    std::copy_if(byNumber_.begin(), byNumber_.end(), std::back_inserter(spare_), isRemoved);
    std::erase_if(byUid_, isRemoved);
    std::erase_if(byNumber_, isRemoved);
    ids_.Empty();
    std::uint32_t number = 0;
    for (const Entry* const entry : byNumber_) ids_.Add(ids_.Hash(entry->Id()), number++);
}

}  // namespace tarnwick

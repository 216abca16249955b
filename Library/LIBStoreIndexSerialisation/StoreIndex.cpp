#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr char kFilterSeparator = '|';
using Entry = IndexItemPropertyContainer;

}  // namespace

bool StoreIndex::PrecedesInUidOrder(const Entry& left, const Entry& right) {
    return left.Uid() != right.Uid() ? left.Uid() < right.Uid() : left.Idx() < right.Idx();
}

bool LessIgnoreCase::operator()(std::string_view left, std::string_view right) const {
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(),
        [](char one, char other) { return LowerAscii(one) < LowerAscii(other); });
}

Entry* StoreIndex::FindById(std::string_view id) const {
    const auto number = ids_.Find(
        ids_.Hash(id), [&](std::uint32_t candidate) { return byNumber_[candidate]->Id() == id; });
    return number ? byNumber_[*number] : nullptr;
}

Entry* StoreIndex::FindByPosition(std::uint32_t idx) const {
    const auto at = std::lower_bound(
        byNumber_.begin(), byNumber_.end(), idx,
        [](const Entry* entry, std::uint32_t wanted) { return entry->Idx() < wanted; });
    const bool found = at != byNumber_.end() && (*at)->Idx() == idx && !(*at)->IsRemoved();
    return found ? *at : nullptr;
}

std::vector<Entry*>::const_iterator StoreIndex::PlaceInUidOrder(const Entry& entry) const {
    return std::lower_bound(
        byUid_.begin(), byUid_.end(), entry,
        [](const Entry* left, const Entry& right) { return PrecedesInUidOrder(*left, right); });
}

LiveEntries StoreIndex::InUidOrderFrom(const Entry& first) const {
    return {byUid_, static_cast<std::size_t>(PlaceInUidOrder(first) - byUid_.begin())};
}

void StoreIndex::Clear() {
    ids_.Clear();
    byNumber_.clear();
    byUid_.clear();
    spare_.clear();
    ownBlocks_.clear();
    names_.Clear();
    arena_.Clear();
    live_ = 0;
    uidOrderKnown_ = true;
    fullRewrite_ = limited_ = damaged_ = false;
    stamp_ = {};
    loadStatus_ = kLoadFailed;
    modified_ = false;
    removed_.clear();
    firstChanged_ = nullptr;
    changedCount_ = 0;
}

Entry* StoreIndex::NewEntry() {
    if (spare_.empty()) return new (arena_.Allocate(sizeof(Entry))) Entry();
    Entry* const entry = spare_.back();
    spare_.pop_back();
    *entry = Entry();
    return entry;
}

// An entry is in all of the orders or, when memory is short, in none.
void StoreIndex::Register(Entry& entry, std::uint32_t hash) {
    ids_.MakeRoom();
    if (byUid_.size() == byUid_.capacity()) byUid_.reserve(2 * byUid_.size() + 1);
    byNumber_.push_back(&entry);
    if (!byUid_.empty() && PrecedesInUidOrder(entry, *byUid_.back())) uidOrderKnown_ = false;
    byUid_.push_back(&entry);
    ids_.Add(hash, static_cast<std::uint32_t>(byNumber_.size() - 1));
    ++live_;
}

// Fills `block`, of BlockSize bytes, from the draft and points the entry at it.
void StoreIndex::StoreDraft(const IndexEntryDraft& draft, Entry& entry, char* block) {
    CopyInLanes(block, draft.Ends());
    CopyInBlocks(block + draft.EndsSize(), draft.texts_.View());
    entry.block_ = block;
    entry.idLength_ = static_cast<std::uint32_t>(draft.idLength_);
}

Entry* StoreIndex::Load(IndexEntryDraft& draft, std::uint32_t idx, std::uint32_t seq) {
    const std::uint32_t hash = ids_.Hash(draft.Id());
    const auto isSame = [&](std::uint32_t number) { return byNumber_[number]->Id() == draft.Id(); };
    if (ids_.Find(hash, isSame)) return nullptr;
    Entry& entry = *NewEntry();
    entry.names_ = draft.Finish();
    StoreDraft(draft, entry, arena_.Allocate(draft.BlockSize()));
    entry.uid_ = draft.uid_;
    entry.hasUid_ = draft.hasUid_;
    entry.idx_ = idx;
    entry.seq_ = seq;
    entry.itemOffset_ = draft.itemOffset_;
    entry.itemLength_ = draft.itemLength_;
    Register(entry, hash);
    return &entry;
}

void StoreIndex::FinishLoad() {
    if (!uidOrderKnown_) {
        std::sort(byUid_.begin(), byUid_.end(), [](const Entry* left, const Entry* right) {
            return PrecedesInUidOrder(*left, *right);
        });
    }
    uidOrderKnown_ = true;
}

void StoreIndex::NumberSequence() {
    std::uint32_t seq = 1;
    for (Entry& entry : InUidOrder()) entry.seq_ = seq++;
}

IdSet StoreIndex::FilteredIds() const {
    IdSet ids;
    std::size_t start = 0;
    while (start < idFilter_.size()) {
        const std::size_t end =
            std::min(FindByte(idFilter_, kFilterSeparator, start), idFilter_.size());
        if (end != start) ids.insert(idFilter_.substr(start, end - start));
        start = end + 1;
    }
    return ids;
}

void StoreIndex::CountAsWhole() {
    InvalidateExtents();
    for (const Entry& entry : InUidOrder()) lastUid_ = std::max(lastUid_, entry.Uid());
    loadStatus_ = kLoadFull;
    modified_ = true;
}

void StoreIndex::InvalidateExtents() {
    // A full rewrite needs all entries, so that the next load must not be limited.
    idFilter_.clear();
    fullRewrite_ = true;
}

void StoreIndex::SetExtent(Entry& entry, std::uint32_t offset, std::uint32_t length) {
    entry.itemOffset_ = offset;
    entry.itemLength_ = length;
}

void StoreIndex::MarkSaved() {
    if (firstChanged_ != nullptr) {
        for (Entry& entry : InUidOrderFrom(*firstChanged_)) entry.changed_ = false;
    }
    firstChanged_ = nullptr;
    changedCount_ = 0;
    removed_.clear();
    modified_ = false;
    fullRewrite_ = false;
}

}  // namespace tarnwick

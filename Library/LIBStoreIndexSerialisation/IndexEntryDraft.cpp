#include "Library/LIBStoreIndexSerialisation/IndexEntryDraft.h"

#include <algorithm>
#include <map>

#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

void IndexEntryDraft::Begin(PropertyNames& names) {
    uid_ = 0;
    hasUid_ = false;
    itemOffset_ = 0;
    itemLength_ = 0;
    known_ = &names;
    count_ = 0;
    texts_.Clear();
    idLength_ = 0;
}

void IndexEntryDraft::MakeRoom() {
    constexpr std::size_t kLeast = 16;
    const std::size_t room = std::max(kLeast, 2 * count_);
    // The names' size tells the room, so that it grows last: memory may be short between.
    ends_.resize(room);
    names_.resize(room);
}

// It stands first, whatever was set before it.
void IndexEntryDraft::SetId(std::string_view id) {
    const std::string values(texts_.View().substr(idLength_));
    for (std::size_t at = 0; at < count_; ++at) {
        ends_[at] += static_cast<std::uint32_t>(id.size() - idLength_);
    }
    texts_.Clear();
    texts_.Append(id);
    texts_.Append(values);
    idLength_ = id.size();
}

std::size_t IndexEntryDraft::StartTagLength() const {
    return hasUid_ ? EntryTagLength(idLength_, uid_) : EntryTagLength(idLength_);
}

void IndexEntryDraft::SetProperty(std::string_view name, std::string_view value) {
    texts_.Append(value);
    EndValue(known_->Learn(name));
}

void IndexEntryDraft::SetEscapedProperty(std::string_view name, std::string_view escaped) {
    AppendUnescaped(texts_, escaped);
    EndValue(known_->Learn(name));
}

std::size_t IndexEntryDraft::TakeWrittenProperties(std::string_view text) {
    const char* const start = text.data();
    for (;;) {
        // Where the next bytes are does not wait for the name: it only has to turn out right.
        const std::size_t tagLength = ShortTagLength(text);
        if (tagLength < 3 || tagLength > text.size()) break;
        const PropertyName* const name = known_->Recognise({text.data(), tagLength});
        if (name == nullptr) break;
        std::string_view rest = text;
        rest.remove_prefix(tagLength);
        const UnescapedText taken = UnescapeUpToTag(texts_, rest);
        if (taken.IsNone()) break;
        rest.remove_prefix(taken.length);
        if (rest.size() <= tagLength || !HoldsTag(rest.data(), name->EndTag())) break;
        texts_.Extend(taken.size);
        EndValue(*name);
        text = rest;
        text.remove_prefix(tagLength + 1);
    }
    return static_cast<std::size_t>(text.data() - start);
}

std::string_view IndexEntryDraft::Value(std::size_t index) const {
    const std::size_t start = index == 0 ? idLength_ : ends_[index - 1];
    return texts_.View().substr(start, ends_[index] - start);
}

void IndexEntryDraft::SortNames() {
    std::map<std::string_view, std::string> sorted;
    for (std::size_t at = 0; at < count_; ++at) {
        sorted.insert_or_assign(names_[at]->Text(), std::string(Value(at)));
    }
    const std::string id(Id());
    count_ = 0;
    texts_.Clear();
    texts_.Append(id);
    for (const auto& [name, value] : sorted) SetProperty(name, value);
}

const PropertyNameSet* IndexEntryDraft::Finish() {
    const PropertyNameSet* set = known_->SetOf(Names());
    if (set != nullptr) return set;
    SortNames();
    return known_->SetOf(Names());
}

}  // namespace tarnwick

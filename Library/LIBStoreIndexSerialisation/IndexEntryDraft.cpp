#include "Library/LIBStoreIndexSerialisation/IndexEntryDraft.h"

#include <map>

#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

void IndexEntryDraft::Begin(PropertyNames& names) {
    id_.clear();
    uid_ = 0;
    hasUid_ = false;
    itemOffset_ = 0;
    itemLength_ = 0;
    known_ = &names;
    names_.clear();
    ends_.clear();
    values_.Clear();
}

std::size_t IndexEntryDraft::StartTagLength() const {
    return EntryTagLength(id_.size(), hasUid_ ? std::optional(uid_) : std::nullopt);
}

void IndexEntryDraft::SetProperty(std::string_view name, std::string_view value) {
    values_.Append(value);
    EndValue(known_->Learn(name));
}

void IndexEntryDraft::SetEscapedProperty(std::string_view name, std::string_view escaped) {
    AppendUnescaped(values_, escaped);
    EndValue(known_->Learn(name));
}

bool IndexEntryDraft::TakeWrittenProperty(std::string_view& text) {
    // Where the next bytes are does not wait for the name: it only has to turn out right.
    const std::size_t tagLength = ShortTagLength(text);
    if (tagLength < 3 || tagLength > text.size()) return false;
    const PropertyName* const name = known_->Recognise(text.substr(0, tagLength));
    if (name == nullptr) return false;
    const std::string_view value = text.substr(tagLength);
    const UnescapedText taken = UnescapeUpToTag(values_, value);
    if (taken.IsNone()) return false;
    const std::string_view rest = value.substr(taken.length);
    if (tagLength >= rest.size() || !SameTag(rest.substr(0, tagLength + 1), name->EndTag())) {
        return false;
    }
    values_.Extend(taken.size);
    EndValue(*name);
    text = rest.substr(tagLength + 1);
    return true;
}

std::string_view IndexEntryDraft::Value(std::size_t index) const {
    const std::size_t start = index == 0 ? 0 : ends_[index - 1];
    return values_.View().substr(start, ends_[index] - start);
}

void IndexEntryDraft::SortNames() {
    std::map<std::string_view, std::string> sorted;
    for (std::size_t at = 0; at < names_.size(); ++at) {
        sorted.insert_or_assign(names_[at]->Text(), std::string(Value(at)));
    }
    names_.clear();
    ends_.clear();
    values_.Clear();
    for (const auto& [name, value] : sorted) SetProperty(name, value);
}

const PropertyNameSet* IndexEntryDraft::Finish() {
    const PropertyNameSet* set = known_->SetOf(names_);
    if (set != nullptr) return set;
    SortNames();
    return known_->SetOf(names_);
}

}  // namespace tarnwick

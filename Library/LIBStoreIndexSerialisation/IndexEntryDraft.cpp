#include "Library/LIBStoreIndexSerialisation/IndexEntryDraft.h"

#include <map>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

void IndexEntryDraft::Begin(const PropertyNameList* expected) {
    id_.clear();
    uid_ = 0;
    hasUid_ = false;
    itemOffset_ = 0;
    itemLength_ = 0;
    expected_ = expected;
    if (names_.Count() != 0) names_.Clear();
    ascending_ = true;
    values_.Clear();
    ends_.clear();
}

std::size_t IndexEntryDraft::StartTagLength() const {
    return EntryTagLength(id_.size(), hasUid_ ? std::optional(uid_) : std::nullopt);
}

void IndexEntryDraft::SetProperty(std::string_view name, std::string_view value) {
    BeginValue(name);
    SetExpected(value);
}

void IndexEntryDraft::SetEscapedProperty(std::string_view name, std::string_view escaped) {
    BeginValue(name);
    SetEscapedExpected(escaped);
}

void IndexEntryDraft::BeginValue(std::string_view name) {
    const std::size_t count = ends_.size();
    if (expected_ != nullptr) {
        if (count < expected_->Count() && expected_->Name(count) == name) return;
        names_.AssignFirst(*expected_, count);
        expected_ = nullptr;
    }
    if (count != 0 && names_.Name(count - 1) >= name) ascending_ = false;
    names_.Append(name);
}

std::string_view IndexEntryDraft::Value(std::size_t index) const {
    const std::size_t start = index == 0 ? 0 : ends_[index - 1];
    return values_.View().substr(start, ends_[index] - start);
}

void IndexEntryDraft::SortNames() {
    std::map<std::string, std::string> sorted;
    for (std::size_t at = 0; at < names_.Count(); ++at) {
        sorted.insert_or_assign(std::string(names_.Name(at)), std::string(Value(at)));
    }
    names_.Clear();
    values_.Clear();
    ends_.clear();
    for (const auto& [name, value] : sorted) {
        names_.Append(name);
        SetExpected(value);
    }
    ascending_ = true;
}

const PropertyNameList* IndexEntryDraft::Finish(PropertyNameLists& lists) {
    if (expected_ != nullptr) {
        if (expected_->Count() == ends_.size()) return expected_;
        names_.AssignFirst(*expected_, ends_.size());
        expected_ = nullptr;
    }
    if (!ascending_) SortNames();
    return lists.Keep(names_);
}

}  // namespace tarnwick

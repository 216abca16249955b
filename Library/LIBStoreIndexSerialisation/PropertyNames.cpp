#include "Library/LIBStoreIndexSerialisation/PropertyNames.h"

#include <algorithm>
#include <new>

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

PropertyName::PropertyName(std::string_view name) : length_(name.size()) {
    tags_.append("<").append(name).append("></").append(name).append(">").append(kSlack, '\0');
}

const PropertyName& PropertyNames::Learn(std::string_view name) {
    const auto known = names_.find(name);
    if (known != names_.end()) return *known;
    const PropertyName& learned = *names_.emplace(name).first;
    // What looks like another kind of tag is not told by its bytes alone.
    if (IsStorablePropertyName(name)) MakeQuick(learned);
    return learned;
}

void PropertyNames::MakeQuick(const PropertyName& name) {
    const std::size_t first = QuickPlace(name.StartTag());
    for (std::size_t at = first; at < first + kProbes; ++at) {
        if (quick_[at % kQuick] != nullptr) continue;
        quick_[at % kQuick] = &name;
        return;
    }
}

const PropertyNameSet* PropertyNames::SetOf(std::span<const PropertyName* const> names) {
    // Often the set of the entry before.
    if (last_ != nullptr && std::ranges::equal(last_->Names(), names)) return last_;
    const std::uint32_t hash =
        table_.Hash({reinterpret_cast<const char*>(names.data()), names.size_bytes()});
    const auto found = table_.Find(hash, [&](std::uint32_t number) {
        return std::ranges::equal(sets_[number]->Names(), names);
    });
    if (found) return last_ = sets_[*found];
    const auto comesBefore = [](const PropertyName* left, const PropertyName* right) {
        return left->Text() < right->Text();
    };
    if (std::ranges::adjacent_find(names, std::not_fn(comesBefore)) != names.end()) return nullptr;
    table_.MakeRoom();
    sets_.push_back(&KeptSet(names));
    table_.Add(hash, static_cast<std::uint32_t>(sets_.size() - 1));
    return last_ = sets_.back();
}

const PropertyNameSet& PropertyNames::KeptSet(std::span<const PropertyName* const> names) {
    char* const bytes = arena_.Allocate(sizeof(PropertyNameSet) + names.size_bytes());
    auto* const kept = reinterpret_cast<const PropertyName**>(bytes + sizeof(PropertyNameSet));
    std::ranges::copy(names, kept);
    return *new (bytes) PropertyNameSet({kept, names.size()});
}

void PropertyNames::Clear() {
    names_.clear();
    quick_.fill(nullptr);
    arena_.Clear();
    table_.Clear();
    sets_.clear();
    last_ = nullptr;
}

}  // namespace tarnwick

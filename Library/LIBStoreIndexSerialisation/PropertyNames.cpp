#include "Library/LIBStoreIndexSerialisation/PropertyNames.h"

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

PropertyName::PropertyName(std::string_view name) : length_(name.size()) {
    tags_.append("<").append(name).append("></").append(name).append(">").append(kSlack, '\0');
}

const PropertyName& PropertyNames::Learn(std::string_view name) {
    const auto known = names_.find(name);
    if (known != names_.end()) return known->second;
    const PropertyName& learned = names_.emplace(name, PropertyName(name)).first->second;
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
    if (last_ != nullptr && last_->Holds(names)) return last_;
    const std::uint32_t hash =
        table_.Hash({reinterpret_cast<const char*>(names.data()), names.size_bytes()});
    const auto found =
        table_.Find(hash, [&](std::uint32_t number) { return sets_[number].Holds(names); });
    if (found) return last_ = &sets_[*found];
    const auto isOutOfOrder = [](const PropertyName* left, const PropertyName* right) {
        return left->Text() >= right->Text();
    };
    if (std::ranges::adjacent_find(names, isOutOfOrder) != names.end()) return nullptr;
    table_.MakeRoom();
    auto* const kept = reinterpret_cast<const PropertyName**>(arena_.Allocate(names.size_bytes()));
    std::ranges::copy(names, kept);
    last_ = &sets_.emplace_back(std::span(kept, names.size()));
    table_.Add(hash, static_cast<std::uint32_t>(sets_.size() - 1));
    return last_;
}

void PropertyNames::Clear() {
    names_.clear();
    quick_.fill(nullptr);
    table_.Clear();
    sets_.clear();
    arena_.Clear();
    last_ = nullptr;
}

}  // namespace tarnwick

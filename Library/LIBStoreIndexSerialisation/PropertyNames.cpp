#include "Library/LIBStoreIndexSerialisation/PropertyNames.h"

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

PropertyName::PropertyName(std::string_view name, std::uint32_t hash)
    : length_(name.size()),
      hash_(hash),
      ignored_(IsShort() ? 0xFFFFU << (length_ + 1) & 0xFFFFU : 0) {
    for (std::size_t at = 0; at < sizeof start_; ++at) {
        start_ = start_ << 8 | (at < name.size() ? static_cast<unsigned char>(name[at]) : 0U);
    }
    tags_.append("<").append(name).append("></").append(name).append(">").append(kSlack, '\0');
}

const PropertyName& PropertyNames::Learn(std::string_view name) {
    const auto known = names_.find(name);
    if (known != names_.end()) return known->second;
    const PropertyName& learned =
        names_.emplace(name, PropertyName(name, table_.Hash(name))).first->second;
    // What looks like another kind of tag is not told by its bytes alone.
    if (learned.IsShort() && IsStorablePropertyName(name)) MakeQuick(learned);
    return learned;
}

void PropertyNames::MakeQuick(const PropertyName& name) {
    const std::size_t first = QuickPlace(name.StartTag().data(), name.StartTag().size());
    for (std::size_t at = first; at < first + kProbes; ++at) {
        if (quick_[at % kQuick] != nullptr) continue;
        quick_[at % kQuick] = &name;
        return;
    }
}

const PropertyNameSet* PropertyNames::SetOf(std::span<const PropertyName* const> names) {
    // Names in ascending order need no hash that tells another order.
    std::uint32_t hash = 0;
    for (const PropertyName* const name : names) hash += name->Hash();
    const auto found =
        table_.Find(hash, [&](std::uint32_t number) { return sets_[number].Holds(names); });
    if (found) return &sets_[*found];
    const auto isOutOfOrder = [](const PropertyName* left, const PropertyName* right) {
        return !left->Precedes(*right);
    };
    if (std::ranges::adjacent_find(names, isOutOfOrder) != names.end()) return nullptr;
    table_.MakeRoom();
    auto* const kept = reinterpret_cast<const PropertyName**>(arena_.Allocate(names.size_bytes()));
    std::ranges::copy(names, kept);
    const PropertyNameSet& set = sets_.emplace_back(std::span(kept, names.size()));
    table_.Add(hash, static_cast<std::uint32_t>(sets_.size() - 1));
    return &set;
}

void PropertyNames::Clear() {
    names_.clear();
    quick_.fill(nullptr);
    table_.Clear();
    sets_.clear();
    arena_.Clear();
}

}  // namespace tarnwick

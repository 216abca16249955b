#include "Library/LIBStoreIndexSerialisation/PropertyNameList.h"

namespace tarnwick {

void PropertyNameList::Append(std::string_view name) {
    places_.push_back(
        {static_cast<std::uint32_t>(text_.size()), static_cast<std::uint32_t>(name.size())});
    text_.append("<").append(name).append("></").append(name).append(">");
}

void PropertyNameList::AssignFirst(const PropertyNameList& other, std::size_t count) {
    const std::size_t length =
        count < other.Count() ? other.places_[count].start : other.text_.size();
    text_.assign(other.text_, 0, length);
    places_.assign(other.places_.begin(),
                   other.places_.begin() + static_cast<std::ptrdiff_t>(count));
}

void PropertyNameList::Clear() {
    text_.clear();
    places_.clear();
}

const PropertyNameList* PropertyNameLists::Keep(const PropertyNameList& names) {
    const auto kept = lists_.find(std::string(names.Text()));
    if (kept != lists_.end()) return &kept->second;
    return &lists_.emplace(names.Text(), names).first->second;
}

}  // namespace tarnwick

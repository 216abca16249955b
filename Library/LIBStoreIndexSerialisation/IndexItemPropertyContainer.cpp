#include "Library/LIBStoreIndexSerialisation/IndexItemPropertyContainer.h"

namespace tarnwick {

std::optional<std::string_view> IndexItemPropertyContainer::Property(std::string_view name) const {
    std::size_t low = 0;
    std::size_t high = names_->Count();
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        const int order = names_->Name(middle).compare(name);
        if (order == 0) return Value(middle);
        if (order < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return std::nullopt;
}

}  // namespace tarnwick

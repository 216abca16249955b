#include "Library/LIBStoreIndexSerialisation/IndexItemPropertyContainer.h"

#include <cstring>

namespace tarnwick {

std::uint32_t IndexItemPropertyContainer::End(std::size_t index) const {
    std::uint32_t end = 0;
    std::memcpy(&end, block_ + index * sizeof end, sizeof end);
    return end;
}

std::string_view IndexItemPropertyContainer::Text(std::size_t start, std::size_t end) const {
    return {block_ + names_->Count() * sizeof(std::uint32_t) + start, end - start};
}

std::string_view IndexItemPropertyContainer::Value(std::size_t index) const {
    return Text(index == 0 ? idLength_ : End(index - 1), End(index));
}

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

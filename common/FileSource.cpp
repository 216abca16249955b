#include "common/FileSource.h"

#include <algorithm>
#include <limits>

namespace tarnwick {

std::optional<std::size_t> FileSource::Read(std::span<char> bytes) {
    const std::size_t limit = std::numeric_limits<std::uint32_t>::max();
    const auto count =
        file_.Read(bytes.data(), static_cast<std::uint32_t>(std::min(bytes.size(), limit)));
    if (!count) return std::nullopt;
    return *count;
}

}  // namespace tarnwick

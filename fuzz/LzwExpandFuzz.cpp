// Any bytes are expanded into areas of several sizes: nothing is written outside, and what expands
// without a fault comes back from its own compression.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "remote/Lzw.h"

namespace {

using Bytes = std::vector<std::byte>;

void Require(bool condition) {
    if (!condition) std::abort();
}

void CheckArea(std::span<const std::byte> stream, const Bytes& whole, std::size_t size) {
    Bytes area(size);
    const tarnwick::LzwExpansion expansion = tarnwick::LzwExpand(stream, area);
    Require(expansion.length <= std::min(size, whole.size()));
    Require(std::equal(area.begin(), area.begin() + static_cast<std::ptrdiff_t>(expansion.length),
                       whole.begin()));
    Require(expansion.fault != tarnwick::LzwFault::None || expansion.length == whole.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::byte> stream = std::as_bytes(std::span(data, size));
    Bytes whole(size / 2 * tarnwick::kLzwLongestString);
    const tarnwick::LzwExpansion expansion = tarnwick::LzwExpand(stream, whole);
    Require(expansion.fault != tarnwick::LzwFault::NoRoom);
    whole.resize(expansion.length);
    for (const std::size_t room : {std::size_t{4}, whole.size() / 2, whole.size()}) {
        CheckArea(stream, whole, room);
    }

    Bytes codes(tarnwick::LzwWorstSize(whole.size()));
    codes.resize(tarnwick::LzwCompress(whole, codes));
    Bytes back(whole.size());
    const tarnwick::LzwExpansion again = tarnwick::LzwExpand(codes, back);
    Require(again.fault == tarnwick::LzwFault::None && again.length == back.size());
    Require(back == whole);
    return 0;
}

// Any bytes are decoded, expanded and compressed as the plain coders do it.
#include "fuzz/Fuzz.h"
#include "remote/shared/Base64.h"
#include "tests/remote/PlainCodec.h"

namespace tarnwick::fuzz {

using namespace testing;

void Check(std::string_view input) {
    const std::string text(input);
    for (const std::size_t room : {text.size() / 2, text.size(), text.size() / 2 * 62}) {
        std::string area(room, '#');
        const std::ptrdiff_t length = Base64Decode(text, AreaOf(area));
        Require(PlainDecode(text, room) == Coded{length, area});
        const LzwExpansion expansion = LzwExpand(BytesOf(text), AreaOf(area));
        area.resize(expansion.length);
        Require(PlainExpand(text, room) == std::pair(area, expansion.fault));
    }
    Require(Base64Decode(text, nullptr) == PlainDecode(text, text.size() + 1).first);
    std::string codes(LzwWorstSize(text.size()), '\0');
    codes.resize(LzwCompress(BytesOf(text), AreaOf(codes)));
    Require(codes == PlainCompress(text));
    const auto decoded = Base64DecodeAlloc(Base64EncodeAlloc(BytesOf(codes)));
    Require(decoded && std::ranges::equal(*decoded, BytesOf(codes)));
}

}  // namespace tarnwick::fuzz

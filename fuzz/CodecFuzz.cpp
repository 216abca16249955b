// Any bytes are decoded, expanded and compressed as the plain coders do it.
#include "fuzz/Fuzz.h"
#include "remote/shared/Base64.h"
#include "tests/remote/CodecBytes.h"
#include "tests/remote/PlainCodec.h"

namespace tarnwick::fuzz {

using namespace testing;

void Check(std::string_view input) {
    const std::string text(input);
    for (const std::size_t room : {text.size() / 2, text.size(), text.size() / 2 * 62}) {
        Bytes area(room, std::byte{'#'});
        const std::ptrdiff_t length = Base64Decode(text, area);
        Require(PlainDecode(text, room) == Coded{length, TextOf(area)});
        const LzwExpansion expansion = LzwExpand(BytesOf(text), area);
        area.resize(expansion.length);
        Require(PlainExpand(text, room) == std::pair(TextOf(area), expansion.fault));
    }
    Require(Base64Decode(text, nullptr) == PlainDecode(text, text.size() + 1).first);
    Bytes codes(LzwWorstSize(text.size()));
    codes.resize(LzwCompress(BytesOf(text), codes));
    Require(TextOf(codes) == PlainCompress(text));
    Require(Base64DecodeAlloc(Base64EncodeAlloc(codes)) == codes);
}

}  // namespace tarnwick::fuzz

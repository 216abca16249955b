// Any text is decoded into areas of several sizes: with and without an area the result is the same,
// and a text of the alphabet alone is what its bytes are encoded to.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "remote/shared/Base64.h"

namespace {

void Require(bool condition) {
    if (!condition) std::abort();
}

bool IsPlain(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '+' || character == '/' ||
           character == '=';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::ptrdiff_t counted = tarnwick::Base64Decode(text, nullptr);
    const auto decoded = tarnwick::Base64DecodeAlloc(text);
    Require(decoded.has_value() == (counted != tarnwick::kBase64Failed));
    std::vector<std::byte> area(size / 2);
    const std::ptrdiff_t inArea = tarnwick::Base64Decode(text, area);
    Require(inArea == counted || inArea == tarnwick::kBase64Failed);
    if (!decoded) return 0;

    Require(decoded->size() == static_cast<std::size_t>(counted));
    Require(inArea == tarnwick::kBase64Failed ||
            std::equal(decoded->begin(), decoded->end(), area.begin()));
    const std::string encoded = tarnwick::Base64EncodeAlloc(*decoded);
    if (std::all_of(text.begin(), text.end(), IsPlain)) Require(encoded == text);
    Require(tarnwick::Base64DecodeAlloc(encoded) == decoded);
    return 0;
}

// Attaching to any bytes: read in any portions, the same result, and everything but the type field
// and what follows the closing boundary survives.
#include "tests/Library/activity/StreamFixtures.h"

namespace {

using namespace tarnwick;

void Require(bool holds) {
    if (!holds) __builtin_trap();
}

std::string Attach(std::string_view message, std::string_view data, std::size_t chunk) {
    constexpr AttachmentRecord kPart{"<id>", "name", "text/plain", nullptr, "inline"};
    testing::TextSource source(message, chunk);
    testing::TextSink sink;
    Require(CopyWithAttachment(source, kPart, data, "0123456789ABCDEF0123456789ABCDEF", sink));
    return sink.text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 1) return 0;
    const std::string message(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string_view attached = std::string_view(message).substr(0, 100);
    const std::string after = Attach(message, attached, kStreamBlock);
    Require(after == Attach(message, attached, data[0] + std::size_t{1}));
    Require(
        testing::SurvivesAttaching(message, after, "Content-Type: text/plain;\n\tname=\"name\"\n"));
    return 0;
}

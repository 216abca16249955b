// Attaching to any bytes: read in any portions, the same result, and everything but the type field
// and what follows the closing boundary survives.
#include "common/Text.h"
#include "tests/Library/activity/messages/StreamFixtures.h"

namespace {

using namespace tarnwick;

void Require(bool holds) {
    if (!holds) __builtin_trap();
}

// The text without its Content-Type fields and what continues them.
std::string WithoutContentType(std::string_view text, bool& multipartMixed) {
    std::string kept;
    bool inField = false;
    LineReader lines(text, 1024);
    while (const auto line = lines.NextPiece()) {
        if (IsEmptyLine(*line)) return kept.append(*line).append(text.substr(lines.Position()));
        const bool continues = (*line)[0] == ' ' || (*line)[0] == '\t';
        if (!continues) inField = StartsWithIgnoreCase(*line, "Content-Type:");
        if (!inField) kept += *line;
        if (inField && !continues) {
            multipartMixed |= line->find("multipart/mixed") != line->npos;
        }
    }
    return kept;
}

// Whether a message that got a part, whose text begins with `partHeader`, still begins with all
// that it held, but for its type: up to a line with dashes when it was "multipart/mixed", to its
// end otherwise.
bool SurvivesAttaching(const std::string& before, const std::string& after,
                       const std::string& partHeader) {
    bool cutAllowed = false;
    bool ignored = false;
    const std::string old = WithoutContentType(testing::Decoded(before), cutAllowed);
    const std::string now = WithoutContentType(testing::Decoded(after), ignored);
    if (now.starts_with(old)) return true;
    const std::size_t part = now.rfind(partHeader);
    if (!cutAllowed || part == now.npos || part < 2) return false;
    const std::size_t cut = now.rfind('\n', part - 2) + 1;
    const std::string cutLine = old.substr(std::min(cut, old.size()));
    return old.starts_with(now.substr(0, cut)) &&
           cutLine.substr(0, cutLine.find('\n')).find("--") != old.npos;
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
    Require(SurvivesAttaching(message, after, "Content-Type: text/plain;\n\tname=\"name\"\n"));
    return 0;
}

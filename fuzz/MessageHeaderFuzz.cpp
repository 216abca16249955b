// Header edits of any bytes: read in any portions, everything but the edited fields survives.
#include <vector>

#include "common/Text.h"
#include "tests/Library/activity/messages/StreamFixtures.h"

namespace {

using namespace tarnwick;

void Require(bool holds) {
    if (!holds) __builtin_trap();
}

// The message without the header lines of those fields that `edited`, the rules after their use,
// may have changed: a field that is kept only counts when it had to be added.
std::string WithoutFields(std::string_view message, std::size_t lineBufferSize,
                          const std::vector<FieldRule>& edited) {
    std::string kept;
    LineReader lines(message, lineBufferSize);
    while (const auto line = lines.NextPiece()) {
        if (IsEmptyLine(*line)) {
            return kept.append(*line).append(message.substr(lines.Position()));
        }
        const bool changed =
            std::any_of(edited.begin(), edited.end(), [&line](const FieldRule& field) {
                const bool untouched = field.fate == FieldFate::Keep && field.seen;
                return !untouched && StartsWithIgnoreCase(*line, field.key);
            });
        if (!changed) kept += *line;
    }
    return kept;
}

std::vector<FieldRule> RulesOf(unsigned choice) {
    switch (choice % 4) {
        case 0:
            return {{"X-TWTempFlags: ", FieldFate::Replace, "X-TWTempFlags: a\r\n"},
                    {"X-UID: ", FieldFate::Drop}};
        case 1:
            return {{"X-UID: ", FieldFate::Replace, "X-UID: 1.5\r\n"},
                    {"X-TWTempFlags: ", FieldFate::Keep, "X-TWTempFlags: a\r\n"}};
        case 2:
            return {{"X-UID: ", FieldFate::Drop, "X-UID: 5\r\n"},
                    {"X-TWTempFlags: ", FieldFate::Drop}};
        default:
            return {{"Subject:", FieldFate::Replace, "Subject: new\r\n"}};
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 2) return 0;
    constexpr std::size_t kBufferSizes[] = {32, 64, 2048, 4096};
    const std::size_t bufferSize = kBufferSizes[(data[0] >> 2) % 4];
    const std::size_t chunk = data[1] + std::size_t{1};
    const std::string_view message(reinterpret_cast<const char*>(data) + 2, size - 2);

    std::vector<FieldRule> fields = RulesOf(data[0]);
    testing::TextSource source(message, chunk);
    testing::TextSink sink;
    const CopyRules rules{.lineBufferSize = bufferSize};
    Require(CopyMessage(source, rules, fields, sink) == CopyResult::Complete);
    Require(WithoutFields(sink.text, bufferSize, fields) ==
            WithoutFields(message, bufferSize, fields));

    // Editing again with the same rules finds its own lines.
    std::vector<FieldRule> again = RulesOf(data[0]);
    testing::TextSource edited(sink.text);
    testing::TextSink twice;
    Require(CopyMessage(edited, rules, again, twice) == CopyResult::Complete);
    if (data[0] % 4 != 2) Require(twice.text == sink.text);
    return 0;
}

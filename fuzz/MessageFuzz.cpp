// Header edits of any message, and attaching to it: read in any portions, everything but the edited
// fields survives. The input is a choice of the edit, the portions' size, and the message.
#include <algorithm>
#include <cstring>
#include <vector>

#include "common/Text.h"
#include "common/TextFile.h"
#include "fuzz/Fuzz.h"
#include "Library/activity/messages/AttachmentWriter.h"
#include "Library/activity/messages/MessageHeaderEdit.h"

namespace tarnwick::fuzz {
namespace {

// Hands out a text in reads of at most `chunk` bytes.
class TextSource : public ByteSource {
  public:
    TextSource(std::string_view text, std::size_t chunk) : rest_(text), chunk_(chunk) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        const std::size_t count = std::min({rest_.size(), chunk_, bytes.size()});
        std::memcpy(bytes.data(), rest_.data(), count);
        rest_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view rest_;
    std::size_t chunk_;
};

struct TextSink : ByteSink {
    bool Write(std::string_view bytes) override {
        text += bytes;
        return true;
    }
    std::string text;
};

std::string Decoded(std::string bytes) {
    DecodeTextMode(bytes);
    return bytes;
}

// The message without the header lines that `isDropped`.
template <typename IsDropped>
std::string Without(std::string_view message, std::size_t lineBufferSize, IsDropped isDropped) {
    std::string kept;
    LineReader lines(message, lineBufferSize);
    while (const auto line = lines.NextPiece()) {
        if (IsEmptyLine(*line)) return kept.append(*line).append(message.substr(lines.Position()));
        if (!isDropped(*line)) kept += *line;
    }
    return kept;
}

std::vector<FieldRule> RulesOf(unsigned choice) {
    const std::string flags = "X-TWTempFlags: ";
    const std::string newFlags = "X-TWTempFlags: a\r\n";
    const std::vector<FieldRule> rules[] = {
        {{flags, FieldFate::Replace, newFlags}, {"X-UID: ", FieldFate::Drop}},
        {{"X-UID: ", FieldFate::Replace, "X-UID: 1.5\r\n"}, {flags, FieldFate::Keep, newFlags}},
        {{"X-UID: ", FieldFate::Drop, "X-UID: 5\r\n"}, {flags, FieldFate::Drop}},
        {{"Subject:", FieldFate::Replace, "Subject: new\r\n"}}};
    return rules[choice % 4];
}

std::string Edited(std::string_view message, std::size_t chunk, std::size_t bufferSize,
                   std::vector<FieldRule>& fields) {
    TextSource source(message, chunk);
    TextSink sink;
    Require(CopyMessage(source, {.lineBufferSize = bufferSize}, fields, sink) ==
            CopyResult::Complete);
    return sink.text;
}

void CheckEdit(std::string_view message, unsigned choice, std::size_t chunk) {
    constexpr std::size_t kBufferSizes[] = {32, 64, 2048, 4096};
    const std::size_t bufferSize = kBufferSizes[(choice >> 2) % 4];
    std::vector<FieldRule> fields = RulesOf(choice);
    const std::string edited = Edited(message, chunk, bufferSize, fields);
    // A field that is kept only may have changed when it had to be added.
    const auto isChanged = [&](std::string_view line) {
        return std::any_of(fields.begin(), fields.end(), [&](const FieldRule& field) {
            const bool untouched = field.fate == FieldFate::Keep && field.seen;
            return !untouched && StartsWithIgnoreCase(line, field.key);
        });
    };
    Require(Without(edited, bufferSize, isChanged) == Without(message, bufferSize, isChanged));
    // Editing again with the same rules finds its own lines.
    std::vector<FieldRule> again = RulesOf(choice);
    const std::string twice = Edited(edited, kStreamBlock, bufferSize, again);
    Require(choice % 4 == 2 || twice == edited);
}

// The text without its Content-Type fields and what continues them.
std::string WithoutType(const std::string& bytes) {
    bool inField = false;
    return Without(Decoded(bytes), 1024, [&](std::string_view line) {
        const bool continues = line[0] == ' ' || line[0] == '\t';
        if (!continues) inField = StartsWithIgnoreCase(line, "Content-Type:");
        return inField;
    });
}

std::string Attached(std::string_view message, std::size_t chunk) {
    constexpr AttachmentRecord kPart{"<id>", "name", "text/plain", nullptr, "inline"};
    TextSource source(message, chunk);
    TextSink sink;
    Require(CopyWithAttachment(source, kPart, message.substr(0, 100),
                               "0123456789ABCDEF0123456789ABCDEF", sink));
    return sink.text;
}

// All that the message held still stands before the part, but for its type: up to a line with
// dashes when it was "multipart/mixed", to its end otherwise.
void CheckAttaching(const std::string& message, std::size_t chunk) {
    const std::string after = Attached(message, kStreamBlock);
    Require(after == Attached(message, chunk));
    const std::string old = WithoutType(message);
    const std::string now = WithoutType(after);
    if (now.starts_with(old)) return;
    const std::size_t part = now.rfind("Content-Type: text/plain;\n\tname=\"name\"\n");
    Require(Decoded(message).find("multipart/mixed") != now.npos);
    Require(part != now.npos && part >= 2);
    const std::size_t cut = now.rfind('\n', part - 2) + 1;
    const std::string cutLine = old.substr(std::min(cut, old.size()));
    Require(old.starts_with(now.substr(0, cut)));
    Require(cutLine.substr(0, cutLine.find('\n')).find("--") != old.npos);
}

}  // namespace

void Check(std::string_view input) {
    if (input.size() < 2) return;
    const std::size_t chunk = static_cast<unsigned char>(input[1]) + std::size_t{1};
    CheckEdit(input.substr(2), static_cast<unsigned char>(input[0]), chunk);
    CheckAttaching(std::string(input.substr(2)), chunk);
}

}  // namespace tarnwick::fuzz

// Messages in memory as streams, and what every edit of a message must keep.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "common/Text.h"
#include "common/TextFile.h"
#include "Library/activity/AttachmentWriter.h"
#include "Library/activity/MessageHeaderEdit.h"

namespace tarnwick::testing {

// Hands out a text in reads of at most `chunk` bytes; the read after `goodReads` of them fails.
class TextSource : public ByteSource {
  public:
    explicit TextSource(std::string_view text, std::size_t chunk = kStreamBlock,
                        std::size_t goodReads = ~std::size_t{0})
        : rest_(text), chunk_(chunk), goodReads_(goodReads) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        if (goodReads_ == 0) return std::nullopt;
        --goodReads_;
        const std::size_t count = std::min({rest_.size(), chunk_, bytes.size()});
        std::memcpy(bytes.data(), rest_.data(), count);
        rest_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view rest_;
    std::size_t chunk_;
    std::size_t goodReads_;
};

// Keeps what is written; the write after `goodWrites` fails.
class TextSink : public ByteSink {
  public:
    explicit TextSink(std::size_t goodWrites = ~std::size_t{0}) : goodWrites_(goodWrites) {}
    bool Write(std::string_view bytes) override {
        if (goodWrites_ == 0) return false;
        --goodWrites_;
        text += bytes;
        longest = std::max(longest, bytes.size());
        return true;
    }
    std::string text;
    std::size_t longest = 0;

  private:
    std::size_t goodWrites_;
};

inline std::string Decoded(std::string bytes) {
    DecodeTextMode(bytes);
    return bytes;
}

inline std::string OnDisk(std::string_view text) {
    std::string bytes;
    AppendTextMode(bytes, text);
    return bytes;
}

inline bool BeginsWithKeyOf(std::string_view line, const FieldRule& field) {
    return std::any_of(field.keys.begin(), field.keys.end(),
                       [line](const std::string& key) { return StartsWithIgnoreCase(line, key); });
}

// The message without the header lines of those fields that `edited`, the rules after their use,
// may have changed: a field that is kept only counts when it had to be added.
inline std::string WithoutFields(std::string_view message, std::size_t lineBufferSize,
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
                return !untouched && BeginsWithKeyOf(*line, field);
            });
        if (!changed) kept += *line;
    }
    return kept;
}

// The text without its Content-Type fields and what continues them.
inline std::string WithoutContentType(std::string_view text, bool& multipartMixed) {
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
inline bool SurvivesAttaching(const std::string& before, const std::string& after,
                              const std::string& partHeader) {
    bool cutAllowed = false;
    bool ignored = false;
    const std::string old = WithoutContentType(Decoded(before), cutAllowed);
    const std::string now = WithoutContentType(Decoded(after), ignored);
    if (now.starts_with(old)) return true;
    const std::size_t part = now.rfind(partHeader);
    if (!cutAllowed || part == now.npos || part < 2) return false;
    const std::size_t cut = now.rfind('\n', part - 2) + 1;
    const std::string cutLine = old.substr(std::min(cut, old.size()));
    return old.starts_with(now.substr(0, cut)) &&
           cutLine.substr(0, cutLine.find('\n')).find("--") != old.npos;
}

}  // namespace tarnwick::testing

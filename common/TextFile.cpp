#include "common/TextFile.h"

#include <algorithm>
#include <cstring>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr char kTextEnd = '\x1a';

}  // namespace

void DecodeTextMode(std::string& bytes) {
    const std::size_t end = FindByte(bytes, kTextEnd);
    if (end != kNotFound) bytes.resize(end);
    std::size_t from = 0;
    std::size_t to = 0;
    for (std::size_t at = FindByte(bytes, '\r'); at != kNotFound;
         at = FindByte(bytes, '\r', at + 1)) {
        if (at + 1 == bytes.size() || bytes[at + 1] != '\n') continue;
        std::memmove(bytes.data() + to, bytes.data() + from, at - from);
        to += at - from;
        from = at + 1;
    }
    std::memmove(bytes.data() + to, bytes.data() + from, bytes.size() - from);
    bytes.resize(to + bytes.size() - from);
}

void AppendTextMode(std::string& bytes, std::string_view text) {
    std::size_t from = 0;
    for (std::size_t at = FindByte(text, '\n'); at != kNotFound; at = FindByte(text, '\n', from)) {
        bytes.append(text, from, at - from).append("\r\n");
        from = at + 1;
    }
    bytes.append(text, from);
}

std::optional<std::string_view> LineReader::NextPiece() {
    if (position_ == text_.size()) return std::nullopt;
    const std::string_view rest = text_.substr(position_, pieceLimit_);
    const std::size_t lineEnd = FindByte(rest, '\n');
    const std::string_view piece = lineEnd == kNotFound ? rest : rest.substr(0, lineEnd + 1);
    position_ += piece.size();
    return piece;
}

TextModeLines::TextModeLines(std::string_view bytes, std::size_t bufferSize)
    : bytes_(bytes.substr(0, FindByte(bytes, kTextEnd))), pieceLimit_(bufferSize - 1) {}

std::optional<std::string_view> TextModeLines::Next() {
    if (position_ == bytes_.size()) return std::nullopt;
    // A piece may be as long as the limit and its line break be a pair.
    const std::string_view rest = bytes_.substr(position_, pieceLimit_ + 1);
    const std::size_t lineEnd = FindByte(rest, '\n');
    std::size_t length = lineEnd == kNotFound ? rest.size() : lineEnd;
    if (lineEnd != kNotFound && length > 0 && rest[length - 1] == '\r') --length;
    if (lineEnd != kNotFound && length < pieceLimit_) {
        position_ += lineEnd + 1;
    } else {
        length = std::min(length, pieceLimit_);
        position_ += length;
    }
    return UpToNul(rest.substr(0, length));
}

std::string_view LineText(std::string_view piece) {
    std::string_view text = UpToNul(piece);
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    return text;
}

}  // namespace tarnwick

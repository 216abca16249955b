#include "common/TextFile.h"

#include <algorithm>
#include <cstring>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr char kTextEnd = '\x1a';
constexpr std::string_view kLineBreak = "\r\n";

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
        bytes.append(text, from, at - from).append(kLineBreak);
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

std::optional<std::string_view> TextModeLines::Next() {
    // A piece may be as long as the limit and its line break be a pair.
    std::string_view rest = bytes_.substr(position_, pieceLimit_ + 1);
    std::size_t lineEnd = FindByte(rest, '\n');
    if (const std::size_t textEnd = FindByte(rest.substr(0, lineEnd), kTextEnd);
        textEnd != kNotFound) {
        bytes_ = bytes_.substr(0, position_ + textEnd);
        rest = rest.substr(0, textEnd);
        lineEnd = kNotFound;
    }
    if (rest.empty()) return std::nullopt;
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

void LineRun::Add(std::string& bytes, std::string_view line) {
    if (Continues(line)) {
        lines_ = {lines_.data(), lines_.size() + kLineBreak.size() + line.size()};
    } else {
        End(bytes);
        lines_ = line;
    }
}

void LineRun::End(std::string& bytes) {
    if (lines_.empty()) return;
    if (!bytes.empty()) bytes.append(kLineBreak);
    bytes.append(lines_);
    lines_ = {};
}

bool LineRun::Continues(std::string_view line) const {
    const char* const end = lines_.data() + lines_.size();
    return !lines_.empty() && line.data() == end + kLineBreak.size() && end[0] == '\r' &&
           end[1] == '\n';
}

std::string_view LineText(std::string_view piece) {
    std::string_view text = UpToNul(piece);
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    return text;
}

}  // namespace tarnwick

#include "common/TextFile.h"

#include <cstring>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr std::string_view kLineBreak = "\r\n";

// What reading in text mode makes of a piece's text and its line break.
std::string_view WithoutBreak(std::string_view piece) {
    if (!piece.ends_with('\n')) return piece;
    piece.remove_suffix(piece.ends_with(kLineBreak) ? kLineBreak.size() : 1);
    return piece;
}

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

std::size_t PieceLength(std::string_view bytes, std::size_t limit, FileMode mode) {
    // A pair counts once, so its LF may stand one byte farther.
    const std::size_t reach = limit + (mode == FileMode::Text ? 1 : 0);
    const std::size_t lineEnd = FindByte(bytes.substr(0, reach), '\n');
    if (lineEnd == kNotFound) return bytes.size() < reach ? kNotFound : limit;
    const bool fits = lineEnd < limit || bytes[lineEnd - 1] == '\r';
    return fits ? lineEnd + 1 : limit;
}

std::optional<std::string_view> LineReader::NextPiece() {
    const std::string_view rest = text_.substr(position_);
    if (rest.empty()) return std::nullopt;
    const std::string_view piece = rest.substr(0, PieceLength(rest, pieceLimit_, FileMode::Binary));
    position_ += piece.size();
    return piece;
}

std::optional<std::string_view> TextModeLines::Next() {
    const std::string_view rest = bytes_.substr(position_);
    std::string_view piece = rest.substr(0, PieceLength(rest, pieceLimit_, FileMode::Text));
    if (const std::size_t textEnd = FindByte(piece, kTextEnd); textEnd != kNotFound) {
        bytes_ = bytes_.substr(0, position_ + textEnd);
        piece = piece.substr(0, textEnd);
    }
    if (piece.empty()) return std::nullopt;
    position_ += piece.size();
    return UpToNul(WithoutBreak(piece));
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

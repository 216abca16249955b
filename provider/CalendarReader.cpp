#include "provider/CalendarReader.h"

#include <algorithm>
#include <cstring>

#include "common/Scan.h"

namespace tarnwick {
namespace {

constexpr std::size_t kPieceLimit = 1023;
// What must be in the block to see where a piece ends: its bytes and one of its line break.
constexpr std::size_t kPieceBytes = kPieceLimit + 1;
constexpr char kTextEnd = '\x1a';

// Lines are counted by windows: as long as each holds a line feed, no line is longer than a piece.
constexpr std::size_t kCountWindow = 512;
static_assert(2 * kCountWindow <= kPieceBytes);

// Line feeds behind the block: three searches may end in them before anyone looks where they are,
// and the last one's chunk must be readable.
constexpr std::size_t kGuardBytes = 2 * ControlCursor::kChunk;

}  // namespace

CalendarReader::CalendarReader(ByteSource& source, std::uint32_t blockSize)
    : source_(source),
      blockSize_(std::max(blockSize, kLeastBlockSize)),
      block_(std::make_unique_for_overwrite<char[]>(blockSize_ + kGuardBytes)) {
    Refill();
}

bool CalendarReader::Next() {
    if (!HasPiece()) return false;
    if (TakePlainLine()) return true;
    const Piece piece = TakePiece();
    // What is missing of a damaged line is taken from before, and nothing behind its second tab is
    // cut off: kept for compatibility, or rewriting a calendar would change such lines.
    line_.start = line_.end = View(piece.begin, piece.firstTab);
    line_.blank = piece.begin == piece.end;
    if (piece.firstTab == piece.end) return true;
    const std::size_t second = piece.firstTab + 1;
    const bool hasId = piece.secondTab != piece.end;
    line_.end = View(second, piece.secondTab);
    line_.id = View(hasId ? piece.secondTab + 1 : second, piece.end);
    return true;
}

std::int32_t CalendarReader::Skip(std::int32_t count) {
    std::int32_t skipped = 0;
    while (skipped < count && HasPiece()) {
        const std::int32_t windows = SkipWindows(count - skipped);
        if (windows == 0) TakePiece();
        skipped += std::max(windows, 1);
    }
    return skipped;
}

bool CalendarReader::HasPiece() {
    if (!ended_ && filled_ - position_ < kPieceBytes) Refill();
    return position_ != filled_;
}

// Takes a line of two tabs and a line break, as nearly all are; anything else is left to TakePiece.
bool CalendarReader::TakePlainLine() {
    const std::size_t begin = position_;
    const std::size_t firstTab = controls_.Next();
    const std::size_t secondTab = controls_.Next();
    const std::size_t lineFeed = controls_.Next();
    const char* const block = block_.get();
    if (block[firstTab] != '\t' || block[secondTab] != '\t' || block[lineFeed] != '\n' ||
        lineFeed >= filled_ || lineFeed - begin >= kPieceLimit) {
        MoveTo(begin);
        return false;
    }
    const std::size_t end = block[lineFeed - 1] == '\r' ? lineFeed - 1 : lineFeed;
    line_ = {View(begin, firstTab), View(firstTab + 1, secondTab), View(secondTab + 1, end), false};
    position_ = lineFeed + 1;
    return true;
}

CalendarReader::Piece CalendarReader::TakePiece() {
    constexpr std::size_t kNone = kNotFound;
    Piece piece{position_, kNone, kNone, kNone};
    for (;;) {
        const std::size_t at = controls_.Next();
        const char control = block_[at];
        if (control == '\n' || at >= piece.begin + kPieceLimit) {
            piece.end = std::min(piece.end, EndPiece(piece.begin, at));
            break;
        }
        // A NUL ends the text but not the line.
        if (control == '\0') piece.end = std::min(piece.end, at);
        if (control != '\t' || piece.end != kNone) continue;
        if (piece.firstTab == kNone) {
            piece.firstTab = at;
        } else if (piece.secondTab == kNone) {
            piece.secondTab = at;
        }
    }
    piece.firstTab = std::min(piece.firstTab, piece.end);
    piece.secondTab = std::min(piece.secondTab, piece.end);
    return piece;
}

// Moves behind the piece whose line feed, or a control character too far for it, is at `at`; gives
// the end of its text.
std::size_t CalendarReader::EndPiece(std::size_t begin, std::size_t at) {
    const std::size_t limit = begin + kPieceLimit;
    const bool isPair = at < filled_ && at > begin && block_[at] == '\n' && block_[at - 1] == '\r';
    const std::size_t textEnd = isPair ? at - 1 : at;
    if (textEnd >= limit) {
        MoveTo(limit);
        return limit;
    }
    position_ = std::min(at + 1, filled_);
    return textEnd;
}

// Passes over lines by whole windows of the block, at most `count`; gives how many.
std::int32_t CalendarReader::SkipWindows(std::int32_t count) {
    std::int32_t skipped = 0;
    std::size_t at = position_;
    while (filled_ - at >= kCountWindow) {
        const std::string_view window = View(at, at + kCountWindow);
        const auto lines = static_cast<std::int32_t>(CountByte(window, '\n'));
        if (lines == 0 || lines > count - skipped) break;
        skipped += lines;
        at += kCountWindow;
    }
    if (skipped == 0) return 0;
    while (block_[at - 1] != '\n') --at;
    MoveTo(at);
    return skipped;
}

// Moves what is left to the front of the block and reads on behind it.
void CalendarReader::Refill() {
    const std::size_t length = std::min(line_.id.size(), keptId_.size());
    if (length != 0) std::memmove(keptId_.data(), line_.id.data(), length);
    line_.id = {keptId_.data(), length};
    const std::size_t rest = filled_ - position_;
    if (rest != 0) std::memmove(block_.get(), block_.get() + position_, rest);
    const std::size_t room = blockSize_ - rest;
    const auto count = source_.Read({block_.get() + rest, room});
    failed_ = !count;
    filled_ = rest + std::min(count.value_or(0), room);
    ended_ = filled_ < blockSize_;
    const std::size_t textEnd = FindByte(View(rest, filled_), kTextEnd);
    if (textEnd != kNotFound) {
        filled_ = rest + textEnd;
        ended_ = true;
    }
    std::memset(block_.get() + filled_, '\n', kGuardBytes);
    MoveTo(0);
}

void CalendarReader::MoveTo(std::size_t position) {
    position_ = position;
    controls_ = ControlCursor(block_.get(), position);
}

}  // namespace tarnwick

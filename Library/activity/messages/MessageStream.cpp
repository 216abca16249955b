#include "Library/activity/messages/MessageStream.h"

#include <algorithm>
#include <cstring>

#include "common/Scan.h"

namespace tarnwick {

PieceReader::PieceReader(ByteSource& source, std::size_t bufferSize, FileMode mode)
    : source_(source), pieceLimit_(bufferSize - 1), mode_(mode), buffer_(2 * kStreamBlock, '\0') {}

std::optional<std::string_view> PieceReader::NextPiece() {
    std::size_t length = PieceLength(Unread(), pieceLimit_, mode_);
    while (length == kNotFound && Refill()) length = PieceLength(Unread(), pieceLimit_, mode_);
    return Take(length);
}

std::optional<std::string_view> PieceReader::NextPieces() {
    std::size_t length = WholePieces(Unread());
    while (length == kNotFound && Refill()) length = WholePieces(Unread());
    return Take(length);
}

// Without a length the stream ended before the piece did: what is left is the last one.
std::optional<std::string_view> PieceReader::Take(std::size_t length) {
    const std::string_view taken = Unread().substr(0, length);
    if (failed_ || taken.empty()) return std::nullopt;
    begin_ += taken.size();
    return taken;
}

std::size_t PieceReader::WholePieces(std::string_view unread) const {
    const std::size_t lineEnd = unread.rfind('\n');
    if (lineEnd != kNotFound) return lineEnd + 1;
    if (unread.size() <= pieceLimit_) return kNotFound;
    // The last byte may be the CR of a pair, which then belongs to the piece before it.
    return (unread.size() - 1) / pieceLimit_ * pieceLimit_;
}

bool PieceReader::Refill() {
    if (ended_) return false;
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    const auto count =
        source_.Read({buffer_.data() + end_, std::min(kStreamBlock, buffer_.size() - end_)});
    failed_ = !count;
    const std::string_view read(buffer_.data() + end_, count.value_or(0));
    const std::size_t textEnd = mode_ == FileMode::Text ? FindByte(read, kTextEnd) : kNotFound;
    const std::size_t added = std::min(textEnd, read.size());
    ended_ = added < read.size() || read.empty();
    end_ += added;
    return added != 0;
}

void BlockWriter::Write(std::string_view text) {
    Put(text, false);
}

void BlockWriter::Copy(std::string_view pieces) {
    Put(pieces, true);
}

void BlockWriter::Put(std::string_view text, bool hasPairs) {
    std::size_t from = 0;
    std::size_t at = mode_ == FileMode::Text ? FindByte(text, '\n') : kNotFound;
    for (; at != kNotFound; at = FindByte(text, '\n', at + 1)) {
        if (hasPairs && at > 0 && text[at - 1] == '\r') continue;
        Gather(text.substr(from, at - from));
        Gather("\r\n");
        from = at + 1;
    }
    Gather(text.substr(from));
}

bool BlockWriter::Flush() {
    WriteThrough(gathered_);
    gathered_.clear();
    return !failed_;
}

// Writes begin at multiples of the block: a file system works in pages, and blocks that share one
// would make it do that page twice.
void BlockWriter::Gather(std::string_view bytes) {
    while (gathered_.size() + bytes.size() >= kStreamBlock) {
        const std::string_view fill = bytes.substr(0, kStreamBlock - gathered_.size());
        bytes.remove_prefix(fill.size());
        if (gathered_.empty()) {
            WriteThrough(fill);
        } else {
            gathered_ += fill;
            Flush();
        }
    }
    gathered_ += bytes;
}

void BlockWriter::WriteThrough(std::string_view bytes) {
    if (!failed_ && !bytes.empty()) failed_ = !sink_.Write(bytes);
}

}  // namespace tarnwick

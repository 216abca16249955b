#include "Library/activity/MessageStream.h"

#include <algorithm>
#include <cstring>

#include "common/Scan.h"
#include "common/TextFile.h"

namespace tarnwick {
namespace {

constexpr char kTextEnd = '\x1a';

}  // namespace

std::optional<std::size_t> TextModeSource::Read(char* bytes, std::size_t size) {
    while (position_ == block_.size()) {
        if (ended_) return 0;
        if (!FillBlock()) return std::nullopt;
    }
    const std::size_t count = std::min(size, block_.size() - position_);
    std::memcpy(bytes, block_.data() + position_, count);
    position_ += count;
    return count;
}

bool TextModeSource::FillBlock() {
    const std::size_t held = heldReturn_ ? 1 : 0;
    block_.assign(held, '\r');
    block_.resize(held + kStreamBlock);
    const auto count = source_.Read(block_.data() + held, kStreamBlock);
    block_.resize(held + count.value_or(0));
    position_ = block_.size();
    if (!count) return false;
    position_ = 0;
    ended_ = *count == 0 || FindByte(block_, kTextEnd) != kNotFound;
    heldReturn_ = !ended_ && block_.back() == '\r';
    if (heldReturn_) block_.pop_back();
    DecodeTextMode(block_);
    return true;
}

void BlockWriter::Write(std::string_view bytes) {
    if (breaks_ == LineBreaks::CrLf) {
        for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kStreamBlock))) {
            AppendTextMode(gathered_, bytes.substr(0, kStreamBlock));
            if (gathered_.size() >= kStreamBlock) Flush();
        }
    } else if (bytes.size() <= kStreamBlock - gathered_.size()) {
        gathered_ += bytes;
    } else {
        Flush();
        WriteThrough(bytes);
    }
}

bool BlockWriter::Flush() {
    WriteThrough(gathered_);
    gathered_.clear();
    return !failed_;
}

void BlockWriter::WriteThrough(std::string_view bytes) {
    if (!failed_ && !bytes.empty()) failed_ = !sink_.Write(bytes);
}

PieceReader::PieceReader(ByteSource& source, std::size_t bufferSize)
    : source_(source), pieceLimit_(bufferSize - 1), buffer_(kStreamBlock, '\0') {}

std::optional<std::string_view> PieceReader::NextPiece() {
    std::size_t searched = 0;
    for (;;) {
        const std::string_view unread = Unread().substr(0, pieceLimit_);
        const std::size_t lineEnd = FindByte(unread, '\n', searched);
        const bool whole = lineEnd != kNotFound || unread.size() == pieceLimit_;
        searched = unread.size();
        if (!whole && Refill()) continue;
        if (unread.empty() || failed_) return std::nullopt;
        // The view is taken afresh, as a refill in vain has moved the bytes.
        const auto piece = Unread().substr(0, lineEnd == kNotFound ? searched : lineEnd + 1);
        begin_ += piece.size();
        return piece;
    }
}

std::optional<std::string_view> PieceReader::NextBlock() {
    if (failed_ || (begin_ == end_ && !Refill())) return std::nullopt;
    const std::string_view block = Unread();
    begin_ = end_;
    return block;
}

bool PieceReader::Refill() {
    if (ended_) return false;
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    const auto count = source_.Read(buffer_.data() + end_, buffer_.size() - end_);
    failed_ = !count;
    ended_ = count.value_or(0) == 0;
    end_ += count.value_or(0);
    return !ended_;
}

}  // namespace tarnwick

// Reads an index file as a row of texts and tags, in one pass and through a small buffer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "common/ByteSource.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"
#include "Library/LIBStoreIndexSerialisation/TextMarks.h"

namespace tarnwick {

class IndexReader {
  public:
    explicit IndexReader(ByteSource& source) : source_(source) {}
    IndexReader(const IndexReader&) = delete;
    IndexReader& operator=(const IndexReader&) = delete;

    // Takes the text up to the next "<", and the "<"; false when the data end before one. With
    // `join` the text is put behind the one before.
    bool TakeText(bool join) {
        if (join || spilled_ || at_ == end_ || *at_ != '<') return TakeTextHere(join);
        text_ = {};
        tagOffset_ = Offset();
        Take(1);
        return true;
    }
    // What TakeText took, until the next call of it. A text beyond kTextLimit is cut there.
    // It has kSlack readable bytes behind it, as have the bytes at hand.
    std::string_view Text() const { return spilled_ ? spill_.View() : text_; }
    bool TextTooLong() const { return textTooLong_; }
    // Offset of the "<" that ended the text.
    std::uint64_t TagOffset() const { return tagOffset_; }

    // Takes the tag up to the next ">", and the ">"; of a tag longer than kTagLimit that many
    // bytes, the rest being the text that follows. Nothing when the data end before a ">". The tag
    // holds until the next call.
    std::optional<std::string_view> TakeTag();
    // Takes a comment whose "<" was taken, whatever it holds; false when none begins here.
    bool SkipComment() { return (at_ == end_ || *at_ == '!') && SkipCommentHere(); }

    // The bytes at hand at the current place, for whoever knows what should come: kTagLimit or more
    // unless a read gives less. Take takes some.
    std::string_view Upcoming() {
        if (static_cast<std::size_t>(end_ - at_) < kTagLimit && !ended_) Refill();
        return AtHand();
    }
    void Take(std::size_t count) { at_ += count; }

    // The same from the first mark on that is not taken yet; TakeMarks takes what stands before the
    // one that is `count` further on. Both hold until the next read.
    MarkedText UpcomingMarked() {
        Upcoming();
        if (!marked_) MarkBuffer();
        while (PlaceOf(at_) > *mark_) ++mark_;
        return {buffer_.data(), mark_, PlaceOf(end_)};
    }
    void TakeMarks(std::size_t count) {
        mark_ += count;
        at_ = buffer_.data() + *mark_;
    }

    // Bytes taken so far.
    std::uint64_t Offset() const { return read_ - static_cast<std::uint64_t>(end_ - at_); }

    // Bytes read so far, taken or not: at the end of the data, their length.
    std::uint64_t BytesRead() const { return read_; }

  private:
    std::string_view AtHand() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }
    std::size_t PlaceOf(const char* at) const {
        return static_cast<std::size_t>(at - buffer_.data());
    }
    bool Refill();
    bool TakeTextHere(bool join);
    bool SkipCommentHere();
    void Spill(std::string_view piece);
    void MarkBuffer();

    static constexpr std::size_t kReadSize = 8192;
    // Room before the read block for what is left of the one before; a whole tag fits.
    static constexpr std::size_t kCarry = 2 * kTagLimit;

    ByteSource& source_;
    std::array<char, kCarry + kReadSize + kBlock> buffer_;
    std::array<std::uint32_t, RoomForMarks(kCarry + kReadSize)> marks_;  // once marked_
    const std::uint32_t* mark_ = nullptr;
    bool marked_ = false;
    const char* at_ = buffer_.data() + kCarry;
    const char* end_ = at_;
    std::uint64_t read_ = 0;
    std::uint64_t tagOffset_ = 0;
    std::string_view text_;
    ByteBuffer spill_;
    bool spilled_ = false;
    bool textTooLong_ = false;
    bool ended_ = false;
};

}  // namespace tarnwick

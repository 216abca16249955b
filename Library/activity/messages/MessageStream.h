// Message files as streams: nothing here holds more than a few blocks of a message, so that memory
// does not grow with it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "common/ByteSource.h"
#include "common/TextFile.h"

namespace tarnwick {

// Bytes that go between a stream and its file in one call.
inline constexpr std::size_t kStreamBlock = std::size_t{1} << 16;

class ByteSink {
  public:
    virtual ~ByteSink() = default;
    // Takes all of `bytes`; false when that failed.
    virtual bool Write(std::string_view bytes) = 0;
};

// Cuts a stream into the pieces that fgets with a buffer of fixed size returns (PieceLength). A
// longer line comes in several, and whoever reads header lines takes each piece for a line of its
// own. Bytes are kept whole, NULs too.
//
// In text mode too pieces are given as they lie on disk: what is only copied need not be decoded
// and encoded again.
class PieceReader {
  public:
    // `bufferSize` counts the terminator; 2 to kStreamBlock / 2.
    PieceReader(ByteSource& source, std::size_t bufferSize, FileMode mode);

    // The next piece, good until the next call; nothing at the end or after a failed read.
    std::optional<std::string_view> NextPiece();
    // The next pieces, as many as are at hand, in one; nothing as above.
    std::optional<std::string_view> NextPieces();
    // Whether the pieces ended because a read failed.
    bool Failed() const { return failed_; }

  private:
    // Length of all pieces that are surely whole; kNotFound when none is.
    std::size_t WholePieces(std::string_view unread) const;
    // Moves the unread bytes to the front and reads behind them; false when none came.
    bool Refill();
    std::optional<std::string_view> Take(std::size_t length);
    std::string_view Unread() const { return {buffer_.data() + begin_, end_ - begin_}; }

    ByteSource& source_;
    std::size_t pieceLimit_;
    FileMode mode_;
    std::string buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    bool ended_ = false;
    bool failed_ = false;
};

// Gathers what is written into blocks for `sink`. The first failure lasts: what is written after it
// is dropped.
class BlockWriter {
  public:
    BlockWriter(ByteSink& sink, FileMode mode) : sink_(sink), mode_(mode) {}
    BlockWriter(const BlockWriter&) = delete;
    BlockWriter& operator=(const BlockWriter&) = delete;

    // Writes a text of one's own.
    void Write(std::string_view text);
    // Writes pieces that a reader of the same mode gave.
    void Copy(std::string_view pieces);
    // Hands on what is gathered; true when everything written so far arrived.
    bool Flush();

  private:
    // In text mode gives each LF its CR, but for those that stand behind one already where the text
    // `hasPairs`.
    void Put(std::string_view text, bool hasPairs);
    void Gather(std::string_view bytes);
    void WriteThrough(std::string_view bytes);

    ByteSink& sink_;
    FileMode mode_;
    std::string gathered_;
    bool failed_ = false;
};

}  // namespace tarnwick

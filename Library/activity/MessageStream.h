// Message files as streams of blocks: nothing here holds more than a block of a message, so that
// memory does not grow with it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick {

// Bytes that go between a stream and its file in one call.
inline constexpr std::size_t kStreamBlock = std::size_t{1} << 16;

class ByteSource {
  public:
    virtual ~ByteSource() = default;
    // Reads up to `size` bytes; the count read, 0 at the end, no value when the read failed.
    virtual std::optional<std::size_t> Read(char* bytes, std::size_t size) = 0;
};

class ByteSink {
  public:
    virtual ~ByteSink() = default;
    // Takes all of `bytes`; false when that failed.
    virtual bool Write(std::string_view bytes) = 0;
};

// What the C runtime's text mode makes of `source`, block by block: CR LF pairs become LF, other
// CRs stay, and a Ctrl-Z ends the text.
class TextModeSource : public ByteSource {
  public:
    explicit TextModeSource(ByteSource& source) : source_(source) {}
    std::optional<std::size_t> Read(char* bytes, std::size_t size) override;

  private:
    bool FillBlock();

    ByteSource& source_;
    std::string block_;  // decoded, from position_ on still to be handed out
    std::size_t position_ = 0;
    bool heldReturn_ = false;  // the last byte read was a CR that may begin a pair
    bool ended_ = false;
};

enum class LineBreaks {
    AsWritten,  // binary mode
    CrLf        // text mode: each LF becomes a CR LF pair
};

// Gathers small writes to `sink` into blocks. The first failure lasts: what is written after it is
// dropped.
class BlockWriter {
  public:
    explicit BlockWriter(ByteSink& sink, LineBreaks breaks = LineBreaks::AsWritten)
        : sink_(sink), breaks_(breaks) {}
    BlockWriter(const BlockWriter&) = delete;
    BlockWriter& operator=(const BlockWriter&) = delete;

    void Write(std::string_view bytes);
    // Hands on what is gathered; true when everything written so far arrived.
    bool Flush();

  private:
    void WriteThrough(std::string_view bytes);

    ByteSink& sink_;
    LineBreaks breaks_;
    std::string gathered_;
    bool failed_ = false;
};

// Cuts a stream into the pieces that fgets with a buffer of fixed size returns: up to and including
// the next LF, at most `bufferSize` - 1 bytes. A longer line comes in several pieces, and whoever
// reads header lines takes each piece for a line of its own. Bytes are kept whole, NULs too.
class PieceReader {
  public:
    // `bufferSize` counts the terminator; 2 to kStreamBlock.
    PieceReader(ByteSource& source, std::size_t bufferSize);

    // The next piece, good until the next call; nothing at the end or after a failed read.
    std::optional<std::string_view> NextPiece();
    // What was read but not handed out yet, or else the next block; nothing as above.
    std::optional<std::string_view> NextBlock();
    // Whether the pieces ended because a read failed.
    bool Failed() const { return failed_; }

  private:
    // Moves the unread bytes to the front and reads behind them; false at the end.
    bool Refill();
    std::string_view Unread() const { return {buffer_.data() + begin_, end_ - begin_}; }

    ByteSource& source_;
    std::size_t pieceLimit_;
    std::string buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    bool ended_ = false;
    bool failed_ = false;
};

}  // namespace tarnwick

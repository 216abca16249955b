// The bytes of text files as the C runtime's text mode sees them, and lines as fgets cuts them;
// both over whole blocks, because stream calls a line cost many times the file's own system calls.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick {

// The modes of the C runtime. In text mode a CR LF pair on disk is one LF to the reader, a Ctrl-Z
// ends the file, and each LF is written as a pair.
enum class FileMode { Binary, Text };

inline constexpr char kTextEnd = '\x1a';

// What reading in text mode makes of a file's bytes: each CR LF pair becomes LF, other CRs stay,
// and a Ctrl-Z ends the text. Changes `bytes` in place.
void DecodeTextMode(std::string& bytes);

// Appends `text` as writing in text mode puts it on disk: each LF becomes a CR LF pair.
void AppendTextMode(std::string& bytes, std::string_view text);

// Length of the first piece that fgets with a buffer of `limit` + 1 bytes returns of a file that
// begins with `bytes`: up to and including the next LF, at most `limit`. In text mode a pair counts
// as the one byte that it is to the reader, and is never cut. kNotFound when more bytes are needed
// to tell; with none to come all of them are the piece.
std::size_t PieceLength(std::string_view bytes, std::size_t limit, FileMode mode);

// Cuts a text into the pieces that fgets with a buffer of fixed size returns; a longer line comes
// in several pieces.
class LineReader {
  public:
    // `text` must outlive the reader. `bufferSize` counts the terminator and is at least 2.
    LineReader(std::string_view text, std::size_t bufferSize)
        : text_(text), pieceLimit_(bufferSize - 1) {}

    // The next piece with its line break, or nothing at the end of the text. It may hold NUL bytes.
    std::optional<std::string_view> NextPiece();

    // Bytes consumed so far.
    std::size_t Position() const { return position_; }

  private:
    std::string_view text_;
    std::size_t pieceLimit_;
    std::size_t position_ = 0;
};

// The same pieces as LineText gives of them, of a file that text mode has not decoded: one pass
// over the bytes as they lie on disk, without a copy. For files whose lines are only looked at.
class TextModeLines {
  public:
    // `bytes` must outlive the lines. `bufferSize` is LineReader's.
    TextModeLines(std::string_view bytes, std::size_t bufferSize)
        : bytes_(bytes), pieceLimit_(bufferSize - 1) {}

    // The text of the next piece, or nothing at the end.
    std::optional<std::string_view> Next();

    // The bytes, up to the text's end once it was reached, and where in them the next piece begins.
    std::string_view Bytes() const { return bytes_; }
    std::size_t Position() const { return position_; }
    // Goes to the beginning of a line that lies before the text's end.
    void MoveTo(std::size_t lineBegin) { position_ = lineBegin; }

  private:
    std::string_view bytes_;
    std::size_t pieceLimit_;
    std::size_t position_ = 0;
};

// Copies lines of a text mode file that are to stand as they are in a new one: neighbours in the
// file, a CR LF pair apart, are copied together. A line brings its break along from the second on.
class LineRun {
  public:
    // `line`, not empty, must stay in its file until the run ends. Breaks between lines are the
    // file's; where they cannot be, what was there before is first appended to `bytes`.
    void Add(std::string& bytes, std::string_view line);
    // Appends what is left. To be called before `bytes` is appended to in another way or used.
    void End(std::string& bytes);

  private:
    bool Continues(std::string_view line) const;

    std::string_view lines_;
};

// What the system makes of a piece: the text up to its first NUL, without its line break.
std::string_view LineText(std::string_view piece);

}  // namespace tarnwick

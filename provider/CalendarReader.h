// Reading a calendar line by line, with the C runtime's rules for text files: CR LF pairs are line
// breaks, Ctrl-Z ends the text, and a line of more than 1023 characters comes in pieces that count
// as lines of their own. One pass over large blocks, no allocation a line. See
// docs/calendar-file.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "common/ByteSource.h"
#include "provider/ControlCursor.h"

namespace tarnwick {

// A line's parts as they stand in the file.
struct CalendarLine {
    std::string_view start;
    std::string_view end;
    std::string_view id;
    bool blank;
};

class CalendarReader {
  public:
    static constexpr std::uint32_t kBlockSize = 1U << 16;
    static constexpr std::uint32_t kLeastBlockSize = 2048;

    // `source` must outlive the reader.
    explicit CalendarReader(ByteSource& source, std::uint32_t blockSize = kBlockSize);

    // Goes to the next line, whatever it holds; false at the end. What is missing of a line is
    // taken from what stands before: without a tab it ends when it starts and keeps the ID of the
    // line before it, with one tab its last field is the ID too. All behind the second tab is ID.
    bool Next();
    const CalendarLine& Line() const { return line_; }

    // Passes over the first `count` lines, unread; fewer when the calendar has fewer. The result is
    // how many there were. To be called before the first line is read.
    std::int32_t Skip(std::int32_t count);

    // Whether a read failed; the lines then ended there.
    bool Failed() const { return failed_; }

  private:
    // Where a piece's text ends and its tabs stand; the text's end where there is none.
    struct Piece {
        std::size_t begin;
        std::size_t firstTab;
        std::size_t secondTab;
        std::size_t end;
    };

    bool HasPiece();
    bool TakePlainLine();
    Piece TakePiece();
    std::size_t EndPiece(std::size_t begin, std::size_t at);
    std::int32_t SkipWindows(std::int32_t count);
    void Refill();
    void MoveTo(std::size_t position);
    std::string_view View(std::size_t from, std::size_t to) const {
        return {block_.get() + from, to - from};
    }

    ByteSource& source_;
    std::uint32_t blockSize_;
    // Bytes up to filled_, and line feeds behind them at which every search ends.
    std::unique_ptr<char[]> block_;
    std::size_t position_ = 0;
    std::size_t filled_ = 0;
    bool ended_ = false;
    bool failed_ = false;
    ControlCursor controls_;
    CalendarLine line_{};
    // Holds the line's ID when its block is gone.
    std::array<char, 1024> keptId_;
};

}  // namespace tarnwick

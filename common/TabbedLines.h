// The lines of a text mode file whose fields are separated by tabs, in one pass over its bytes.
#pragma once

#include <emmintrin.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "common/TextFile.h"

namespace tarnwick {

// A set of bytes: those that have no bit which kBits has not.
template <unsigned char kBits>
struct BytesWithin {
    // Of 16 bytes those that belong to the set become -1.
    static __m128i In(__m128i lane) {
        const __m128i others = _mm_set1_epi8(static_cast<char>(~kBits));
        return _mm_cmpeq_epi8(_mm_and_si128(lane, others), _mm_setzero_si128());
    }
};
// NUL, line feed, Ctrl-Z, and five control characters that nobody writes.
using LineEnds = BytesWithin<'\n' | kTextEnd>;
// These, the tab and seven more; not the carriage return.
using FieldEnds = BytesWithin<'\t' | '\n' | kTextEnd>;

// Walks over the bytes of a text that may end a field or a line. 64 of them are looked at together,
// so that a walk costs little more than reading.
template <typename Set>
class ByteCursor {
  public:
    // Begins at `position` of `text`, which must outlive the cursor.
    ByteCursor(std::string_view text, std::size_t position)
        : text_(text), chunk_(position), mask_(MaskAt(position)) {}

    // The position of the next byte of the set; every position from the text's end on is one.
    std::size_t Next() {
        while (mask_ == 0) {
            chunk_ += kChunk;
            mask_ = MaskAt(chunk_);
        }
        const auto bit = static_cast<std::size_t>(std::countr_zero(mask_));
        mask_ &= mask_ - 1;
        return chunk_ + bit;
    }

  private:
    static constexpr std::size_t kChunk = 64;

    static std::uint64_t LaneMask(const char* bytes) {
        __m128i lane;
        std::memcpy(&lane, bytes, sizeof lane);
        return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(Set::In(lane))));
    }
    static std::uint64_t Mask(const char* bytes) {
        return LaneMask(bytes) | (LaneMask(bytes + 16) << 16) | (LaneMask(bytes + 32) << 32) |
               (LaneMask(bytes + 48) << 48);
    }
    std::uint64_t MaskAt(std::size_t position) const {
        if (text_.size() >= kChunk && position <= text_.size() - kChunk) {
            return Mask(text_.data() + position);
        }
        char rest[kChunk];
        std::memset(rest, '\n', kChunk);
        if (position < text_.size()) {
            std::memcpy(rest, text_.data() + position, text_.size() - position);
        }
        return Mask(rest);
    }

    std::string_view text_;
    std::size_t chunk_;
    std::uint64_t mask_;
};

// A line of just so many fields.
template <std::size_t kFields>
class PlainLine {
  public:
    std::string_view Text() const { return View(0, kFields); }
    // Field `number` from 0.
    std::string_view operator[](std::size_t number) const { return View(number, number + 1); }

  private:
    template <std::size_t>
    friend class TabbedLines;

    std::string_view View(std::size_t from, std::size_t to) const {
        return {begins_[from], static_cast<std::size_t>(begins_[to] - begins_[from] - 1)};
    }

    // Where each field begins, and one byte behind the end: single pointers, since views that are
    // written as two words and read at once as one cost more than the search for them.
    std::array<const char*, kFields + 1> begins_;
};

template <std::size_t kFields>
class TabbedLines {
  public:
    // `bytes` must outlive the lines. `bufferSize` is LineReader's.
    TabbedLines(std::string_view bytes, std::size_t bufferSize)
        : lines_(bytes, bufferSize),
          pieceLimit_(bufferSize - 1),
          ends_(lines_.Bytes(), lines_.Position()) {}

    // Takes the next line if it has just so many fields, a line break and no other character that
    // might end it, as nearly all are; anything else is left to Next.
    bool TakePlain(PlainLine<kFields>& line) {
        const std::string_view bytes = lines_.Bytes();
        const std::size_t begin = lines_.Position();
        std::size_t at = begin;
        // A copy, which stays in registers.
        ByteCursor<FieldEnds> ends = ends_;
        line.begins_[0] = bytes.data() + begin;
        for (std::size_t field = 1; field < kFields; ++field) {
            at = ends.Next();
            if (at >= bytes.size() || bytes[at] != '\t') return Leave();
            line.begins_[field] = bytes.data() + at + 1;
        }
        at = ends.Next();
        if (at >= bytes.size() || bytes[at] != '\n' || at - begin >= pieceLimit_) return Leave();
        const bool isPair = at > begin && bytes[at - 1] == '\r';
        line.begins_[kFields] = bytes.data() + at + (isPair ? 0 : 1);
        lines_.MoveTo(at + 1);
        ends_ = ends;
        return true;
    }

    // The text of the next line, as TextModeLines gives it.
    std::optional<std::string_view> Next() {
        const auto line = lines_.Next();
        Leave();
        return line;
    }

    // Passes over the next lines, as long as `pass`, which is given where each one's text ends,
    // wants it, it is no shorter than a word and nothing but its line feed might end it.
    template <typename Pass>
    void PassWhile(Pass pass) {
        constexpr std::size_t kShortest = sizeof(std::uint64_t) + 1;
        const std::string_view bytes = lines_.Bytes();
        std::size_t begin = lines_.Position();
        ByteCursor<LineEnds> lineEnds(bytes, begin);
        for (;;) {
            const std::size_t at = lineEnds.Next();
            if (at >= bytes.size() || bytes[at] != '\n') break;
            // One comparison for both: a shorter one's difference is larger than any.
            if (at - begin - kShortest >= pieceLimit_ - kShortest) break;
            const char* const lineFeed = bytes.data() + at;
            if (!pass(lineFeed[-1] == '\r' ? lineFeed - 1 : lineFeed)) break;
            begin = at + 1;
        }
        MoveTo(begin);
    }

    // As of TextModeLines.
    std::string_view Bytes() const { return lines_.Bytes(); }
    void MoveTo(std::size_t lineBegin) {
        lines_.MoveTo(lineBegin);
        Leave();
    }

  private:
    // Brings the cursor to the next line.
    bool Leave() {
        ends_ = {lines_.Bytes(), lines_.Position()};
        return false;
    }

    TextModeLines lines_;
    std::size_t pieceLimit_;
    ByteCursor<FieldEnds> ends_;
};

}  // namespace tarnwick

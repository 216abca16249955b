#include "remote/Lzw.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace tarnwick {
namespace {

constexpr unsigned kFirstFreeCode = 256;
constexpr unsigned kLostString = 0xFFFF;

// A string of the dictionary: its code and its length.
struct Match {
    unsigned code;
    unsigned length;
};

// The compressor's dictionary. An entry is its prefix's code and one byte more, found through a
// small hash table of such pairs; the bytes of its string lie in the input, where it was added.
class StringTable {
  public:
    explicit StringTable(std::span<const std::byte> input) : input_(input) {}

    // The longest string of the dictionary that stands at `at`.
    Match LongestAt(std::size_t at) const {
        const auto limit = static_cast<unsigned>(std::min(kLzwLongestString, input_.size() - at));
        Match match = LatestAt(at, limit);
        while (match.length < limit) {
            const unsigned child = Child(match.code, ByteAt(at + match.length));
            if (child == kNone) break;
            match = {child, match.length + 1};
        }
        return match;
    }

    // Adds the string at `at`, which is `match` and the byte behind it.
    void Add(std::size_t at, Match match) {
        unsigned& latest = latest_[ByteAt(at)];
        if (count_ == kLzwEntryLimit) {
            latest = match.code;
            return;
        }
        const unsigned code = count_++;
        // A string longer than the longest is never looked for, so it only takes its code. It may
        // be in the dictionary already: both sides count it twice.
        if (match.length == kLzwLongestString) return;
        const unsigned byte = ByteAt(at + match.length);
        std::uint16_t& head = heads_[Bucket(match.code, byte)];
        entries_[code] = {at, match.code << 8 | byte, head,
                          static_cast<std::uint16_t>(match.length + 1)};
        head = static_cast<std::uint16_t>(code);
        latest = code;
    }

  private:
    // No child is a single byte.
    static constexpr unsigned kNone = 0;
    static constexpr unsigned kBuckets = 1024;
    static constexpr unsigned kWord = sizeof(std::uint64_t);

    struct Entry {
        std::size_t start;
        std::uint32_t pair;
        std::uint16_t next;  // in the bucket
        std::uint16_t length;
    };

    static unsigned Bucket(unsigned prefix, unsigned byte) {
        return (prefix ^ byte << 2) % kBuckets;
    }

    unsigned ByteAt(std::size_t at) const { return std::to_integer<unsigned>(input_[at]); }

    std::uint64_t WordAt(std::size_t at) const {
        std::uint64_t word;
        std::memcpy(&word, input_.data() + at, sizeof word);
        return word;
    }

    unsigned Child(unsigned prefix, unsigned byte) const {
        const std::uint32_t pair = prefix << 8 | byte;
        unsigned code = heads_[Bucket(prefix, byte)];
        while (code != kNone && entries_[code].pair != pair) code = entries_[code].next;
        return code;
    }

    // What the last string with this first byte led to, when it stands here again as a whole: in a
    // run of equal bytes it saves the way through all shorter runs. Otherwise the byte itself.
    Match LatestAt(std::size_t at, unsigned limit) const {
        const unsigned byte = ByteAt(at);
        const unsigned code = latest_[byte];
        if (code >= kFirstFreeCode) {
            const Entry& entry = entries_[code];
            if (entry.length >= kWord && entry.length <= limit &&
                SameString(entry.start, at, entry.length)) {
                return {code, entry.length};
            }
        }
        return {byte, 1};
    }

    // The last word overlaps the one before it, so that no byte behind the strings is read.
    bool SameString(std::size_t left, std::size_t right, unsigned length) const {
        for (unsigned at = 0; at < length - kWord; at += kWord) {
            if (WordAt(left + at) != WordAt(right + at)) return false;
        }
        return WordAt(left + length - kWord) == WordAt(right + length - kWord);
    }

    std::span<const std::byte> input_;
    unsigned count_ = kFirstFreeCode;
    std::array<unsigned, 256> latest_{};
    std::array<std::uint16_t, kBuckets> heads_{};
    std::array<Entry, kLzwEntryLimit> entries_;
};

// The expander's dictionary and output in one: the string of every entry lies in the output, where
// the code before it was expanded.
class Expander {
  public:
    explicit Expander(std::span<std::byte> output) : output_(output) {}

    LzwExpansion Run(std::span<const std::byte> input) {
        LzwFault fault = LzwFault::None;
        for (std::size_t at = 0; fault == LzwFault::None && input.size() - at >= 2; at += 2) {
            const unsigned low = std::to_integer<unsigned>(input[at]);
            const unsigned high = std::to_integer<unsigned>(input[at + 1]);
            fault = at == 0 ? First(high << 8 | low) : Next(high << 8 | low);
        }
        return {position_, fault};
    }

  private:
    struct Entry {
        std::size_t start;
        std::size_t length;
    };

    LzwFault First(unsigned code) {
        if (code >= kFirstFreeCode) return LzwFault::UnknownCode;
        return Write(code);
    }

    // Adds the string before this one and this one's first byte, then writes this one: it may be
    // the entry just added, whose last byte is then its first.
    LzwFault Next(unsigned code) {
        if (code == kLostString) return LzwFault::LostString;
        if (count_ < kLzwEntryLimit) {
            entries_[count_] = {position_ - previousLength_, previousLength_ + 1};
            ++count_;
        }
        if (code >= count_) return LzwFault::UnknownCode;
        return Write(code);
    }

    LzwFault Write(unsigned code) {
        if (code < kFirstFreeCode) {
            if (position_ == output_.size()) return LzwFault::NoRoom;
            output_[position_++] = static_cast<std::byte>(code);
            previousLength_ = 1;
            return LzwFault::None;
        }
        const Entry entry = entries_[code];
        if (entry.length > kLzwLongestString) return LzwFault::UnknownCode;
        if (entry.length > output_.size() - position_) return LzwFault::NoRoom;
        for (std::size_t at = 0; at < entry.length; ++at) {
            output_[position_ + at] = output_[entry.start + at];
        }
        position_ += entry.length;
        previousLength_ = entry.length;
        return LzwFault::None;
    }

    std::span<std::byte> output_;
    std::size_t position_ = 0;
    std::size_t previousLength_ = 0;
    unsigned count_ = kFirstFreeCode;
    std::array<Entry, kLzwEntryLimit> entries_;
};

}  // namespace

std::size_t LzwCompress(std::span<const std::byte> input, std::span<std::byte> output) {
    if (output.size() < LzwWorstSize(input.size())) return 0;
    StringTable table(input);
    std::size_t written = 0;
    for (std::size_t at = 0; at < input.size();) {
        const Match match = table.LongestAt(at);
        output[written++] = static_cast<std::byte>(match.code);
        output[written++] = static_cast<std::byte>(match.code >> 8);
        if (input.size() - at > match.length) table.Add(at, match);
        at += match.length;
    }
    return written;
}

LzwExpansion LzwExpand(std::span<const std::byte> input, std::span<std::byte> output) {
    return Expander(output).Run(input);
}

}  // namespace tarnwick

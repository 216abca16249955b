#include "remote/Lzw.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace tarnwick {
namespace {

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
        if (code >= kLzwSingleBytes) {
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
    unsigned count_ = kLzwSingleBytes;
    std::array<unsigned, 256> latest_{};
    std::array<std::uint16_t, kBuckets> heads_{};
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

}  // namespace tarnwick

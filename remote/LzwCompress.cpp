#include "remote/Lzw.h"

#include <algorithm>
#include <array>
#include <bit>
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
    explicit StringTable(std::span<const std::byte> input)
        : input_(input), buckets_(input.size() <= kSmallInput ? kFewBuckets : kManyBuckets) {
        std::fill_n(heads_.begin(), buckets_, std::uint16_t{kNone});
        entries_[kNone].length = 0;
    }

    // The longest string of the dictionary that stands at `at`.
    Match LongestAt(std::size_t at) const {
        const auto limit = static_cast<unsigned>(std::min(kLzwLongestString, input_.size() - at));
        if (NewestStandsAt(at, limit)) return newest_;
        Match match = BeginningAt(at, limit);
        while (match.length < limit) {
            const unsigned child = Child(match.code, ByteAt(at + match.length));
            if (child == kNone) break;
            match = {child, match.length + 1};
        }
        return match;
    }

    // Adds the string at `at`, which is `match` and the byte behind it.
    void Add(std::size_t at, Match match) {
        newest_.length = 0;
        if (count_ == kLzwEntryLimit) return;
        const unsigned code = count_++;
        // A string longer than the longest is never looked for, so it only takes its code. It may
        // be in the dictionary already: both sides count it twice.
        if (match.length == kLzwLongestString) return;
        const unsigned byte = ByteAt(at + match.length);
        std::uint16_t& head = heads_[Bucket(match.code, byte)];
        const auto length = static_cast<std::uint16_t>(match.length + 1);
        entries_[code] = {at, match.code << 8 | byte, head, length};
        head = static_cast<std::uint16_t>(code);
        newest_ = {code, length};
        newestStart_ = at;
        if (length >= kWord) {
            std::uint16_t& longest = longest_[ByteAt(at)];
            if (length > entries_[longest].length) longest = head;
        }
    }

  private:
    // No child is a single byte.
    static constexpr unsigned kNone = 0;
    // Clearing the table is most of the work on a small input, and it fills few buckets.
    static constexpr std::size_t kSmallInput = 1024;
    static constexpr unsigned kFewBuckets = 512;
    static constexpr unsigned kManyBuckets = 4096;
    static constexpr unsigned kWord = sizeof(std::uint64_t);

    struct Entry {
        std::size_t start;
        std::uint32_t pair;
        std::uint16_t next;  // in the bucket
        std::uint16_t length;
    };

    unsigned Bucket(unsigned prefix, unsigned byte) const {
        return (prefix ^ byte << 4) & (buckets_ - 1);
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

    // Whether the entry just added is what stands at `at`. It has no children yet, so nothing
    // longer does. Runs of equal bytes go from one such entry to the next.
    bool NewestStandsAt(std::size_t at, unsigned limit) const {
        return newest_.length >= kWord && newest_.length <= limit &&
               CommonLength(newestStart_, at, newest_.length) == newest_.length;
    }

    // A string that stands at `at`, to begin with: what the longest string with this first byte has
    // in common with it, which in a run of equal bytes saves the way through all shorter runs.
    Match BeginningAt(std::size_t at, unsigned limit) const {
        const unsigned byte = ByteAt(at);
        unsigned code = longest_[byte];
        if (code == kNone || limit < kWord) return {byte, 1};
        const Entry& entry = entries_[code];
        const unsigned common =
            CommonLength(entry.start, at, std::min<unsigned>(entry.length, limit));
        const unsigned climb = entry.length - common;
        if (climb > common) return {byte, 1};
        for (unsigned step = 0; step < climb; ++step) code = entries_[code].pair >> 8;
        return {code, common};
    }

    // The last word overlaps the one before it, so that no byte behind the strings is read.
    unsigned CommonLength(std::size_t left, std::size_t right, unsigned length) const {
        for (unsigned at = 0;; at = std::min(at + kWord, length - kWord)) {
            const std::uint64_t difference = WordAt(left + at) ^ WordAt(right + at);
            if (difference != 0) {
                return at + static_cast<unsigned>(std::countr_zero(difference)) / 8;
            }
            if (at == length - kWord) return length;
        }
    }

    std::span<const std::byte> input_;
    unsigned count_ = kLzwSingleBytes;
    Match newest_{};
    std::size_t newestStart_ = 0;
    std::array<std::uint16_t, 256> longest_{};
    unsigned buckets_;
    std::array<std::uint16_t, kManyBuckets> heads_;
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

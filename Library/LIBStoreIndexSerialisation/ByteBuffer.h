// Bytes that are put together from many short texts. Where a std::string calls the C runtime for
// each, this copies short ones itself; that is most of what loading and saving an index costs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace tarnwick {

// Whether two texts of `size` bytes, at least that of a Word and at most two, are the same.
template <typename Word>
bool SameEnds(const char* left, const char* right, std::size_t size) {
    Word words[4];
    std::memcpy(&words[0], left, sizeof(Word));
    std::memcpy(&words[1], right, sizeof(Word));
    std::memcpy(&words[2], left + size - sizeof(Word), sizeof(Word));
    std::memcpy(&words[3], right + size - sizeof(Word), sizeof(Word));
    return words[0] == words[1] && words[2] == words[3];
}

// Whether `text` begins with `prefix`; fast for prefixes of a few bytes.
inline bool BeginsWith(std::string_view text, std::string_view prefix) {
    const std::size_t size = prefix.size();
    if (size > text.size()) return false;
    if (size < 4 || size > 16) return text.starts_with(prefix);
    if (size < 8) return SameEnds<std::uint32_t>(text.data(), prefix.data(), size);
    return SameEnds<std::uint64_t>(text.data(), prefix.data(), size);
}

// What may be read, and overwritten in a buffer, behind the bytes that count, so that texts can be
// worked on in whole lanes.
inline constexpr std::size_t kSlack = 16;

// Has kSlack bytes behind what it holds or has room for.
class ByteBuffer {
  public:
    std::size_t Size() const { return size_; }
    std::string_view View() const { return {bytes_.get(), size_}; }
    void Clear() { size_ = 0; }

    void Append(std::string_view text) {
        Copy(Room(text.size()), text.data(), text.size());
        size_ += text.size();
    }
    // Place for `size` more bytes; those written there count with Extend.
    char* Room(std::size_t size) {
        if (size > capacity_ - size_) Grow(size);
        return bytes_.get() + size_;
    }
    void Extend(std::size_t size) { size_ += size; }

    void Append(char byte) { Append(std::string_view(&byte, 1)); }

  private:
    // Texts of up to 32 bytes in two moves that may overlap.
    static void Copy(char* to, const char* from, std::size_t size) {
        if (size >= 16) {
            if (size > 32) {
                std::memcpy(to, from, size);
            } else {
                CopyEnds<16>(to, from, size);
            }
        } else if (size >= 8) {
            CopyEnds<8>(to, from, size);
        } else if (size >= 4) {
            CopyEnds<4>(to, from, size);
        } else {
            for (std::size_t at = 0; at < size; ++at) to[at] = from[at];
        }
    }
    template <std::size_t kPart>
    static void CopyEnds(char* to, const char* from, std::size_t size) {
        char first[kPart];
        char last[kPart];
        std::memcpy(first, from, kPart);
        std::memcpy(last, from + size - kPart, kPart);
        std::memcpy(to, first, kPart);
        std::memcpy(to + size - kPart, last, kPart);
    }
    void Grow(std::size_t room);

    std::unique_ptr<char[]> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace tarnwick

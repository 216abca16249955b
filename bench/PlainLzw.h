// The parameter codec straight from its rules, with slots of 64 bytes and a linear search: what the
// quick one is measured against.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "remote/Lzw.h"

namespace tarnwick::testing {

class PlainDictionary {
  public:
    static constexpr int kLimit = 1023;
    static constexpr std::uint32_t kLongestCoded = 62;

    PlainDictionary() {
        for (int code = 0; code < 256; ++code) {
            entries_[code][0] = static_cast<std::uint8_t>(code);
            lengths_[code] = 1;
        }
    }

    // The first entry with these bytes, -1 when there is none.
    int Find(const std::uint8_t* string, std::uint32_t length) const {
        if (length > maxLength_) return -1;
        for (int code = firstIndexByLength_[length]; code < count_; ++code) {
            if (lengths_[code] == length && std::memcmp(entries_[code], string, length) == 0) {
                return code;
            }
        }
        return -1;
    }

    void Add(const std::uint8_t* string, std::uint32_t length) {
        if (count_ >= kLimit) return;
        if (maxLength_ < length) {
            maxLength_ = length;
            firstIndexByLength_[length] = count_;
        }
        lengths_[count_] = length;
        std::memcpy(entries_[count_], string, length);
        ++count_;
    }

    int Count() const { return count_; }
    const std::uint8_t* Entry(int code) const { return entries_[code]; }
    std::uint32_t Length(int code) const { return lengths_[code]; }

  private:
    std::uint8_t entries_[1024][64];
    std::uint32_t lengths_[1024]{};
    std::int16_t count_ = 256;
    std::int32_t firstIndexByLength_[64]{};
    std::uint32_t maxLength_ = 1;
};

inline std::uint8_t* PlainEmit(int code, std::uint8_t* output) {
    *output++ = static_cast<std::uint8_t>(code);
    *output++ = static_cast<std::uint8_t>(code >> 8);
    return output;
}

// Count of bytes written; `output` has room for two bytes for each byte of the input.
inline std::size_t PlainCompress(const std::uint8_t* input, std::size_t length,
                                 std::uint8_t* output) {
    PlainDictionary dictionary;
    std::uint8_t string[64];
    std::uint32_t stringLength = 0;
    std::uint8_t* out = output;
    for (std::size_t at = 0; at < length; ++at) {
        string[stringLength] = input[at];
        const int found = dictionary.Find(string, stringLength + 1);
        if (found >= 0 && stringLength < PlainDictionary::kLongestCoded) {
            ++stringLength;
            continue;
        }
        out = PlainEmit(dictionary.Find(string, stringLength), out);
        dictionary.Add(string, stringLength + 1);
        string[0] = input[at];
        stringLength = 1;
    }
    if (stringLength != 0) out = PlainEmit(dictionary.Find(string, stringLength), out);
    return static_cast<std::size_t>(out - output);
}

// Stops at what no compressor writes and at the end of the room.
inline LzwExpansion PlainExpand(const std::uint8_t* input, std::size_t length, std::uint8_t* output,
                                std::size_t room) {
    PlainDictionary dictionary;
    std::size_t written = 0;
    int previous = -1;
    for (std::size_t at = 0; at + 1 < length; at += 2) {
        const int code = input[at] | input[at + 1] << 8;
        if (code == 0xFFFF) return {written, LzwFault::LostString};
        const bool isNext = previous >= 0 && dictionary.Count() < PlainDictionary::kLimit;
        if (code >= dictionary.Count() + (isNext ? 1 : 0)) return {written, LzwFault::UnknownCode};
        if (previous >= 0) {
            std::uint8_t string[64];
            const std::uint32_t stringLength = dictionary.Length(previous);
            std::memcpy(string, dictionary.Entry(previous), stringLength);
            string[stringLength] = dictionary.Entry(code < dictionary.Count() ? code : previous)[0];
            dictionary.Add(string, stringLength + 1);
        }
        const std::size_t size = dictionary.Length(code);
        if (size > PlainDictionary::kLongestCoded) return {written, LzwFault::UnknownCode};
        if (size > room - written) return {written, LzwFault::NoRoom};
        std::memcpy(output + written, dictionary.Entry(code), size);
        written += size;
        previous = code;
    }
    return {written, LzwFault::None};
}

}  // namespace tarnwick::testing

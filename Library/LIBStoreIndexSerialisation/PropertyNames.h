// The property names of an index: which there are, how a tag tells one, and which sets of them its
// entries carry. A folder has few names and few sets, so each is kept once and shared.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/IdTable.h"
#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

namespace tarnwick {

// A name with the tags that the file holds.
class PropertyName {
  public:
    PropertyName(std::string_view name, std::uint32_t hash);

    // A
    std::string_view Text() const { return {tags_.data() + 1, length_}; }
    // <A>
    std::string_view StartTag() const { return {tags_.data(), length_ + 2}; }
    // </A>
    std::string_view EndTag() const { return {tags_.data() + length_ + 2, length_ + 3}; }

    // Of the name, by its index's table.
    std::uint32_t Hash() const { return hash_; }
    // In byte order.
    bool Precedes(const PropertyName& other) const {
        return start_ != other.start_ ? start_ < other.start_ : Text() < other.Text();
    }

    // Whether the name and ">" fit into a lane; then HasTags tells whether its start tag is at
    // `start` and its end tag at `end`, where a "<" is known to stand.
    bool IsShort() const { return length_ < kLane; }
    bool HasTags(const char* start, const char* end) const {
        const __m128i closing = LoadLane(StartTag().data() + 1);
        const __m128i same = _mm_and_si128(_mm_cmpeq_epi8(LoadLane(start + 1), closing),
                                           _mm_cmpeq_epi8(LoadLane(end + 2), closing));
        return (BitsOf(same) | ignored_) == (1U << kLane) - 1 && *start == '<' && end[1] == '/';
    }

  private:
    std::size_t length_;
    std::uint32_t hash_;
    std::uint64_t start_ = 0;  // the first eight bytes, ordered as they are
    unsigned ignored_;         // bits of a lane behind a short name and ">"
    std::string tags_;         // both, and kSlack bytes
};

// Names in ascending byte order, each once.
class PropertyNameSet {
  public:
    explicit PropertyNameSet(std::span<const PropertyName* const> names) : names_(names) {}
    std::size_t Count() const { return names_.size(); }
    const PropertyName& operator[](std::size_t index) const { return *names_[index]; }
    std::string_view Name(std::size_t index) const { return names_[index]->Text(); }
    bool Holds(std::span<const PropertyName* const> names) const {
        if (names.size() != names_.size()) return false;
        for (std::size_t at = 0; at < names.size(); ++at) {
            if (names[at] != names_[at]) return false;
        }
        return true;
    }

  private:
    std::span<const PropertyName* const> names_;
};

// What it hands out lives until Clear.
class PropertyNames {
  public:
    // The name, which is known from then on.
    const PropertyName& Learn(std::string_view name);

    // The known name whose start tag, of `length` bytes, is at `start` and whose end tag is at
    // `end`; both have kSlack bytes behind them. Null when there is none, and for names that are
    // long or hard to tell from others.
    const PropertyName* Recognise(const char* start, const char* end, std::size_t length) const {
        if (length < 3 || length > kLane + 1) return nullptr;
        const std::size_t first = QuickPlace(start, length);
        for (std::size_t at = first; at < first + kProbes; ++at) {
            const PropertyName* const name = quick_[at % kQuick];
            if (name == nullptr) return nullptr;
            if (name->HasTags(start, end) && name->StartTag().size() == length) return name;
        }
        return nullptr;
    }

    // The set of these names; null when they do not stand in ascending order, each once.
    const PropertyNameSet* SetOf(std::span<const PropertyName* const> names);

    void Clear();

  private:
    static constexpr std::size_t kQuick = 128;
    static constexpr std::size_t kProbes = 4;

    // Where to look for the name of a start tag: by its length, its first and its last byte.
    static std::size_t QuickPlace(const char* tag, std::size_t length) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(tag[at]); };
        return byte(1) + byte(length - 2) + length * 3;
    }

    void MakeQuick(const PropertyName& name);

    std::map<std::string, PropertyName, std::less<>> names_;
    std::array<const PropertyName*, kQuick> quick_{};  // places modulo its size
    IndexArena arena_;                                 // what the sets hold
    std::deque<PropertyNameSet> sets_;
    IdTable table_;  // numbers are places in sets_
};

}  // namespace tarnwick

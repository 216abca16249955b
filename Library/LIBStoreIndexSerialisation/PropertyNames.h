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

#include "Library/LIBStoreIndexSerialisation/ByteLanes.h"
#include "Library/LIBStoreIndexSerialisation/IdTable.h"
#include "Library/LIBStoreIndexSerialisation/IndexArena.h"

namespace tarnwick {

// A name with the tags that the file holds.
class PropertyName {
  public:
    explicit PropertyName(std::string_view name);

    // A
    std::string_view Text() const { return {tags_.data() + 1, length_}; }
    // <A>
    std::string_view StartTag() const { return {tags_.data(), length_ + 2}; }
    // </A>
    std::string_view EndTag() const { return {tags_.data() + length_ + 2, length_ + 3}; }

  private:
    std::size_t length_;
    std::string tags_;  // both, and kSlack bytes
};

// Names in ascending byte order, each once.
class PropertyNameSet {
  public:
    explicit PropertyNameSet(std::span<const PropertyName* const> names) : names_(names) {}
    std::size_t Count() const { return names_.size(); }
    const PropertyName& operator[](std::size_t index) const { return *names_[index]; }
    std::string_view Name(std::size_t index) const { return names_[index]->Text(); }
    bool Holds(std::span<const PropertyName* const> names) const {
        return std::ranges::equal(names_, names);
    }

  private:
    std::span<const PropertyName* const> names_;
};

// What it hands out lives until Clear.
class PropertyNames {
  public:
    // The name, which is known from then on.
    const PropertyName& Learn(std::string_view name);

    // The known name with this start tag, which has kSlack bytes behind it. Null when there is
    // none, and for names that are hard to tell from others.
    const PropertyName* Recognise(std::string_view tag) const {
        const std::size_t first = QuickPlace(tag);
        for (std::size_t at = first; at < first + kProbes; ++at) {
            const PropertyName* const name = quick_[at % kQuick];
            if (name == nullptr || HoldsTag(tag.data(), name->StartTag())) return name;
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
    static std::size_t QuickPlace(std::string_view tag) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(tag[at]); };
        return byte(1) + byte(tag.size() - 2) + tag.size() * 3;
    }

    void MakeQuick(const PropertyName& name);

    std::map<std::string, PropertyName, std::less<>> names_;
    std::array<const PropertyName*, kQuick> quick_{};  // places modulo its size
    IndexArena arena_;                                 // what the sets hold
    std::deque<PropertyNameSet> sets_;
    IdTable table_;                          // numbers are places in sets_
    const PropertyNameSet* last_ = nullptr;  // that was asked for
};

}  // namespace tarnwick

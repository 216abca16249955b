// The property names of an index: which there are, how a tag tells one, and which sets of them its
// entries carry. A folder has few names and few sets, so each is kept once and shared.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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
    std::span<const PropertyName* const> Names() const { return names_; }

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
    const PropertyNameSet& KeptSet(std::span<const PropertyName* const> names);

    struct ByText {
        using is_transparent = void;
        static std::string_view Text(const PropertyName& name) { return name.Text(); }
        static std::string_view Text(std::string_view name) { return name; }
        template <typename Left, typename Right>
        bool operator()(const Left& left, const Right& right) const {
            return Text(left) < Text(right);
        }
    };

    std::set<PropertyName, ByText> names_;
    std::array<const PropertyName*, kQuick> quick_{};  // places modulo its size
    IndexArena arena_;
    IdTable table_;  // numbers are places in sets_
    std::vector<const PropertyNameSet*> sets_;
    const PropertyNameSet* last_ = nullptr;  // that was asked for
};

}  // namespace tarnwick

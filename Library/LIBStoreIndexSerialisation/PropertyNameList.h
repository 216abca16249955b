// The property names of index entries. Entries of one folder carry few different sets of names, so
// each set is kept once and shared, rendered as the tags that the file holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tarnwick {

// Names in ascending byte order, each once. The text is "<A></A><B></B>" for the names A and B.
class PropertyNameList {
  public:
    std::size_t Count() const { return places_.size(); }
    // A
    std::string_view Name(std::size_t index) const {
        return {text_.data() + places_[index].start + 1, places_[index].nameLength};
    }
    // <A>
    std::string_view StartTag(std::size_t index) const {
        return {text_.data() + places_[index].start, std::size_t{places_[index].nameLength} + 2};
    }
    // </A>
    std::string_view EndTag(std::size_t index) const {
        const std::string_view start = StartTag(index);
        return {start.data() + start.size(), start.size() + 1};
    }
    // </A>, and the start tag that follows it, if one does.
    std::string_view EndTagAndNext(std::size_t index) const {
        const std::string_view end = EndTag(index);
        const bool isLast = index + 1 == places_.size();
        return {end.data(), end.size() + (isLast ? 0 : StartTag(index + 1).size())};
    }
    std::string_view Text() const { return text_; }

    // Puts a name behind those that are there; the caller keeps the order.
    void Append(std::string_view name);
    // The first `count` names of another list.
    void AssignFirst(const PropertyNameList& other, std::size_t count);
    void Clear();

  private:
    struct Place {
        std::uint32_t start;
        std::uint32_t nameLength;
    };

    std::string text_;
    std::vector<Place> places_;
};

// One list for each set of names that was asked for.
class PropertyNameLists {
  public:
    // The kept list equal to `names`; it lives until Clear.
    const PropertyNameList* Keep(const PropertyNameList& names);
    void Clear() { lists_.clear(); }

  private:
    std::unordered_map<std::string, PropertyNameList> lists_;
};

}  // namespace tarnwick

// An entry while it is put together, before a StoreIndex takes it over.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"
#include "Library/LIBStoreIndexSerialisation/PropertyNames.h"
#include "Library/LIBStoreIndexSerialisation/TextMarks.h"

namespace tarnwick {

// Used again and again, so that its buffers are allocated once. Properties may come in any order;
// of two with the same name the later one counts.
class IndexEntryDraft {
  public:
    // A fresh entry for the index that `names` are those of.
    void Begin(PropertyNames& names);

    void SetId(std::string_view id);
    void SetUid(std::uint32_t uid) { uid_ = uid, hasUid_ = true; }
    void SetExtent(std::uint32_t offset, std::uint32_t length) {
        itemOffset_ = offset, itemLength_ = length;
    }
    void SetProperty(std::string_view name, std::string_view value);
    // The same for a value as it stands in the file.
    void SetEscapedProperty(std::string_view name, std::string_view escaped);

    // Takes the properties that `text` begins with, as long as they are whole, look as a save
    // writes them and have names that the index knows. How many marks lie before what is left.
    std::size_t TakeWrittenProperties(const MarkedText& text);

    // Length of the start tag that the entry would be written with (IndexFormat.h).
    std::size_t StartTagLength() const;

  private:
    friend class StoreIndex;

    void EndValue(const PropertyName& name, std::size_t end) {
        if (count_ == names_.size()) MakeRoom();
        names_[count_] = &name;
        ends_[count_++] = static_cast<std::uint32_t>(end);
    }
    void MakeRoom();
    std::string_view Id() const { return texts_.View().substr(0, idLength_); }
    std::string_view Value(std::size_t index) const;
    std::span<const PropertyName* const> Names() const { return {names_.data(), count_}; }
    // What the entry's block takes: the ends, then the texts.
    std::size_t EndsSize() const { return count_ * sizeof(std::uint32_t); }
    std::string_view Ends() const {
        return {reinterpret_cast<const char*>(ends_.data()), EndsSize()};
    }
    std::size_t BlockSize() const { return EndsSize() + texts_.Size(); }
    void SortNames();
    // The kept set of names; the values are then in its order.
    const PropertyNameSet* Finish();

    std::uint32_t uid_ = 0;
    bool hasUid_ = false;
    std::uint32_t itemOffset_ = 0;
    std::uint32_t itemLength_ = 0;
    PropertyNames* known_ = nullptr;
    // Of the properties in order of arrival, with room for more: a name, and where its value ends.
    std::size_t count_ = 0;
    std::vector<const PropertyName*> names_;
    std::vector<std::uint32_t> ends_;
    ByteBuffer texts_;  // the ID, then the values
    std::size_t idLength_ = 0;
};

}  // namespace tarnwick

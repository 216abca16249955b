// An entry while it is put together, before a StoreIndex takes it over.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/ByteBuffer.h"
#include "Library/LIBStoreIndexSerialisation/PropertyNames.h"

namespace tarnwick {

// Used again and again, so that its buffers are allocated once. Properties may come in any order;
// of two with the same name the later one counts.
class IndexEntryDraft {
  public:
    // A fresh entry for the index that `names` are those of.
    void Begin(PropertyNames& names);

    void SetId(std::string_view id) { id_ = id; }
    void SetUid(std::uint32_t uid) { uid_ = uid, hasUid_ = true; }
    void SetExtent(std::uint32_t offset, std::uint32_t length) {
        itemOffset_ = offset, itemLength_ = length;
    }
    void SetProperty(std::string_view name, std::string_view value);
    // The same for a value as it stands in the file.
    void SetEscapedProperty(std::string_view name, std::string_view escaped);

    // Takes a property as a save writes it off the front of `text`, which has kSlack bytes behind
    // it; false, with nothing taken, when there is none with a name that the index knows.
    bool TakeWrittenProperty(std::string_view& text);

    // Length of the start tag that the entry would be written with (IndexFormat.h).
    std::size_t StartTagLength() const;

  private:
    friend class StoreIndex;

    void EndValue(const PropertyName& name) {
        names_.push_back(&name);
        ends_.push_back(static_cast<std::uint32_t>(values_.Size()));
    }
    std::string_view Value(std::size_t index) const;
    // What the values take in an entry's block, with the ID and an end each.
    std::size_t BlockSize() const {
        return ends_.size() * sizeof(std::uint32_t) + id_.size() + values_.Size();
    }
    void SortNames();
    // The kept set of names; the values are then in its order.
    const PropertyNameSet* Finish();

    std::string id_;
    std::uint32_t uid_ = 0;
    bool hasUid_ = false;
    std::uint32_t itemOffset_ = 0;
    std::uint32_t itemLength_ = 0;
    PropertyNames* known_ = nullptr;
    // Of the properties in order of arrival; an end is that of the value.
    std::vector<const PropertyName*> names_;
    std::vector<std::uint32_t> ends_;
    ByteBuffer values_;
};

}  // namespace tarnwick

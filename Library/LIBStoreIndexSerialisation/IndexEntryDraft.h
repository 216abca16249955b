// An entry while it is put together, before a StoreIndex takes it over.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/ByteBuffer.h"
#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "Library/LIBStoreIndexSerialisation/PropertyNameList.h"

namespace tarnwick {

class IndexItemPropertyContainer;

// Used again and again, so that its buffers are allocated once. Properties may come in any order;
// of two with the same name the later one counts. Entries usually carry the names of the one
// before, in order: a draft expects these and then has only their values to keep.
class IndexEntryDraft {
  public:
    // A fresh entry whose names are expected to be those of `expected` (which may be null).
    void Begin(const PropertyNameList* expected);

    void SetId(std::string_view id) { id_ = id; }
    void SetUid(std::uint32_t uid) { uid_ = uid, hasUid_ = true; }
    void SetExtent(std::uint32_t offset, std::uint32_t length) {
        itemOffset_ = offset, itemLength_ = length;
    }
    void SetProperty(std::string_view name, std::string_view value);
    // The same for a value as it stands in the file.
    void SetEscapedProperty(std::string_view name, std::string_view escaped);

    // The list to expect next and its index, or null when the names so far are others.
    const PropertyNameList* Expected() const { return expected_; }
    std::size_t ExpectedIndex() const { return ends_.size(); }
    // Takes the value of the expected property; the second as it stands in the file.
    void SetExpected(std::string_view value) {
        values_.Append(value);
        EndValue();
    }
    void SetEscapedExpected(std::string_view escaped) {
        AppendUnescaped(values_, escaped);
        EndValue();
    }

    // Length of the start tag that the entry would be written with (IndexFormat.h).
    std::size_t StartTagLength() const;

  private:
    friend class StoreIndex;

    void BeginValue(std::string_view name);
    void EndValue() { ends_.push_back(static_cast<std::uint32_t>(values_.Size())); }
    std::string_view Value(std::size_t index) const;
    // What the values take in an entry's block, with the ID and an end each.
    std::size_t BlockSize() const {
        return ends_.size() * sizeof(std::uint32_t) + id_.size() + values_.Size();
    }
    void SortNames();
    // The kept list of names; the values are then in its order.
    const PropertyNameList* Finish(PropertyNameLists& lists);

    std::string id_;
    std::uint32_t uid_ = 0;
    bool hasUid_ = false;
    std::uint32_t itemOffset_ = 0;
    std::uint32_t itemLength_ = 0;
    const PropertyNameList* expected_ = nullptr;
    PropertyNameList names_;  // in order of arrival, once they are not the expected ones
    bool ascending_ = true;
    ByteBuffer values_;
    std::vector<std::uint32_t> ends_;
};

}  // namespace tarnwick

// One entry of a store index: a message file's name, its identifier in the folder, and the header
// fields that a folder listing shows; and entries in an order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/PropertyNames.h"

namespace tarnwick {

// Owned by a StoreIndex, which alone changes it. Texts that it hands out hold until the entry
// changes or the index is emptied.
class IndexItemPropertyContainer {
  public:
    // The message file's name within the folder: the entry's key.
    std::string_view Id() const { return Text(0, idLength_); }
    // The identifier within the folder; an entry read without one has 0.
    std::uint32_t Uid() const { return uid_; }
    bool HasUid() const { return hasUid_; }

    // IDX: position in the file as read, from 1. Entries added since follow on.
    std::uint32_t Idx() const { return idx_; }
    // SEQ: position in UID order as read, from 1, live entries alone. Entries added since follow
    // on.
    std::uint32_t Seq() const { return seq_; }

    // Where the entry's "<ELEMENT" stands in the file (0: not in the file yet), and its length
    // through the end of "</ELEMENT>".
    std::uint32_t ItemOffset() const { return itemOffset_; }
    std::uint32_t ItemLength() const { return itemLength_; }

    bool IsRemoved() const { return removed_; }

    // Properties in ascending order of their names.
    std::size_t PropertyCount() const { return names_->Count(); }
    const PropertyNameSet& Names() const { return *names_; }
    std::string_view Value(std::size_t index) const {
        return Text(index == 0 ? idLength_ : End(index - 1), End(index));
    }
    // The value of the property with this name, if the entry has it.
    std::optional<std::string_view> Property(std::string_view name) const {
        std::size_t low = 0;
        std::size_t high = names_->Count();
        while (low < high) {
            const std::size_t middle = low + (high - low) / 2;
            const int order = names_->Name(middle).compare(name);
            if (order == 0) return Value(middle);
            if (order < 0) {
                low = middle + 1;
            } else {
                high = middle;
            }
        }
        return std::nullopt;
    }

  private:
    friend class StoreIndex;

    // The block holds one 32-bit end a value, then the ID, then the values; ends count from the ID.
    std::uint32_t End(std::size_t index) const {
        std::uint32_t end = 0;
        std::memcpy(&end, block_ + index * sizeof end, sizeof end);
        return end;
    }
    std::string_view Text(std::size_t start, std::size_t end) const {
        return {block_ + names_->Count() * sizeof(std::uint32_t) + start, end - start};
    }

    const PropertyNameSet* names_ = nullptr;
    const char* block_ = nullptr;
    std::uint32_t idLength_ = 0;
    std::uint32_t uid_ = 0;
    std::uint32_t idx_ = 0;
    std::uint32_t seq_ = 0;
    std::uint32_t itemOffset_ = 0;
    std::uint32_t itemLength_ = 0;
    bool hasUid_ = false;
    bool removed_ = false;
    bool changed_ = false;  // added, or its properties changed, since the load or the last save
};

// The entries of an index in one of its orders, without those that were removed.
class LiveEntries {
  public:
    using Entry = IndexItemPropertyContainer;
    using Order = std::vector<Entry*>;

    class Iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = Entry*;
        using reference = Entry&;

        Iterator() = default;
        Iterator(Order::const_iterator at, Order::const_iterator end) : at_(at), end_(end) {
            SkipRemoved();
        }
        Entry& operator*() const { return **at_; }
        Entry* operator->() const { return *at_; }
        Iterator& operator++() {
            ++at_;
            SkipRemoved();
            return *this;
        }
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator& other) const { return at_ == other.at_; }

      private:
        void SkipRemoved() {
            while (at_ != end_ && (*at_)->IsRemoved()) ++at_;
        }

        Order::const_iterator at_;
        Order::const_iterator end_;
    };

    // The live ones of `order` from its place `first` on.
    LiveEntries(const Order& order, std::size_t first) : order_(&order), first_(first) {}

    Iterator begin() const {
        return {order_->begin() + static_cast<std::ptrdiff_t>(first_), order_->end()};
    }
    Iterator end() const { return {order_->end(), order_->end()}; }

  private:
    const Order* order_;
    std::size_t first_;
};

}  // namespace tarnwick

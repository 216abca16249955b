// The entries of an index in one of its orders, without those that were removed.
#pragma once

#include <cstddef>
#include <iterator>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/IndexItemPropertyContainer.h"

namespace tarnwick {

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

// Finds a number by a text, as an entry by its ID: a hash table of eight bytes a slot, as little as
// a look-up needs.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tarnwick {

class IdTable {
  public:
    IdTable();

    // Differs from table to table, so that nobody can choose IDs that all fall on one slot.
    std::uint32_t Hash(std::string_view id) const;

    // The number with this hash that `matches` (a call with the number) takes, if there is one.
    template <typename Matches>
    std::optional<std::uint32_t> Find(std::uint32_t hash, Matches matches) const {
        if (slots_.empty()) return std::nullopt;
        for (std::size_t at = hash & mask_; slots_[at].number != kFree; at = (at + 1) & mask_) {
            const Slot& slot = slots_[at];
            if (slot.hash == hash && slot.number != kRemoved && matches(slot.number)) {
                return slot.number;
            }
        }
        return std::nullopt;
    }

    // Room for one more number; may run out of memory, and then changes nothing.
    void MakeRoom() {
        if ((used_ + 1) * 2 > slots_.size()) Rebuild();
    }
    // Adds a number, below 2^32 - 2, that is not in the table; needs the room.
    void Add(std::uint32_t hash, std::uint32_t number);
    void Remove(std::uint32_t hash, std::uint32_t number);
    // Takes all numbers out; the room stays.
    void Empty();
    void Clear();

  private:
    struct Slot {
        std::uint32_t hash;
        std::uint32_t number;
    };
    static constexpr std::uint32_t kFree = ~std::uint32_t{0};
    static constexpr std::uint32_t kRemoved = kFree - 1;

    void Place(Slot slot);
    void Rebuild();

    std::uint64_t seed_;
    std::vector<Slot> slots_;
    std::size_t mask_ = 0;
    std::size_t live_ = 0;
    std::size_t used_ = 0;  // live and removed
};

}  // namespace tarnwick

#include "Library/LIBStoreIndexSerialisation/IdTable.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace tarnwick {
namespace {

constexpr std::size_t kLeastSlots = 1024;
constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;

std::uint64_t Mix(std::uint64_t state, std::uint64_t word) {
    state = (state ^ word) * kMultiplier;
    return state ^ (state >> 29);
}

template <typename Word>
std::uint64_t Load(const char* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// All of a text of up to eight bytes, by loads that overlap.
std::uint64_t ShortWord(const char* bytes, std::size_t size) {
    if (size >= 4) {
        return Load<std::uint32_t>(bytes) | Load<std::uint32_t>(bytes + size - 4) << 32;
    }
    if (size == 0) return 0;
    return Load<std::uint8_t>(bytes) | Load<std::uint8_t>(bytes + size / 2) << 8 |
           Load<std::uint8_t>(bytes + size - 1) << 16;
}

std::uint64_t FreshSeed(const void* table) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    return Mix(static_cast<std::uint64_t>(now), reinterpret_cast<std::uintptr_t>(table));
}

}  // namespace

IdTable::IdTable() : seed_(FreshSeed(this)) {}

std::uint32_t IdTable::Hash(std::string_view id) const {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    std::uint64_t state = Mix(seed_, id.size());
    for (; id.size() > kWord; id.remove_prefix(kWord)) {
        state = Mix(state, Load<std::uint64_t>(id.data()));
    }
    return static_cast<std::uint32_t>(Mix(state, ShortWord(id.data(), id.size())) >> 16);
}

void IdTable::Place(Slot slot) {
    std::size_t at = slot.hash & mask_;
    while (slots_[at].number != kFree) at = (at + 1) & mask_;
    slots_[at] = slot;
}

// Doubles the table, or only sweeps removed numbers out when these fill it.
void IdTable::Rebuild() {
    std::size_t size = kLeastSlots;
    while (size < live_ * 4) size *= 2;
    const std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(size, {0, kFree}));
    mask_ = size - 1;
    used_ = live_;
    for (const Slot& slot : old) {
        if (slot.number != kFree && slot.number != kRemoved) Place(slot);
    }
}

void IdTable::Add(std::uint32_t hash, std::uint32_t number) {
    Place({hash, number});
    ++live_;
    ++used_;
}

void IdTable::Remove(std::uint32_t hash, std::uint32_t number) {
    for (std::size_t at = hash & mask_; slots_[at].number != kFree; at = (at + 1) & mask_) {
        if (slots_[at].number != number) continue;
        slots_[at].number = kRemoved;
        --live_;
        return;
    }
}

void IdTable::Empty() {
    std::fill(slots_.begin(), slots_.end(), Slot{0, kFree});
    live_ = used_ = 0;
}

void IdTable::Clear() {
    slots_.clear();
    mask_ = live_ = used_ = 0;
}

}  // namespace tarnwick

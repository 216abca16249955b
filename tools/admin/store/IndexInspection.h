// What is wrong with the bytes of an index. docs/index-file.md has the format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"
#include "tools/admin/store/Problem.h"

namespace tarnwick::admin {

struct ByteProblem {
    Problem problem;
    std::uint64_t offset;
    std::string detail = {};
};

// Looks at one index after another; what it says of one holds until the next. While it looks the
// process's reports go nowhere, so it is for one thread at a time.
class IndexInspection {
  public:
    // Blanked entries from `garbageThreshold` on are a problem.
    void Run(std::string_view bytes, std::uint32_t garbageThreshold);

    const std::vector<ByteProblem>& Problems() const { return problems_; }
    // Whether the index loads; what was read of one that does not is held all the same.
    bool Loads() const { return loads_; }
    const StoreIndex& Index() const { return index_; }
    StoreIndex TakeIndex() { return std::move(index_); }

  private:
    std::optional<std::string> MalformationOf(std::string_view bytes);
    std::uint64_t PlaceOfMalformation(std::string_view bytes, const std::string& malformation);
    void LookBetweenEntries(std::string_view bytes);
    void LookAtGap(std::string_view gap, std::uint64_t offset);
    void LookAtLastUid();
    void Add(Problem problem, std::uint64_t offset, std::string detail);

    std::vector<ByteProblem> problems_;
    StoreIndex index_;
    bool loads_ = false;
    std::size_t blanked_ = 0;
    std::uint64_t firstBlanked_ = 0;
};

}  // namespace tarnwick::admin

// Memory that runs short on demand: a program that links failing_allocations has its operator new
// replaced. Only the calling thread's allocations count.
#pragma once

#include <initializer_list>

namespace tarnwick::testing {

// While it lives, the allocation with this number (from 1) throws std::bad_alloc, and so do all
// behind it when `andAllAfter` is set. One at a time.
class FailingAllocations {
  public:
    FailingAllocations(int number, bool andAllAfter);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    // Whether any has failed so far.
    static bool Any();
    // How many blocks of memory there are, at any time.
    static int Held();
};

// Calls `attempt(number, andAllAfter)`, which gives whether an allocation failed, for each number
// until none does: first with that one alone failing, then with all from it on. Gives how many
// allocations there were to fail.
template <typename Attempt>
int FailEachAllocation(Attempt attempt) {
    int count = 0;
    for (const bool andAllAfter : {false, true}) {
        for (count = 0; attempt(count + 1, andAllAfter);) ++count;
    }
    return count;
}

}  // namespace tarnwick::testing

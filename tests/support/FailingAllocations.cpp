#include "tests/support/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int allocationsLeft = 0;  // up to the failing one; 0: none fails
thread_local bool allFailAfter = false;
thread_local bool anyFailed = false;

bool FailsNow() {
    if (allocationsLeft > 0 && --allocationsLeft == 0) {
        anyFailed = true;
        return true;
    }
    return anyFailed && allFailAfter;
}

}  // namespace

void* operator new(std::size_t size) {
    if (!FailsNow()) {
        if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace tarnwick::testing {

FailingAllocations::FailingAllocations(int number, bool andAllAfter) {
    allocationsLeft = number;
    allFailAfter = andAllAfter;
    anyFailed = false;
}

FailingAllocations::~FailingAllocations() {
    allocationsLeft = 0;
    allFailAfter = false;
}

bool FailingAllocations::Any() {
    return anyFailed;
}

}  // namespace tarnwick::testing

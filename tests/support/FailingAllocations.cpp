#include "tests/support/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int allocationsLeft = 0;  // up to the failing one; 0: none fails
thread_local bool allFailAfter = false;
thread_local bool anyFailed = false;
thread_local int held = 0;

bool FailsNow() {
    if (allocationsLeft > 0 && --allocationsLeft == 0) {
        anyFailed = true;
        return true;
    }
    return anyFailed && allFailAfter;
}

void Free(void* memory) {
    if (memory != nullptr) --held;
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
    if (!FailsNow()) {
        void* const memory = std::malloc(size == 0 ? 1 : size);
        if (memory != nullptr) return ++held, memory;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    Free(memory);
}
void operator delete[](void* memory) noexcept {
    Free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    Free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    Free(memory);
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

int FailingAllocations::Held() {
    return held;
}

}  // namespace tarnwick::testing

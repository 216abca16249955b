// A lock for process-wide state of the library.
#pragma once

#include "common/WindowsApi.h"

namespace tarnwick {

// Exclusive, not recursive; for std::lock_guard. Ready before any constructor runs and nothing to
// release at the end, so that it may guard statics of a library that is loaded and unloaded freely.
class StaticLock {
  public:
    constexpr StaticLock() = default;
    StaticLock(const StaticLock&) = delete;
    StaticLock& operator=(const StaticLock&) = delete;

    void lock() { AcquireSRWLockExclusive(&native_); }
    void unlock() { ReleaseSRWLockExclusive(&native_); }

  private:
    SRWLOCK native_ = SRWLOCK_INIT;
};

}  // namespace tarnwick

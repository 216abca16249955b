// Scoped ownership of a named mutex, which serialises the threads and processes of one machine.
#pragma once

#include <stdexcept>
#include <string>

#include "common/Handle.h"

namespace tarnwick {

// The library's exception: a text, and where in the library it was thrown.
class LibraryException : public std::runtime_error {
  public:
    LibraryException(const std::string& text, const char* source, int line)
        : std::runtime_error(text), source_(source), line_(line) {}
    const char* Source() const { return source_; }
    int Line() const { return line_; }

  private:
    const char* source_;
    int line_;
};

// Locks in its constructor or throws a LibraryException: when the time-out (milliseconds, INFINITE
// for none) passed, when an owner ended without releasing the mutex, or when the wait failed. A
// lock without a mutex (null) does nothing and counts as locked. The mutex is the caller's; it must
// outlive the lock, on the same thread.
class xMutexLock {
  public:
    xMutexLock(HANDLE mutex, DWORD timeoutMilliseconds);
    ~xMutexLock();
    xMutexLock(const xMutexLock&) = delete;
    xMutexLock& operator=(const xMutexLock&) = delete;

  private:
    HANDLE mutex_;
};

// The same without exceptions: IsLocked tells whether it got the mutex. One that its owner
// abandoned counts as got, since the wait gives its ownership.
class MutexLock {
  public:
    MutexLock(HANDLE mutex, DWORD timeoutMilliseconds) noexcept;
    ~MutexLock();
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    bool IsLocked() const { return locked_; }

  private:
    HANDLE mutex_;
    bool locked_;
};

}  // namespace tarnwick

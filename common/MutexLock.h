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

// Name of the mutex of a store folder: the same in every process and session of the machine for
// every spelling of its full path that differs in case (of the system code page) or separators
// alone. A short name, or another drive letter for the same place, gives another mutex.
std::string FolderMutexName(const std::string& folder);

// Creates or opens a folder's mutex; invalid, with a line in the trace, when the system refuses
// both. A lock then counts as locked, and other processes are kept out by nothing.
ObjectHandle OpenFolderMutex(const std::string& folder);

}  // namespace tarnwick

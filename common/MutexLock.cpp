#include "common/MutexLock.h"

#include <cstdint>
#include <cstdio>

#include "common/CallObserver.h"

namespace tarnwick {
namespace {

constexpr const char* kSource = "xMutexLock";

// Where each failure is reported to have happened: the lines that reports have always named, which
// are not those of this file.
constexpr int kTimedOutLine = 71;
constexpr int kAbandonedLine = 78;
constexpr int kFailedLine = 86;

DWORD WaitForMutex(HANDLE mutex, DWORD timeoutMilliseconds) {
    if (!CallAllowed("WaitForSingleObject")) return WAIT_FAILED;
    return WaitForSingleObject(mutex, timeoutMilliseconds);
}

std::string HandleText(HANDLE handle) {
    char text[2 + 2 * sizeof(handle) + 1];
    std::snprintf(text, sizeof text, "0x%llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)));
    return text;
}

}  // namespace

xMutexLock::xMutexLock(HANDLE mutex, DWORD timeoutMilliseconds) : mutex_(mutex) {
    // Where the system gives no mutex a folder is still to be opened.
    if (mutex == nullptr) return;
    const DWORD result = WaitForMutex(mutex, timeoutMilliseconds);
    if (result == WAIT_OBJECT_0) return;
    const std::string name = HandleText(mutex);
    if (result == WAIT_TIMEOUT) {
        throw LibraryException("Failed to lock mutex " + name + ": request timed out", kSource,
                               kTimedOutLine);
    }
    if (result == WAIT_ABANDONED) {
        // The wait made this thread the owner. No destructor will run for a lock that throws, so
        // the mutex is given back here: the next one that locks it finds it free.
        ReleaseMutex(mutex);
        throw LibraryException("Mutex " + name + " was abandoned by another thread", kSource,
                               kAbandonedLine);
    }
    const DWORD error = GetLastError();
    throw LibraryException("Failed to lock mutex " + name + " with error " + std::to_string(error),
                           kSource, kFailedLine);
}

xMutexLock::~xMutexLock() {
    if (mutex_ != nullptr) ReleaseMutex(mutex_);
}

MutexLock::MutexLock(HANDLE mutex, DWORD timeoutMilliseconds) noexcept
    : mutex_(mutex), locked_(true) {
    if (mutex == nullptr) return;
    const DWORD result = WaitForMutex(mutex, timeoutMilliseconds);
    locked_ = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

MutexLock::~MutexLock() {
    if (mutex_ != nullptr && locked_) ReleaseMutex(mutex_);
}

}  // namespace tarnwick

// Ownership of operating-system handles.
#pragma once

#include <utility>

#include "common/WindowsApi.h"

namespace tarnwick {

// Owns one handle of the kind that `Traits` describes: a type Native, a value Invalid() and a
// Close(Native) that gives whether it closed. Closing keeps the thread's last error, so that the
// error of the call before it is still there to be read.
template <typename Traits>
class UniqueHandle {
  public:
    using Native = typename Traits::Native;

    UniqueHandle() = default;
    explicit UniqueHandle(Native native) : native_(native) {}
    UniqueHandle(UniqueHandle&& other) noexcept : native_(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            Close();
            native_ = other.Release();
        }
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { Close(); }

    bool IsValid() const { return native_ != Traits::Invalid(); }
    Native Get() const { return native_; }

    // Gives the handle up without closing it.
    Native Release() { return std::exchange(native_, Traits::Invalid()); }

    // Closes the handle now. True when it was closed; also when there was none.
    bool Close() {
        if (!IsValid()) return true;
        const DWORD lastError = GetLastError();
        const bool closed = Traits::Close(Release());
        if (closed) SetLastError(lastError);
        return closed;
    }

  private:
    Native native_ = Traits::Invalid();
};

struct FileHandleTraits {
    using Native = HANDLE;
    static Native Invalid() { return INVALID_HANDLE_VALUE; }
    static bool Close(Native native) { return CloseHandle(native) != FALSE; }
};

// Events, mutexes, threads, processes: kernel objects whose missing handle is null.
struct ObjectHandleTraits {
    using Native = HANDLE;
    static Native Invalid() { return nullptr; }
    static bool Close(Native native) { return CloseHandle(native) != FALSE; }
};

struct SearchHandleTraits {
    using Native = HANDLE;
    static Native Invalid() { return INVALID_HANDLE_VALUE; }
    static bool Close(Native native) { return FindClose(native) != FALSE; }
};

struct RegistryKeyTraits {
    using Native = HKEY;
    static Native Invalid() { return nullptr; }
    static bool Close(Native native) { return RegCloseKey(native) == ERROR_SUCCESS; }
};

struct ModuleHandleTraits {
    using Native = HMODULE;
    static Native Invalid() { return nullptr; }
    static bool Close(Native native) { return FreeLibrary(native) != FALSE; }
};

using FileHandle = UniqueHandle<FileHandleTraits>;
using ObjectHandle = UniqueHandle<ObjectHandleTraits>;
using SearchHandle = UniqueHandle<SearchHandleTraits>;
using RegistryKey = UniqueHandle<RegistryKeyTraits>;
using ModuleHandle = UniqueHandle<ModuleHandleTraits>;

}  // namespace tarnwick

#include "Library/FolderMutex.h"

#include <cstdint>
#include <cstdio>

#include "common/CallObserver.h"
#include "common/Reports.h"

namespace tarnwick {
namespace {

// 64-bit FNV-1a. Two folders with one hash share a mutex, which costs waiting but breaks nothing: a
// thread may own a mutex several times.
std::uint64_t HashOf(const std::string& text) {
    constexpr std::uint64_t kOffsetBasis = 0xcbf29ce484222325;
    constexpr std::uint64_t kPrime = 0x100000001b3;
    std::uint64_t hash = kOffsetBasis;
    for (const char character : text) {
        hash = (hash ^ static_cast<unsigned char>(character)) * kPrime;
    }
    return hash;
}

std::string FullPath(const std::string& path) {
    const DWORD size = GetFullPathNameA(path.c_str(), 0, nullptr, nullptr);
    std::string full(size, '\0');
    const DWORD length = GetFullPathNameA(path.c_str(), size, full.data(), nullptr);
    if (length == 0 || length >= size) return path;
    full.resize(length);
    return full;
}

// Lower case, one backslash between components, none at the end.
std::string Normalised(const std::string& path) {
    std::string normalised;
    for (const char character : path) {
        const bool separator = character == '\\' || character == '/';
        if (separator && normalised.size() > 1 && normalised.back() == '\\') continue;
        normalised += separator ? '\\' : character;
    }
    while (!normalised.empty() && normalised.back() == '\\') normalised.pop_back();
    CharLowerBuffA(normalised.data(), static_cast<DWORD>(normalised.size()));
    return normalised;
}

}  // namespace

std::string FolderMutexName(const std::string& folder) {
    char name[48];
    std::snprintf(name, sizeof name, "Global\\TarnwickFolder-%016llx",
                  static_cast<unsigned long long>(HashOf(Normalised(FullPath(folder)))));
    return name;
}

ObjectHandle OpenFolderMutex(const std::string& folder) {
    const std::string name = FolderMutexName(folder);
    if (CallAllowed("CreateMutex", folder)) {
        ObjectHandle created(CreateMutexA(nullptr, FALSE, name.c_str()));
        if (created.IsValid()) return created;
    }
    // Another account's mutex may refuse all access and still be there to be waited for.
    const DWORD error = GetLastError();
    if (CallAllowed("OpenMutex", folder)) {
        ObjectHandle opened(OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, name.c_str()));
        if (opened.IsValid()) return opened;
    }
    Trace("No mutex for folder " + folder + ", error " + std::to_string(error) +
          ": going on without");
    return {};
}

}  // namespace tarnwick

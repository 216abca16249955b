#include "common/Guid.h"

#include <atomic>
#include <cstring>

#include "common/WindowsApi.h"
// Behind the wrapper, which brings in what this header needs.
#include <objbase.h>

namespace tarnwick {
namespace {

std::atomic<Guid (*)()> guidSource{nullptr};

Guid SystemGuid() {
    GUID made{};
    // Fails only when the system's random numbers do; the identifier is then all zero.
    CoCreateGuid(&made);
    Guid guid{made.Data1, made.Data2, made.Data3, {}};
    std::memcpy(guid.data4.data(), made.Data4, guid.data4.size());
    return guid;
}

}  // namespace

Guid NewGuid() {
    const auto source = guidSource.load();
    return source != nullptr ? source() : SystemGuid();
}

void SetGuidSource(Guid (*source)()) {
    guidSource = source;
}

}  // namespace tarnwick

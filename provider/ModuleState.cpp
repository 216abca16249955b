#include "provider/ModuleState.h"

#include <array>

#include "common/Registry.h"
#include "common/Text.h"
#include "common/WindowsApi.h"

namespace tarnwick {
namespace {

using PathText = std::array<char, kPathCapacity>;

constinit PathText mailRoot{};
constinit PathText lockRoot{};
constinit std::uint32_t storeEventNotificationMode = 0;
constinit DWORD findPositionSlot = TLS_OUT_OF_INDEXES;
constinit SharedState shared;

bool Attach() {
    storeEventNotificationMode = RegistryDwordOr(kProductKey, "Store Event Notification Mode", 0);
    mailRoot = {};
    ReadMailRoot(mailRoot);
    // A copy of its own, from which the lock and the swap name their files: kept for compatibility.
    lockRoot = mailRoot;
    findPositionSlot = TlsAlloc();
    return findPositionSlot != TLS_OUT_OF_INDEXES;
}

void Detach() {
    // The loader also detaches a module whose attach failed, and then there is no slot.
    if (findPositionSlot != TLS_OUT_OF_INDEXES) TlsFree(findPositionSlot);
    findPositionSlot = TLS_OUT_OF_INDEXES;
}

}  // namespace

bool OnModuleNotification(std::uint32_t reason) {
    if (reason == DLL_PROCESS_ATTACH) return Attach();
    if (reason == DLL_THREAD_ATTACH) SetFindPosition(0);
    if (reason == DLL_PROCESS_DETACH) Detach();
    return true;
}

std::string_view MailRoot() {
    return FieldText(mailRoot);
}

std::string_view LockRoot() {
    return FieldText(lockRoot);
}

std::uint32_t StoreEventNotificationMode() {
    return storeEventNotificationMode;
}

std::int32_t FindPosition() {
    return static_cast<std::int32_t>(
        reinterpret_cast<std::intptr_t>(TlsGetValue(findPositionSlot)));
}

void SetFindPosition(std::int32_t position) {
    // The slot holds the number itself, so that nothing is left to free when a thread ends.
    TlsSetValue(findPositionSlot, reinterpret_cast<void*>(std::intptr_t{position}));
}

SharedState& Shared() {
    return shared;
}

}  // namespace tarnwick

#include "remote/shared/StoreProviderCalls.h"

#include <array>

namespace tarnwick::store_provider {
namespace {

#define TARNWICK_NAME(name, form) #name,
constexpr const char* kEntryNames[] = {
    TARNWICK_STORE_PROVIDER_ENTRIES(TARNWICK_NAME, TARNWICK_NAME)};
#undef TARNWICK_NAME

std::array<std::atomic<EntryPoint>, kEntryCount> entries{};

}  // namespace

std::atomic<HMODULE> providerModule = nullptr;

int LoadStoreProvider(std::atomic<HMODULE>& handle) {
    if (handle != nullptr) return 1;
    const HMODULE module = LoadProgramModule("TWAISP.DLL");
    if (module == nullptr) return 0;
    handle = module;
    for (std::size_t number = 0; number < entries.size(); ++number) {
        entries[number] = BindEntry(module, kEntryNames[number]);
    }
    return 1;
}

EntryPoint FindEntry(std::size_t number, Forwarding forwarding) {
    if (forwarding == Forwarding::Loading) {
        if (LoadStoreProvider(providerModule) == 0) return nullptr;
    } else if (providerModule == nullptr) {
        return nullptr;
    }
    return entries[number];
}

Status Release::operator()() const {
    if (providerModule == nullptr) return 0;
    // Called without a look whether it is bound: every provider has it.
    const EntryPoint entry = entries[number];
    const Status result = reinterpret_cast<Status (*)()>(entry)();
    // Emptied first: during the next load a thread finds the handle set before the entries are.
    for (auto& bound : entries) bound = nullptr;
    FreeLibrary(providerModule.exchange(nullptr));
    return result;
}

}  // namespace tarnwick::store_provider

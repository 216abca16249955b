#include "remote/shared/StoreProviderModule.h"

namespace tarnwick::store_provider {
namespace {

std::array<std::atomic<EntryPoint>, kEntryNames.size()> entries{};

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

std::int32_t StoreLibrary_UnInit() {
    if (providerModule == nullptr) return 0;
    // Called without a look whether it is bound: every provider has it.
    const EntryPoint entry = entries[EntryNumber("StoreLibrary_UnInit")];
    const std::int32_t result = reinterpret_cast<std::int32_t (*)()>(entry)();
    // Emptied first: during the next load a thread finds the handle set before the entries are.
    for (auto& bound : entries) bound = nullptr;
    FreeLibrary(providerModule.exchange(nullptr));
    return result;
}

}  // namespace tarnwick::store_provider

// The store provider module TWAISP.DLL: loading it, and one forwarding operation for each of its
// entries. docs/loaded-modules.md describes the entries' call forms.
//
// Threads: loading takes no lock. Two threads at a first use may both load the module; the second
// binding replaces the first with the same entries. Nobody may be in a call while it is released.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "remote/shared/LoadedModule.h"

namespace tarnwick::store_provider {

// Every entry, in the order of binding. Kept for compatibility, entries without a caller included.
inline constexpr std::array kEntryNames = std::to_array<const char*>({
    "StoreLibrary_Init",
    "StoreLibrary_UnInit",
    "StoreLibrary_ThreadInit",
    "StoreLibrary_ThreadRelease",
    "StoreFolder_Open",
    "StoreFolder_Close",
    "StoreFolder_Save",
    "StoreFolder_OpenItem",
    "StoreFolder_SelectItem",
    "StoreFolder_SelectItemByField",
    "StoreFolder_SelectItemByField_Ex",
    "StoreFolder_Lock",
    "StoreFolder_UnLock",
    "StoreFolder_DeleteItem",
    "StoreFolder_CreateItem",
    "StoreItem_GetProperty",
    "StoreItem_SetProperty",
    "StoreIndex_GetItemPropertyItem",
    "StoreIndex_SetItemPropertyItem",
    "StoreItem_FreeProperty",
    "StoreItem_SaveToStore",
    "Store_Save",
    "StoreFolder_FindFirstItem",
    "StoreFolder_FindNextItem",
    "StoreFolder_FindClose",
    "GetMailboxSize",
    "GetMailboxSize_Ex",
    "StoreFolderAdd",
    "StoreFolderGet",
    "StoreFolderGet_Ex",
    "StoreFolderRemove",
    "StoreFolderEdit",
    "StoreFolderCopy",
    "StoreFolderFindNext",
    "StoreFolderFindFirst",
    "StoreFolderFindClose",
    "StoreLibrary_SetAffinity",
    "StoreItemProperty_GetType",
    "Memory_Allocate",
    "Memory_Free",
    "StoreFolder_GetHierarchyModificationDate",
    "StoreFolder_GetContentsModificationDate",
    "StoreIndex_SetPaths",
    "StoreIndexItem_Clear",
    "StoreIndex_Open",
    "StoreIndex_Init",
    "StoreIndex_Close",
    "StoreIndex_Release",
    "StoreIndex_Get",
    "StoreIndex_Save",
    "GetStoreItemByMessageID",
    "Direct_StoreIndex_UpdateItem",
    "Direct_StoreIndex_InsertItem",
    "Direct_StoreIndex_InsertItemEx",
    "Direct_StoreIndex_RemoveItem",
    "StoreIndex_UpdateItem",
    "StoreIndex_InsertItem",
    "StoreIndex_RemoveItem",
    "RemoveMailboxShares",
});

// The process's handle on the loaded module; null while it is not loaded.
extern std::atomic<HMODULE> providerModule;

// Loads the module into `handle` and binds its entries; those it lacks stay empty. 1 when it is
// loaded (also when it was before); 0 when the file does not load.
int LoadStoreProvider(std::atomic<HMODULE>& handle);

// When a forwarding operation may load the module.
enum class Forwarding { Loading, LoadedOnly };

// The bound entry, or null: not loaded (nor loadable, for Loading) or not among the file's entries.
EntryPoint FindEntry(std::size_t number, Forwarding forwarding);

// Position of a name in the order of binding. A name that is none does not compile.
consteval std::size_t EntryNumber(std::string_view name) {
    for (std::size_t number = 0; number < kEntryNames.size(); ++number) {
        if (name == kEntryNames[number]) return number;
    }
    throw "not an entry of the store provider";
}

// Forwards one call: 0 when the entry cannot be had, else the entry's result.
template <typename Result, typename... Arguments>
Result Forward(std::size_t number, Forwarding forwarding, Arguments... arguments) {
    const EntryPoint entry = FindEntry(number, forwarding);
    if (entry == nullptr) return Result{};
    return reinterpret_cast<Result (*)(Arguments...)>(entry)(arguments...);
}

// An entry whose arguments this project defines.
template <typename Signature>
class Operation;

template <typename Result, typename... Arguments>
class Operation<Result(Arguments...)> {
  public:
    consteval explicit Operation(std::string_view name) : number_(EntryNumber(name)) {}
    Result operator()(Arguments... arguments) const {
        return Forward<Result>(number_, Forwarding::Loading, arguments...);
    }

  private:
    std::size_t number_;
};

// An entry whose arguments the provider defines: numbers and pointers go through as they are given.
template <typename Result, Forwarding forwarding = Forwarding::Loading>
class PassThrough {
  public:
    consteval explicit PassThrough(std::string_view name) : number_(EntryNumber(name)) {}
    template <typename... Arguments>
    Result operator()(Arguments... arguments) const {
        static_assert((std::is_scalar_v<Arguments> && ...));
        return Forward<Result>(number_, forwarding, arguments...);
    }

  private:
    std::size_t number_;
};

// Calls StoreLibrary_UnInit, unloads the module and gives the entry's result; 0 when the module is
// not loaded. A provider file without that entry is not supported.
std::int32_t StoreLibrary_UnInit();

}  // namespace tarnwick::store_provider

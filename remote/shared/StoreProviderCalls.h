// The store provider module TWAISP.DLL: loading it, and one forwarding operation for each of its
// entries under the entry's name. docs/loaded-modules.md describes the entries' call forms.
//
// The folder that StoreFolder_Open opens and the item selected in it are the calling thread's: the
// operations after it name neither.
//
// Threads: loading takes no lock. Two threads at a first use may both load the module; the second
// binding replaces the first with the same entries. Nobody may be in a call while it is released.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "remote/shared/LoadedModule.h"

// Every entry with the form of its call, in the order of binding. Kept for compatibility, entries
// without a caller included. The arguments of OWN entries are this project's, those of PASS entries
// the provider's.
//   StoreFolder_Open: the three values that name the folder (FolderLocation) and two modes;
//     non-zero when it is open
//   StoreFolder_SelectItem: an identifier; 1 when there is such an item
//   StoreFolder_SelectItemByField: a field and what it holds; 1 when there is such an item
//   StoreItem_GetProperty: of the selected item: its name, the kind of value wanted, and where a
//     pointer to the value goes; 2 when found, the value is then the caller's, to be released with
//     `free`
#define TARNWICK_STORE_PROVIDER_ENTRIES(OWN, PASS)                                      \
    PASS(StoreLibrary_Init, PassThrough<Status>)                                        \
    OWN(StoreLibrary_UnInit, Release)                                                   \
    PASS(StoreLibrary_ThreadInit, LoadedOnly)                                           \
    PASS(StoreLibrary_ThreadRelease, LoadedOnly)                                        \
    OWN(StoreFolder_Open, Operation<Status(std::uint64_t, std::uint64_t, std::uint64_t, \
                                           std::int32_t, std::int32_t)>)                \
    OWN(StoreFolder_Close, Operation<Status()>)                                         \
    PASS(StoreFolder_Save, PassThrough<Status>)                                         \
    PASS(StoreFolder_OpenItem, PassThrough<Status>)                                     \
    OWN(StoreFolder_SelectItem, Operation<Status(const char*)>)                         \
    OWN(StoreFolder_SelectItemByField, Operation<Status(const char*, const char*)>)     \
    PASS(StoreFolder_SelectItemByField_Ex, PassThrough<Status>)                         \
    PASS(StoreFolder_Lock, PassThrough<Status>)                                         \
    PASS(StoreFolder_UnLock, PassThrough<Status>)                                       \
    PASS(StoreFolder_DeleteItem, PassThrough<Status>)                                   \
    PASS(StoreFolder_CreateItem, PassThrough<Status>)                                   \
    OWN(StoreItem_GetProperty, Operation<Status(const char*, std::uint32_t, void**)>)   \
    PASS(StoreItem_SetProperty, PassThrough<Status>)                                    \
    PASS(StoreIndex_GetItemPropertyItem, PassThrough<Status>)                           \
    PASS(StoreIndex_SetItemPropertyItem, PassThrough<Status>)                           \
    PASS(StoreItem_FreeProperty, PassThrough<Status>)                                   \
    PASS(StoreItem_SaveToStore, PassThrough<Status>)                                    \
    PASS(Store_Save, PassThrough<Status>)                                               \
    PASS(StoreFolder_FindFirstItem, PassThrough<Status>)                                \
    PASS(StoreFolder_FindNextItem, PassThrough<Status>)                                 \
    PASS(StoreFolder_FindClose, PassThrough<Status>)                                    \
    PASS(GetMailboxSize, PassThrough<std::uint64_t>)                                    \
    PASS(GetMailboxSize_Ex, PassThrough<std::uint64_t>)                                 \
    PASS(StoreFolderAdd, PassThrough<Status>)                                           \
    PASS(StoreFolderGet, PassThrough<Status>)                                           \
    PASS(StoreFolderGet_Ex, PassThrough<Status>)                                        \
    PASS(StoreFolderRemove, PassThrough<Status>)                                        \
    PASS(StoreFolderEdit, PassThrough<Status>)                                          \
    PASS(StoreFolderCopy, PassThrough<Status>)                                          \
    PASS(StoreFolderFindNext, PassThrough<Status>)                                      \
    PASS(StoreFolderFindFirst, PassThrough<Status>)                                     \
    PASS(StoreFolderFindClose, PassThrough<Status>)                                     \
    PASS(StoreLibrary_SetAffinity, LoadedOnly)                                          \
    PASS(StoreItemProperty_GetType, PassThrough<Status>)                                \
    PASS(Memory_Allocate, PassThrough<void*>)                                           \
    PASS(Memory_Free, PassThrough<Status>)                                              \
    PASS(StoreFolder_GetHierarchyModificationDate, PassThrough<std::uint64_t>)          \
    PASS(StoreFolder_GetContentsModificationDate, PassThrough<std::uint64_t>)           \
    PASS(StoreIndex_SetPaths, PassThrough<Status>)                                      \
    PASS(StoreIndexItem_Clear, PassThrough<Status>)                                     \
    PASS(StoreIndex_Open, PassThrough<Status>)                                          \
    PASS(StoreIndex_Init, PassThrough<Status>)                                          \
    PASS(StoreIndex_Close, PassThrough<Status>)                                         \
    PASS(StoreIndex_Release, PassThrough<Status>)                                       \
    PASS(StoreIndex_Get, PassThrough<void*>)                                            \
    PASS(StoreIndex_Save, PassThrough<Status>)                                          \
    PASS(GetStoreItemByMessageID, PassThrough<Status>)                                  \
    PASS(Direct_StoreIndex_UpdateItem, PassThrough<Status>)                             \
    PASS(Direct_StoreIndex_InsertItem, PassThrough<Status>)                             \
    PASS(Direct_StoreIndex_InsertItemEx, PassThrough<Status>)                           \
    PASS(Direct_StoreIndex_RemoveItem, PassThrough<Status>)                             \
    PASS(StoreIndex_UpdateItem, PassThrough<Status>)                                    \
    PASS(StoreIndex_InsertItem, PassThrough<Status>)                                    \
    PASS(StoreIndex_RemoveItem, PassThrough<Status>)                                    \
    PASS(RemoveMailboxShares, PassThrough<Status>)

namespace tarnwick::store_provider {

using Status = std::int32_t;

// The three values with which StoreFolder_Open names a folder; only the provider knows their sense.
struct FolderLocation {
    std::uint64_t first;
    std::uint64_t second;
    std::uint64_t third;
};

// The process's handle on the loaded module; null while it is not loaded.
extern std::atomic<HMODULE> providerModule;

// Loads the module into `handle` and binds its entries; those it lacks stay empty. 1 when it is
// loaded (also when it was before); 0 when the file does not load.
int LoadStoreProvider(std::atomic<HMODULE>& handle);

// When a forwarding operation may load the module.
enum class Forwarding { Loading, LoadedOnly };

// The bound entry, or null: not loaded (nor loadable, for Loading) or not among the file's entries.
EntryPoint FindEntry(std::size_t number, Forwarding forwarding);

// Forwards one call: 0 when the entry cannot be had, else the entry's result.
template <typename Result, typename... Arguments>
Result Forward(std::size_t number, Forwarding forwarding, Arguments... arguments) {
    const EntryPoint entry = FindEntry(number, forwarding);
    if (entry == nullptr) return Result{};
    return reinterpret_cast<Result (*)(Arguments...)>(entry)(arguments...);
}

// An entry whose arguments this project defines; `number` is its place among the entries.
template <typename Signature>
struct Operation;

template <typename Result, typename... Arguments>
struct Operation<Result(Arguments...)> {
    std::size_t number;
    Result operator()(Arguments... arguments) const {
        return Forward<Result>(number, Forwarding::Loading, arguments...);
    }
};

// An entry whose arguments the provider defines: numbers and pointers go through as they are given.
template <typename Result, Forwarding forwarding = Forwarding::Loading>
struct PassThrough {
    std::size_t number;
    template <typename... Arguments>
    Result operator()(Arguments... arguments) const {
        static_assert((std::is_scalar_v<Arguments> && ...));
        return Forward<Result>(number, forwarding, arguments...);
    }
};

using LoadedOnly = PassThrough<Status, Forwarding::LoadedOnly>;

// Calls the entry, unloads the module and gives the entry's result; 0 when the module is not
// loaded. A provider file without that entry is not supported.
struct Release {
    std::size_t number;
    Status operator()() const;
};

#define TARNWICK_NUMBER(name, form) k##name,
enum EntryNumber : std::size_t {
    TARNWICK_STORE_PROVIDER_ENTRIES(TARNWICK_NUMBER, TARNWICK_NUMBER) kEntryCount
};
#undef TARNWICK_NUMBER

#define TARNWICK_OPERATION(name, form) inline constexpr form name{k##name};
TARNWICK_STORE_PROVIDER_ENTRIES(TARNWICK_OPERATION, TARNWICK_OPERATION)
#undef TARNWICK_OPERATION

}  // namespace tarnwick::store_provider

// What a stand-in module shows besides the entries it stands in for: its calls, and what they find.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace tarnwick::testing {

struct StandInState {
    std::string calls;                            // a line each: the entry's name, its arguments
    std::map<std::string, std::int32_t> results;  // of the entries that do not give 1
    struct Property {
        std::uint32_t kind;
        std::int32_t code;
        std::optional<std::string> bytes;
    };
    std::map<std::string, Property> properties;
};

}  // namespace tarnwick::testing

// The store provider's entries in the order of binding, by what they give: a status, a wide number
// or a pointer for two arguments handed through, a status by a loaded module only, or on terms of
// their own.
// clang-format off
#define STORE_ENTRIES(STATUS, WIDE, POINTER, ONLY, OWN) \
    STATUS(StoreLibrary_Init) OWN(StoreLibrary_UnInit) ONLY(StoreLibrary_ThreadInit) \
    ONLY(StoreLibrary_ThreadRelease) OWN(StoreFolder_Open) OWN(StoreFolder_Close) \
    STATUS(StoreFolder_Save) STATUS(StoreFolder_OpenItem) OWN(StoreFolder_SelectItem) \
    OWN(StoreFolder_SelectItemByField) STATUS(StoreFolder_SelectItemByField_Ex) \
    STATUS(StoreFolder_Lock) STATUS(StoreFolder_UnLock) STATUS(StoreFolder_DeleteItem) \
    STATUS(StoreFolder_CreateItem) OWN(StoreItem_GetProperty) STATUS(StoreItem_SetProperty) \
    STATUS(StoreIndex_GetItemPropertyItem) STATUS(StoreIndex_SetItemPropertyItem) \
    STATUS(StoreItem_FreeProperty) STATUS(StoreItem_SaveToStore) STATUS(Store_Save) \
    STATUS(StoreFolder_FindFirstItem) STATUS(StoreFolder_FindNextItem) \
    STATUS(StoreFolder_FindClose) WIDE(GetMailboxSize) WIDE(GetMailboxSize_Ex) \
    STATUS(StoreFolderAdd) STATUS(StoreFolderGet) STATUS(StoreFolderGet_Ex) \
    STATUS(StoreFolderRemove) STATUS(StoreFolderEdit) STATUS(StoreFolderCopy) \
    STATUS(StoreFolderFindNext) STATUS(StoreFolderFindFirst) STATUS(StoreFolderFindClose) \
    ONLY(StoreLibrary_SetAffinity) STATUS(StoreItemProperty_GetType) POINTER(Memory_Allocate) \
    STATUS(Memory_Free) WIDE(StoreFolder_GetHierarchyModificationDate) \
    WIDE(StoreFolder_GetContentsModificationDate) STATUS(StoreIndex_SetPaths) \
    STATUS(StoreIndexItem_Clear) STATUS(StoreIndex_Open) STATUS(StoreIndex_Init) \
    STATUS(StoreIndex_Close) STATUS(StoreIndex_Release) POINTER(StoreIndex_Get) \
    STATUS(StoreIndex_Save) STATUS(GetStoreItemByMessageID) STATUS(Direct_StoreIndex_UpdateItem) \
    STATUS(Direct_StoreIndex_InsertItem) STATUS(Direct_StoreIndex_InsertItemEx) \
    STATUS(Direct_StoreIndex_RemoveItem) STATUS(StoreIndex_UpdateItem) \
    STATUS(StoreIndex_InsertItem) STATUS(StoreIndex_RemoveItem) STATUS(RemoveMailboxShares)
// clang-format on

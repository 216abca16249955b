// The store provider's entries that hand their arguments through: ROW(name) for each.
#pragma once

// clang-format off
#define LOADING_PASS_THROUGHS(ROW) \
    ROW(StoreLibrary_Init) ROW(StoreFolder_Save) ROW(StoreFolder_OpenItem) \
    ROW(StoreFolder_SelectItemByField_Ex) ROW(StoreFolder_Lock) ROW(StoreFolder_UnLock) \
    ROW(StoreFolder_DeleteItem) ROW(StoreFolder_CreateItem) ROW(StoreItem_SetProperty) \
    ROW(StoreIndex_GetItemPropertyItem) ROW(StoreIndex_SetItemPropertyItem) \
    ROW(StoreItem_FreeProperty) ROW(StoreItem_SaveToStore) ROW(Store_Save) \
    ROW(StoreFolder_FindFirstItem) ROW(StoreFolder_FindNextItem) ROW(StoreFolder_FindClose) \
    ROW(GetMailboxSize) ROW(GetMailboxSize_Ex) ROW(StoreFolderAdd) ROW(StoreFolderGet) \
    ROW(StoreFolderGet_Ex) ROW(StoreFolderRemove) ROW(StoreFolderEdit) ROW(StoreFolderCopy) \
    ROW(StoreFolderFindNext) ROW(StoreFolderFindFirst) ROW(StoreFolderFindClose) \
    ROW(StoreItemProperty_GetType) ROW(Memory_Allocate) ROW(Memory_Free) \
    ROW(StoreFolder_GetHierarchyModificationDate) ROW(StoreFolder_GetContentsModificationDate) \
    ROW(StoreIndex_SetPaths) ROW(StoreIndexItem_Clear) ROW(StoreIndex_Open) ROW(StoreIndex_Init) \
    ROW(StoreIndex_Close) ROW(StoreIndex_Release) ROW(StoreIndex_Get) ROW(StoreIndex_Save) \
    ROW(GetStoreItemByMessageID) ROW(Direct_StoreIndex_UpdateItem) \
    ROW(Direct_StoreIndex_InsertItem) ROW(Direct_StoreIndex_InsertItemEx) \
    ROW(Direct_StoreIndex_RemoveItem) ROW(StoreIndex_UpdateItem) ROW(StoreIndex_InsertItem) \
    ROW(StoreIndex_RemoveItem) ROW(RemoveMailboxShares)
#define LOADED_ONLY_PASS_THROUGHS(ROW) \
    ROW(StoreLibrary_ThreadInit) ROW(StoreLibrary_ThreadRelease) ROW(StoreLibrary_SetAffinity)
// clang-format on

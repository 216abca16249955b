// The store provider's operations under their own names; see StoreProviderModule.h for what each
// kind does when the module or the entry is missing.
//
// The folder that StoreFolder_Open opens and the item selected in it are the calling thread's: the
// operations after it name neither.
#pragma once

#include "remote/shared/StoreProviderModule.h"

namespace tarnwick::store_provider {

using Status = std::int32_t;

// The three values with which StoreFolder_Open names a folder; only the provider knows their sense.
struct FolderLocation {
    std::uint64_t first;
    std::uint64_t second;
    std::uint64_t third;
};

// Opens the folder that the three values name, with two modes. Non-zero when it is open.
inline constexpr Operation<Status(std::uint64_t, std::uint64_t, std::uint64_t, std::int32_t,
                                  std::int32_t)>
    StoreFolder_Open{"StoreFolder_Open"};
inline constexpr Operation<Status()> StoreFolder_Close{"StoreFolder_Close"};
// Selects the item with this identifier; 1 when there is one.
inline constexpr Operation<Status(const char*)> StoreFolder_SelectItem{"StoreFolder_SelectItem"};
// Selects the item in which `field` (first) has a value (second); 1 when there is one.
inline constexpr Operation<Status(const char*, const char*)> StoreFolder_SelectItemByField{
    "StoreFolder_SelectItemByField"};
// Reads a property of the selected item: its name, the kind of value wanted, and where a pointer to
// the value goes. 2 when found; the value is then the caller's, to be released with `free`.
inline constexpr Operation<Status(const char*, std::uint32_t, void**)> StoreItem_GetProperty{
    "StoreItem_GetProperty"};

inline constexpr PassThrough<Status> StoreLibrary_Init{"StoreLibrary_Init"};
inline constexpr PassThrough<Status, Forwarding::LoadedOnly> StoreLibrary_ThreadInit{
    "StoreLibrary_ThreadInit"};
inline constexpr PassThrough<Status, Forwarding::LoadedOnly> StoreLibrary_ThreadRelease{
    "StoreLibrary_ThreadRelease"};
inline constexpr PassThrough<Status, Forwarding::LoadedOnly> StoreLibrary_SetAffinity{
    "StoreLibrary_SetAffinity"};

inline constexpr PassThrough<Status> StoreFolder_Save{"StoreFolder_Save"};
inline constexpr PassThrough<Status> StoreFolder_OpenItem{"StoreFolder_OpenItem"};
inline constexpr PassThrough<Status> StoreFolder_SelectItemByField_Ex{
    "StoreFolder_SelectItemByField_Ex"};
inline constexpr PassThrough<Status> StoreFolder_Lock{"StoreFolder_Lock"};
inline constexpr PassThrough<Status> StoreFolder_UnLock{"StoreFolder_UnLock"};
inline constexpr PassThrough<Status> StoreFolder_DeleteItem{"StoreFolder_DeleteItem"};
inline constexpr PassThrough<Status> StoreFolder_CreateItem{"StoreFolder_CreateItem"};
inline constexpr PassThrough<Status> StoreItem_SetProperty{"StoreItem_SetProperty"};
inline constexpr PassThrough<Status> StoreIndex_GetItemPropertyItem{
    "StoreIndex_GetItemPropertyItem"};
inline constexpr PassThrough<Status> StoreIndex_SetItemPropertyItem{
    "StoreIndex_SetItemPropertyItem"};
inline constexpr PassThrough<Status> StoreItem_FreeProperty{"StoreItem_FreeProperty"};
inline constexpr PassThrough<Status> StoreItem_SaveToStore{"StoreItem_SaveToStore"};
inline constexpr PassThrough<Status> Store_Save{"Store_Save"};
inline constexpr PassThrough<Status> StoreFolder_FindFirstItem{"StoreFolder_FindFirstItem"};
inline constexpr PassThrough<Status> StoreFolder_FindNextItem{"StoreFolder_FindNextItem"};
inline constexpr PassThrough<Status> StoreFolder_FindClose{"StoreFolder_FindClose"};
inline constexpr PassThrough<std::uint64_t> GetMailboxSize{"GetMailboxSize"};
inline constexpr PassThrough<std::uint64_t> GetMailboxSize_Ex{"GetMailboxSize_Ex"};
inline constexpr PassThrough<Status> StoreFolderAdd{"StoreFolderAdd"};
inline constexpr PassThrough<Status> StoreFolderGet{"StoreFolderGet"};
inline constexpr PassThrough<Status> StoreFolderGet_Ex{"StoreFolderGet_Ex"};
inline constexpr PassThrough<Status> StoreFolderRemove{"StoreFolderRemove"};
inline constexpr PassThrough<Status> StoreFolderEdit{"StoreFolderEdit"};
inline constexpr PassThrough<Status> StoreFolderCopy{"StoreFolderCopy"};
inline constexpr PassThrough<Status> StoreFolderFindNext{"StoreFolderFindNext"};
inline constexpr PassThrough<Status> StoreFolderFindFirst{"StoreFolderFindFirst"};
inline constexpr PassThrough<Status> StoreFolderFindClose{"StoreFolderFindClose"};
inline constexpr PassThrough<Status> StoreItemProperty_GetType{"StoreItemProperty_GetType"};
inline constexpr PassThrough<void*> Memory_Allocate{"Memory_Allocate"};
inline constexpr PassThrough<Status> Memory_Free{"Memory_Free"};
inline constexpr PassThrough<std::uint64_t> StoreFolder_GetHierarchyModificationDate{
    "StoreFolder_GetHierarchyModificationDate"};
inline constexpr PassThrough<std::uint64_t> StoreFolder_GetContentsModificationDate{
    "StoreFolder_GetContentsModificationDate"};
inline constexpr PassThrough<Status> StoreIndex_SetPaths{"StoreIndex_SetPaths"};
inline constexpr PassThrough<Status> StoreIndexItem_Clear{"StoreIndexItem_Clear"};
inline constexpr PassThrough<Status> StoreIndex_Open{"StoreIndex_Open"};
inline constexpr PassThrough<Status> StoreIndex_Init{"StoreIndex_Init"};
inline constexpr PassThrough<Status> StoreIndex_Close{"StoreIndex_Close"};
inline constexpr PassThrough<Status> StoreIndex_Release{"StoreIndex_Release"};
inline constexpr PassThrough<void*> StoreIndex_Get{"StoreIndex_Get"};
inline constexpr PassThrough<Status> StoreIndex_Save{"StoreIndex_Save"};
inline constexpr PassThrough<Status> GetStoreItemByMessageID{"GetStoreItemByMessageID"};
inline constexpr PassThrough<Status> Direct_StoreIndex_UpdateItem{"Direct_StoreIndex_UpdateItem"};
inline constexpr PassThrough<Status> Direct_StoreIndex_InsertItem{"Direct_StoreIndex_InsertItem"};
inline constexpr PassThrough<Status> Direct_StoreIndex_InsertItemEx{
    "Direct_StoreIndex_InsertItemEx"};
inline constexpr PassThrough<Status> Direct_StoreIndex_RemoveItem{"Direct_StoreIndex_RemoveItem"};
inline constexpr PassThrough<Status> StoreIndex_UpdateItem{"StoreIndex_UpdateItem"};
inline constexpr PassThrough<Status> StoreIndex_InsertItem{"StoreIndex_InsertItem"};
inline constexpr PassThrough<Status> StoreIndex_RemoveItem{"StoreIndex_RemoveItem"};
inline constexpr PassThrough<Status> RemoveMailboxShares{"RemoveMailboxShares"};

}  // namespace tarnwick::store_provider

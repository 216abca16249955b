// The names of the store's own files, and of what is looked at together in a folder.
#pragma once

namespace tarnwick::admin {

inline constexpr const char* kChangeFlag = "_CHANGE.DTY";
inline constexpr const char* kCachedFlag = "_CACHED.DTY";
inline constexpr const char* kIndexName = "_index.xml";
inline constexpr const char* kGroupsName = "_groups.xml";
inline constexpr const char* kBackupName = "_index.xml.bak";
inline constexpr const char* kQuarantineName = "_index.xml.bad";
inline constexpr const char* kActivityName = "_activity.tab";
inline constexpr const char* kActivityReplacement = "_activity.tmp";
inline constexpr const char* kActivityBlock = "_activity.blk";
// What a message of a calendar folder's index begins with, and no calendar does.
inline constexpr const char* kMessageCalendarStart = "BEGIN:";

// Names of units; none is that of a file.
inline constexpr const char* kFolderUnit = "folder/";
inline constexpr const char* kItemsUnit = "items/";
inline constexpr const char* kIndexUnit = "index/";
inline constexpr const char* kGroupsUnit = "groups/";
inline constexpr const char* kActivityUnit = "activity/";

}  // namespace tarnwick::admin

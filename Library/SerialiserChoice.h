// Which classes load and save a folder's index, by the registry and the state of the folder.
#pragma once

#include "Library/IndexRecovery.h"

namespace tarnwick {

// Whether a folder has an index; CannotTell when the look-up itself failed.
enum class IndexPresence { There, Gone, CannotTell };
IndexPresence LookForIndex(const std::string& folder, FolderType folderType);

struct LoaderChoice {
    bool reindexIfFlagged = false;  // scan the files when the folder is marked as changed
    bool forceReindex = false;
};

// The loader for a folder whose index is there or not. Without an index there is nothing to load:
// the loader scans the files, or gives an empty index when it was not to look whether the folder is
// marked. None when it cannot be told whether there is one.
SerialiserOwner ChooseLoader(const std::string& folder, FolderType folderType,
                             const LoaderChoice& choice, IndexPresence presence);

// What reads an index that is there, without a scan.
SerialiserOwner ChooseReader();

// Whether every load of such a folder looks through the files (calendars, when the registry says
// so).
bool IsAlwaysScanned(FolderType folderType);

SerialiserOwner ChooseSaver();

// Whether a save needs an index that was loaded whole.
bool SaverRequiresFullLoad();

// Saves by the chosen class; false also when it needs a whole index and this is a part of one.
bool SaveByChoice(StoreIndex& index, const std::string& folder, FolderType folderType);

}  // namespace tarnwick

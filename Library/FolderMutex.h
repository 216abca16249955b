// The mutex of a store folder, which serialises the processes of one machine that load or save its
// index.
#pragma once

#include <string>

#include "common/Handle.h"

namespace tarnwick {

// Name of the mutex of a store folder: the same in every process and session of the machine for
// every spelling of its full path that differs in case (of the system code page) or separators
// alone. A short name, or another drive letter for the same place, gives another mutex.
std::string FolderMutexName(const std::string& folder);

// Creates or opens a folder's mutex; invalid, with a line in the trace, when the system refuses
// both. A lock then counts as locked, and other processes are kept out by nothing.
ObjectHandle OpenFolderMutex(const std::string& folder);

}  // namespace tarnwick

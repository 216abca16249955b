// Walking the store and telling what is wrong with it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/admin/store/FolderInspection.h"

namespace tarnwick::admin {

// The folder that a person means: nothing is the whole root; a postoffice, "postoffice/mailbox", or
// the path of a folder. Throws Failure (Refused) when there is none.
std::string FolderOfPlace(const std::string& place, const std::string& root);

// The path from its drive on, without a backslash at its end.
std::string FullPath(const std::string& path);

// What is told of a walk while it goes on: so many of so many parts are done.
using WalkProgress = std::function<void(std::size_t done, std::size_t total)>;

// Calls `look` with the folder and all below it.
void WalkFolders(const std::string& folder, const std::function<void(const FolderListing&)>& look,
                 const WalkProgress& progress = {});

// All that is wrong at the folder and below it, in the order of files and lines. What a server may
// have been in the middle of is looked at again until it has stayed the same for a moment; what
// goes on changing is no finding.
std::vector<Finding> CheckStore(const std::string& folder, const std::string& root,
                                const WalkProgress& progress = {});

}  // namespace tarnwick::admin

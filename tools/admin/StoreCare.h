// What commands that look at the files of the whole store have in common.
#pragma once

#include <string>

#include "tools/admin/Commands.h"
#include "tools/admin/store/StoreCheck.h"

namespace tarnwick::admin {

// The folder of postoffices that the command line or the registry names; empty: none does.
std::string RootOf(const Context& context);

// One note a tenth of the walk, as all long jobs have.
WalkProgress Noted(const char* job, const Context& context);

// The command, on a folder of postoffices; empty: the mail root.
std::string OnRoot(std::string command, const std::string& root);

// The command that mends, on the root of the finding or, where that is the mail root, on `root`.
std::string MendCommand(const Finding& finding, const std::string& root);

}  // namespace tarnwick::admin

// The folder under which every postoffice lies.
#pragma once

#include <string>

namespace tarnwick {

// The registry's "Mail Root"; when that cannot be read, its "Data Directory" followed by
// "\Postoffices"; when neither can, the empty text: paths are then relative to the current folder.
// Reads the registry at each call; at most 1023 characters.
std::string ReadMailRoot();

}  // namespace tarnwick

// The folder under which every postoffice lies.
#pragma once

#include <span>

namespace tarnwick {

// Stores the registry's "Mail Root", also an empty one; when that cannot be read, its "Data
// Directory" followed by "\Postoffices", cut to fit; when neither can, the empty text: paths then
// begin with a backslash and mean the root of the current drive. Reads the registry at each call.
void ReadMailRoot(std::span<char> root);

}  // namespace tarnwick

// The folder under which every postoffice lies.
#pragma once

#include <string>

namespace tarnwick {

// The registry's "Mail Root"; when that cannot be read, its "Data Directory" followed by
// "\Postoffices"; when neither can, the empty text: paths then begin with a backslash and mean the
// root of the current drive. Reads the registry at each call; at most 1023 characters.
std::string ReadMailRoot();

}  // namespace tarnwick

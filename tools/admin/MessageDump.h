// A message file piece by piece: header lines as the store's operations read them, MIME parts as
// mail programs do. docs/message-files.md has the rules.
#pragma once

#include <string_view>
#include <vector>

#include "tools/admin/FileDump.h"

namespace tarnwick::admin {

std::vector<DumpRow> DumpMessage(std::string_view bytes);

}  // namespace tarnwick::admin

// What servers send each other, piece by piece: the EXEC envelope and the compressed values in it.
// docs/exec-envelope.md and docs/lzw-stream.md have the forms.
#pragma once

#include <string_view>
#include <vector>

#include "tools/admin/FileDump.h"

namespace tarnwick::admin {

// A request or reply as it was captured. Behind the text of a value its fields, decoded.
std::vector<DumpRow> DumpEnvelope(std::string_view bytes);

// A compressed value, code by code; behind them the fields that they expand to.
std::vector<DumpRow> DumpLzw(std::string_view bytes);

}  // namespace tarnwick::admin

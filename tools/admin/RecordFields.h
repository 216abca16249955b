// The records of the calendar functions, told by their sizes, field by field.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/admin/FileDump.h"

namespace tarnwick::admin {

// Rows of decoded bytes: one a field of the record that has their size, or one of them all. `what`
// stands in front of each meaning.
std::vector<DumpRow> FieldRows(const std::string& what, std::string_view bytes);

}  // namespace tarnwick::admin

// The bytes of the store's files beside what they mean.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

struct DumpRow {
    std::size_t offset = 0;
    std::size_t length = 0;
    std::string meaning;
};

// In the order of the file, without overlaps; all of it but blanks between the pieces of an index.
std::vector<DumpRow> DumpIndex(std::string_view bytes);
// Both are lines of fields that tabs separate.
std::vector<DumpRow> DumpCalendar(std::string_view bytes);
std::vector<DumpRow> DumpActivity(std::string_view bytes);

// The row's first bytes, 16 to a line, as hexadecimal numbers and letters, beside its meaning.
std::string DumpText(std::string_view bytes, const DumpRow& row, std::size_t limit);

}  // namespace tarnwick::admin

// The bytes of the store's files beside what they mean.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

struct DumpRow {
    std::size_t offset = 0;
    std::size_t length = 0;
    std::string meaning;
    // Of what stands encoded in the file: the bytes themselves. The offset is theirs.
    std::optional<std::string> decoded = {};
};

// In the order of the file, without overlaps; all of it but blanks between the pieces of an index.
std::vector<DumpRow> DumpIndex(std::string_view bytes);
// Both are lines of fields that tabs separate.
std::vector<DumpRow> DumpCalendar(std::string_view bytes);
std::vector<DumpRow> DumpActivity(std::string_view bytes);

// A text in quotes, cut where it is long, with dots for its control characters.
std::string QuotedBriefly(std::string_view text);

// The row's first bytes, 16 to a line, as hexadecimal numbers and letters, beside its meaning.
std::string DumpText(std::string_view bytes, const DumpRow& row, std::size_t limit);

}  // namespace tarnwick::admin

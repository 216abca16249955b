// Any bytes as each kind of file that can be dumped: the rows lie within the file in its order and,
// but for an index's blanks, cover it; expanding by hand agrees with what peers do.
#include <span>

#include "fuzz/Fuzz.h"
#include "remote/Lzw.h"
#include "tools/admin/MessageDump.h"
#include "tools/admin/WireDump.h"

namespace tarnwick::fuzz {
namespace {

using namespace admin;

void CheckRows(std::string_view input, const std::vector<DumpRow>& rows, bool coversAll) {
    std::size_t end = 0;
    for (const DumpRow& row : rows) {
        if (row.decoded) {
            Require(row.decoded->size() == row.length);
        } else {
            Require(coversAll ? row.offset == end : row.offset >= end);
            end = row.offset + row.length;
            Require(end <= input.size() && row.length != 0);
        }
        DumpText(input, row, 32);
    }
    Require(!coversAll || end == input.size());
}

void CheckExpansion(std::string_view input) {
    std::string output(input.size() / 2 * kLzwLongestString, '\0');
    const auto length =
        LzwExpand(std::as_bytes(std::span(input)), std::as_writable_bytes(std::span(output)))
            .length;
    output.resize(length);
    std::string fields;
    for (const DumpRow& row : DumpLzw(input)) fields += row.decoded.value_or("");
    Require(fields == output);
}

}  // namespace

void Check(std::string_view input) {
    CheckRows(input, DumpIndex(input), false);
    for (const auto dump : {DumpCalendar, DumpActivity, DumpEnvelope, DumpLzw, DumpMessage}) {
        CheckRows(input, dump(input), true);
    }
    CheckExpansion(input);
}

}  // namespace tarnwick::fuzz

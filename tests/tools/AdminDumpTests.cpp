#include <gtest/gtest.h>

#include "common/Text.h"
#include "remote/Lzw.h"
#include "tools/admin/MessageDump.h"
#include "tools/admin/WireDump.h"
#include "twaicp.h"

namespace tarnwick::admin {
namespace {

using namespace std::string_view_literals;

// "offset+length meaning", a line a row; what is decoded stands two places to the right.
std::string Lines(const std::vector<DumpRow>& rows) {
    std::string lines = "\n";
    for (const DumpRow& row : rows) {
        lines += (row.decoded ? "  " : "") + std::to_string(row.offset) + "+" +
                 std::to_string(row.length) + " " + row.meaning + "\n";
    }
    return lines;
}

TEST(WireDump, DecodesTheParametersOfEnvelopes) {
    EXPECT_EQ(Lines(DumpEnvelope("<DATA><METHOD>EXEC</METHOD><PARAMETERS>"
                                 "<PARAMETER0 SIZE=4>AQAAAAEB</PARAMETER0>"
                                 "<PARAMETER12 SIZE=>QQBCAP//QwA=</PARAMETER12>"
                                 "<PARAMETER1>AQAAAAEB</PARAMETER1><PARAMETER2 SIZE=1>A</x\0z"sv)),
              R"(
0+6 DATA
6+8 METHOD
14+4 METHOD: "EXEC"
18+9 end of METHOD
27+12 PARAMETERS
39+19 parameter 0, SIZE=4
58+8 value of parameter 0, 3 codes for 4 bytes
  0+4 parameter 0, the result: number 1
66+13 end of parameter 0
79+19 parameter 12, SIZE=
98+12 value of parameter 12, damaged: code 65535 at 4: a string that its compressor lost
  0+2 parameter 12: "AB"
110+14 end of parameter 12
124+12 damaged: parameter 1 without SIZE=, nobody reads it
136+8 value of parameter 1, 3 codes for 4 bytes
  0+4 parameter 1: number 1
144+13 end of parameter 1
157+19 damaged: parameter 2 without its end, nobody reads it
176+1 parameter 2: "A"
177+3 damaged: a tag without its end
180+2 behind the NUL that ends the text
)");
    EXPECT_EQ(Lines(DumpLzw({"a\0\0\0\1\1x", 7})), R"(
0+2 code 97: 1 byte at 0, "a"
2+2 code 0: 1 byte at 1, "."
4+2 code 257: 2 bytes at 2, ".."
6+1 half a code, which is ignored
  0+4 expanded: number 97
)");
}

TEST(WireDump, ShowsTheFieldsOfRecords) {
    AppointmentRecord record{};
    StoreField(record.mailbox, "anna");
    StoreField(record.calendarName, "Y25M03D01");
    std::fill(std::begin(record.appointmentId), std::end(record.appointmentId), 'i');
    record.start = 1740821400;
    record.end = -1;
    std::string codes(LzwWorstSize(sizeof record), '\0');
    codes.resize(LzwCompress(std::as_bytes(std::span(&record, 1)),
                             std::as_writable_bytes(std::span(codes))));
    const std::string lines = Lines(DumpLzw(codes));
    EXPECT_EQ(lines.substr(lines.find("\n  ")), R"(
  0+256 expanded: mailbox "anna"
  256+256 expanded: postoffice ""
  512+4 expanded: start 1740821400, 2025-03-01T09:30:00Z
  516+4 expanded: end -1, 1969-12-31T23:59:59Z
  520+64 expanded: appointmentId "iiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiii"..., without a terminator
  584+64 expanded: calendarName "Y25M03D01"
)");
}

TEST(MessageDump, ReadsTheHeaderAsTheStoreDoes) {
    EXPECT_EQ(Lines(DumpMessage("x-uid: 1.2\r\nX: " + std::string(2045, 'x') +
                                "y\r\nContent-Type: multipart/mixed;\r\n\tboundary=B\r\n\rz: 1\r\n"
                                "\r\n--B\r\n\r\npart\r\n--B--\r\n")),
              R"(
0+12 the store's UID: "x-uid: 1.2"
12+2047 field: "X: xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"...
2059+4 rest of a long line, a line of its own for the store: "xy"
2063+32 field: "Content-Type: multipart/mixed;"
2095+13 continued: ".boundary=B"
2108+7 empty line: the header ends
2115+2 behind what ends the header for the store
2117+5 boundary: "--B"
2122+2 part 1: empty line: the header ends
2124+4 body of part 1: text/plain
2128+2 line end
2130+7 boundary: "--B--"
)");
}

}  // namespace
}  // namespace tarnwick::admin

#include <gtest/gtest.h>

#include "tests/Library/activity/messages/StreamFixtures.h"

namespace tarnwick {
namespace {

using testing::TextSink;
using testing::TextSource;

using Fields = std::vector<FieldRule>;

const FieldRule kReplaceUid{{"X-UID: "}, FieldFate::Replace, "X-UID: 5\r\n"};
constexpr CopyRules kPlain{2048, false, false};

std::string Edit(std::string_view message, std::size_t chunk = kStreamBlock) {
    TextSource source(message, chunk);
    TextSink sink;
    Fields fields{kReplaceUid};
    EXPECT_EQ(CopyMessage(source, kPlain, fields, sink), CopyResult::Complete);
    return sink.text;
}

// Read in any portions; NUL bytes are kept.
TEST(MessageHeaderEdit, BytesAreBytes) {
    using namespace std::string_literals;
    for (const std::size_t chunk : {std::size_t{1}, std::size_t{2}, kStreamBlock}) {
        EXPECT_EQ(Edit("A\0B\r\nX-UID: 1\0\r\n\r\n\0b"s, chunk), "A\0B\r\nX-UID: 5\r\n\r\n\0b"s)
            << "reads of " << chunk;
    }
}

// A line longer than the line buffer comes in pieces, each a line of its own for the rules.
TEST(MessageHeaderEdit, EachPieceOfALongLineIsALineOfItsOwn) {
    const std::string full(2047, 'a');
    const std::string big(1 << 20, 'b');
    struct Case {
        const char* name;
        std::string before;
        std::string after;
    };
    const Case cases[] = {
        {"a line break of its own ends the header", full + "\r\nX-UID: 1\r\n\r\n",
         full + "X-UID: 5\r\n\r\nX-UID: 1\r\n\r\n"},
        {"only the first piece is replaced", "X-UID: " + full + "\r\n\r\n",
         "X-UID: 5\r\naaaaaaa\r\n\r\n"},
        {"1 MB", big + "\r\n\r\nbody", big + "\r\nX-UID: 5\r\n\r\nbody"},
    };
    for (const Case& row : cases) {
        EXPECT_TRUE(Edit(row.before) == row.after) << row.name;
    }
}

}  // namespace
}  // namespace tarnwick

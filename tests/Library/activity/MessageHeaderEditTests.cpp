#include <gtest/gtest.h>

#include "tests/Library/activity/StreamFixtures.h"
#include "tests/support/SharedData.h"

namespace tarnwick {
namespace {

using testing::TextSink;
using testing::TextSource;

using Fields = std::vector<FieldRule>;

const FieldRule kReplaceUid{{"X-UID: "}, FieldFate::Replace, "X-UID: 5\r\n"};
const FieldRule kDropUid{{"X-UID: "}, FieldFate::Drop, ""};
const FieldRule kKeepFlags{{"X-TWTempFlags: "}, FieldFate::Keep, "X-TWTempFlags: new\r\n"};
const FieldRule kDropBoth{{"X-UID: ", "X-TWTempFlags: "}, FieldFate::Drop, "X-UID: 5\r\n"};
const FieldRule kSetSubject{{"Subject:"}, FieldFate::Replace, "Subject: new\r\n"};

constexpr CopyRules kPlain{2048, false, false};
constexpr CopyRules kAppending{2048, true, false};
constexpr CopyRules kOnlyWhenSeen{2048, false, true};

struct Edited {
    CopyResult result;
    std::string text;
    Fields fields;
};

Edited Edit(std::string_view message, const CopyRules& rules, Fields fields,
            std::size_t chunk = kStreamBlock) {
    TextSource source(message, chunk);
    TextSink sink;
    const CopyResult result = CopyMessage(source, rules, fields, sink);
    return {result, sink.text, fields};
}

TEST(MessageHeaderEdit, EachRuleMeetsEachHeader) {
    using namespace std::string_literals;
    struct Case {
        const char* name;
        CopyRules rules;
        Fields fields;
        std::string before;
        std::string after;
    };
    const Fields uid{kReplaceUid};
    const Fields subject{kSetSubject};
    const Fields uidAndFlags{kReplaceUid, kKeepFlags};
    const Case cases[] = {
        {"duplicates stay duplicates", kPlain, subject, "subject:1\nSubject: 2\n cont\n\n",
         "Subject: new\r\nSubject: new\r\n cont\n\n"},
        {"the blank belongs to the key", kPlain, uid, "X-UID:7\n\n", "X-UID:7\nX-UID: 5\r\n\n"},
        {"added where there is none, in rule order", kPlain, uidAndFlags, "\r\nb",
         "X-UID: 5\r\nX-TWTempFlags: new\r\n\r\nb"},
        {"a lone CR ends the header", kPlain, uid, "\rX-UID: 1\n\n", "X-UID: 5\r\n\rX-UID: 1\n\n"},
        {"no empty line, not appended", kPlain, uid, "A: 1", "A: 1"},
        {"no empty line, appended at the very end", kAppending, subject, "A: 1",
         "A: 1Subject: new\r\n"},
        {"no empty line, already written", kAppending, subject, "Subject: a", "Subject: new\r\n"},
        {"an empty file", kPlain, uid, "", ""},
        {"an empty file, appended", kAppending, subject, "", "Subject: new\r\n"},
        {"NUL bytes are kept", kPlain, uid, "A\0B\r\nX-UID: 1\0\r\n\r\n\0b"s,
         "A\0B\r\nX-UID: 5\r\n\r\n\0b"s},
    };
    for (const Case& row : cases) {
        for (const std::size_t chunk : {std::size_t{1}, std::size_t{2}, kStreamBlock}) {
            const Edited edited = Edit(row.before, row.rules, row.fields, chunk);
            EXPECT_EQ(edited.text, row.after) << row.name << ", reads of " << chunk;
            EXPECT_EQ(edited.result, CopyResult::Complete) << row.name;
        }
    }
}

TEST(MessageHeaderEdit, ACopyWithoutTheFieldsIsNotWanted) {
    for (const char* message : {"A: 1\r\n\r\nX-UID: 3\r\n", "", "A: 1"}) {
        EXPECT_EQ(Edit(message, kOnlyWhenSeen, {kDropBoth}).result, CopyResult::NotWanted)
            << message;
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
        {"the second piece is recognised", full + "X-UID: 1\r\n\r\n", full + "X-UID: 5\r\n\r\n"},
        {"one byte earlier it is not", full.substr(1) + "X-UID: 1\r\n\r\n",
         full.substr(1) + "X-UID: 1\r\nX-UID: 5\r\n\r\n"},
        {"a line break of its own ends the header", full + "\r\nX-UID: 1\r\n\r\n",
         full + "X-UID: 5\r\n\r\nX-UID: 1\r\n\r\n"},
        {"only the first piece is replaced", "X-UID: " + full + "\r\n\r\n",
         "X-UID: 5\r\naaaaaaa\r\n\r\n"},
        {"1 MB", big + "\r\n\r\nbody", big + "\r\nX-UID: 5\r\n\r\nbody"},
    };
    for (const Case& row : cases) {
        EXPECT_TRUE(Edit(row.before, kPlain, {kReplaceUid}).text == row.after) << row.name;
    }
}

TEST(MessageHeaderEdit, AFailedReadOrWriteIsNeverComplete) {
    const std::string message = "A: 1\r\n\r\n" + std::string(4 * kStreamBlock, 'b');
    for (std::size_t good = 0; good < 5; ++good) {
        for (const bool reading : {true, false}) {
            TextSource source(message, kStreamBlock, reading ? good : ~std::size_t{0});
            TextSink sink(reading ? ~std::size_t{0} : good);
            Fields fields{kReplaceUid};
            EXPECT_EQ(CopyMessage(source, kPlain, fields, sink), CopyResult::Failed)
                << (reading ? "read " : "write ") << good;
        }
    }
}

// Sets the subject and both private fields of real messages; the rest must be the same bytes.
TEST(MessageHeaderEdit, RealMessagesKeepEverythingElse) {
    const auto folder = testing::SharedDataFolder("messages");
    if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no real messages here";
    int count = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        const std::string message = testing::ReadBytes(file.path());
        const Fields edits[] = {{kReplaceUid, kKeepFlags}, {kSetSubject}, {kDropUid, kKeepFlags}};
        for (const Fields& fields : edits) {
            const Edited edited = Edit(message, kPlain, fields, 100);
            ASSERT_EQ(edited.result, CopyResult::Complete) << file.path();
            EXPECT_NE(edited.text.find(fields.back().line), std::string::npos) << file.path();
            EXPECT_EQ(testing::WithoutFields(edited.text, 2048, edited.fields),
                      testing::WithoutFields(message, 2048, edited.fields))
                << file.path();
        }
        ++count;
    }
    EXPECT_GT(count, 10);
}

}  // namespace
}  // namespace tarnwick

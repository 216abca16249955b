#include <gtest/gtest.h>

#include "common/Guid.h"
#include "tests/Library/activity/messages/StreamFixtures.h"

namespace tarnwick {
namespace {

using testing::OnDisk;
using testing::TextSink;
using testing::TextSource;

const std::string kNewBoundary = "0123456789ABCDEF0123456789ABCDEF";
constexpr AttachmentRecord kNothingGiven{};

std::string Attach(std::string_view message, const AttachmentRecord& part, std::string_view data,
                   std::size_t chunk = kStreamBlock) {
    TextSource source(message, chunk);
    TextSink sink;
    EXPECT_TRUE(CopyWithAttachment(source, part, data, kNewBoundary, sink));
    return sink.text;
}

// What is written for the bytes "foo" without any field given.
const std::string kFooPart =
    "Content-Type: application/octet-stream\n"
    "Content-Transfer-Encoding: base64\n"
    "\n"
    "Zm9v\n";

// "#" stands for the new boundary.
std::string WithBoundary(std::string text) {
    for (std::size_t at = text.find('#'); at != text.npos; at = text.find('#')) {
        text.replace(at, 1, kNewBoundary);
    }
    return text;
}

struct Case {
    const char* name;
    std::string before;
    std::string after;
};

void ExpectAttached(const std::vector<Case>& cases) {
    for (const Case& row : cases) {
        for (const std::size_t chunk : {std::size_t{1}, std::size_t{2}, kStreamBlock}) {
            EXPECT_EQ(Attach(row.before, kNothingGiven, "foo", chunk),
                      OnDisk(WithBoundary(row.after)))
                << row.name << ", reads of " << chunk;
        }
    }
}

TEST(BoundaryText, IsTheDigitsOfTheGuid) {
    const Guid guid{0x1A2B, 0x3C, 0xD, {0xE0, 1, 2, 3, 4, 5, 6, 0xFF}};
    EXPECT_EQ(BoundaryText(guid), "00001A2B003C000DE0010203040506FF");
}

TEST(AttachmentWriter, AMessageOfAnotherTypeBecomesThePreamble) {
    const std::string tail = "--#\n" + kFooPart + "\n--#--\n";
    ExpectAttached({
        {"the old body in front, its last line once more",
         "From: a\r\nContent-Type: text/plain;\r\n\tcharset=x\r\nTo: b\r\n\r\none\r\ntwo\r\n",
         "From: a\nContent-Type: multipart/mixed;\n\tboundary=\"#\"\nTo: b\n\none\ntwo\n"
         "--#\nContent-Type: text/plain;\n\tcharset=x\n\ntwo\n\n" +
             tail},
        {"no Content-Type field: boundary lines alone", "From: a\n\none\n",
         "From: a\n\none\n--#\n\none\n\n" + tail},
        {"another multipart type has no existing boundary, nothing is cut",
         "Content-Type: multipart/alternative;\n boundary=\"b\"\n\n--b\nx\n--b--\nend",
         "Content-Type: multipart/mixed;\n\tboundary=\"#\"\n\n--b\nx\n--b--\nend"
         "--#\nContent-Type: multipart/alternative;\n boundary=\"b\"\n\nend\n" +
             tail},
        {"the type is compared exactly", "Content-Type: Multipart/Mixed; boundary=\"b\"\n\n--b--\n",
         "Content-Type: multipart/mixed;\n\tboundary=\"#\"\n\n--b--\n"
         "--#\nContent-Type: Multipart/Mixed; boundary=\"b\"\n\n--b--\n\n" +
             tail},
        {"no body: the empty line is the last line read", "content-type: a/b\n\n",
         "Content-Type: multipart/mixed;\n\tboundary=\"#\"\n\n--#\ncontent-type: a/b\n\n\n\n" +
             tail},
        {"no empty line", "From: a\nContent-Type: a/b",
         "From: a\nContent-Type: multipart/mixed;\n\tboundary=\"#\"\n"
         "--#\nContent-Type: a/b\nContent-Type: a/b\n" +
             tail},
        {"an empty file", "", "--#\n\n\n" + tail},
        {"the field behind the continuation lines is of the same kind",
         "Content-Type: a/a\n x\nContent-Type: b/b\n\nend\n",
         "Content-Type: multipart/mixed;\n\tboundary=\"#\"\n"
         "Content-Type: multipart/mixed;\n\tboundary=\"#\"\n\nend\n"
         "--#\nContent-Type: b/b\n\nend\n\n" +
             tail},
        {"Ctrl-Z ends the text", "A: 1\r\n\r\none\r\n\x1atwo\r\n",
         "A: 1\n\none\n--#\n\none\n\n" + tail},
        {"a lone CR ends the header and is kept", "A: 1\n\rb\nContent-Type: a/b\n",
         "A: 1\n\rb\nContent-Type: a/b\n--#\n\nContent-Type: a/b\n\n" + tail},
    });
}

// The header of a message with the boundary "b".
const std::string kMixed = "Content-Type: multipart/mixed;\n boundary=\"b\"\n\n";

TEST(AttachmentWriter, AMultipartMessageGetsThePartBeforeItsClosingLine) {
    ExpectAttached({
        {"what follows the closing line is dropped",
         "Content-Type: multipart/mixed;\r\n\tboundary=\"b\"\r\nTo: "
         "x\r\n\r\npre\r\n--b\r\n\r\none\r\n"
         "--B--\r\nepilogue\r\n",
         "Content-Type: multipart/mixed;\n\tboundary=\"b\"\nTo: x\n\npre\n--b\n\none\n--b\n" +
             kFooPart + "\n--B--\n"},
        {"never closed: nothing was held back", kMixed + "--b\n\none\n",
         kMixed + "--b\n\none\n--b\n" + kFooPart + "\n"},
        {"without quotes the first character is taken for one",
         "Content-Type: multipart/mixed;\n boundary=abc\n\n--abc\n\none\n--abc--\n",
         "Content-Type: multipart/mixed;\n boundary=abc\n\n--abc\n\none\n--bc\n" + kFooPart +
             "\n--abc--\n"},
        {"a boundary without a closing quote goes to the end of its line",
         "Content-Type: multipart/mixed;\n boundary=\"b;x\n\n--b\n--b--\n--b;x--\n",
         "Content-Type: multipart/mixed;\n boundary=\"b;x\n\n--b\n--b--\n--b;x\n" + kFooPart +
             "\n--b;x--\n"},
        {"the parameter at the very end of its line",
         "Content-Type: multipart/mixed;\n boundary=\n\none\n--\ntwo\n",
         "Content-Type: multipart/mixed;\n boundary=\n\none\n--\n" + kFooPart + "\n--\n"},
        {"the last of several boundaries counts",
         "Content-Type: multipart/mixed;\n boundary=\"a\"\n boundary=\"b\"\n\n--a--\n--b--\n",
         "Content-Type: multipart/mixed;\n boundary=\"a\"\n boundary=\"b\"\n\n--a--\n--b\n" +
             kFooPart + "\n--b--\n"},
        {"a second field of another type is copied",
         "Content-Type: multipart/mixed;\n boundary=\"b\"\nContent-Type: a/b;\n\tx\n\n--b--\n",
         "Content-Type: multipart/mixed;\n boundary=\"b\"\nContent-Type: a/b;\n\tx\n\n--b\n" +
             kFooPart + "\n--b--\n"},
        {"the closing line at the end without a line break", kMixed + "one\n--b--",
         kMixed + "one\n--b\n" + kFooPart + "\n--b--"},
    });
}

TEST(AttachmentWriter, ABoundaryOnTheContentTypeLineIsNotFoundAndTheFirstDashesClose) {
    ExpectAttached(
        {{"the parts are dropped",
          "Content-Type: multipart/mixed; boundary=\"b\"\n\npre\n--b\n\none\n--b--\n",
          "Content-Type: multipart/mixed; boundary=\"b\"\n\npre\n--\n" + kFooPart + "\n--b\n"},
         {"nor is one in other letters",
          "Content-Type: multipart/mixed;\n Boundary=\"b\"\n\npre\n--b\n\none\n--b--\n",
          "Content-Type: multipart/mixed;\n Boundary=\"b\"\n\npre\n--\n" + kFooPart + "\n--b\n"}});
}

TEST(AttachmentWriter, EachPieceOfALongLineIsALineOfItsOwn) {
    const std::string full(1022, 'x');
    const std::string end = "--b\n" + kFooPart + "\n";
    ExpectAttached({
        {"a closing line that two pieces share is not seen", kMixed + full + "b--\n--b--\n",
         kMixed + full + "b--\n" + end + "--b--\n"},
        {"one that a piece holds is", kMixed + full + "xb--\n--b--\n",
         kMixed + full + "x" + end + "b--\n"},
        {"a second piece continues no field", "Content-Type: a/b\n " + full + "y\n\none\n",
         "Content-Type: multipart/mixed;\n\tboundary=\"#\"\ny\n\none\n--#\nContent-Type: a/b\n " +
             full + "\none\n\n--#\n" + kFooPart + "\n--#--\n"},
    });
}

TEST(AttachmentWriter, ThePartHeaderHoldsWhatIsGiven) {
    const std::string line76(76, 'A');
    struct PartCase {
        const char* name;
        AttachmentRecord part;
        std::string data;
        std::string text;
    };
    const AttachmentRecord everything{"<id>", "a.txt", "image/png", "base64", "inline"};
    const AttachmentRecord textType{nullptr, nullptr, "Text/plain", nullptr, nullptr};
    const AttachmentRecord quoted{nullptr, nullptr, "a/b", "quoted-printable", nullptr};
    const AttachmentRecord eightBit{nullptr, nullptr, nullptr, "8bit", nullptr};
    const AttachmentRecord otherCase{nullptr, nullptr, nullptr, "Base64", nullptr};
    const AttachmentRecord named{nullptr, "n", nullptr, nullptr, nullptr};
    const AttachmentRecord emptyFields{"", "", "", "", ""};
    const std::string lines = std::string(200, 'x') + "\nend";
    const PartCase cases[] = {
        {"everything", everything, "foo",
         "Content-Type: image/png;\n\tname=\"a.txt\"\nContent-Transfer-Encoding: base64\n"
         "Content-ID: <id>\nContent-Disposition: inline\n\nZm9v\n"},
        {"text is declared quoted-printable and holds base64", textType,
         std::string(114, '\0') + "f",
         "Content-Type: Text/plain\nContent-Transfer-Encoding: quoted-printable\n\n" + line76 +
             "\n" + line76 + "\nZg==\n"},
        {"so does a part whose record says so", quoted, "foo",
         "Content-Type: a/b\nContent-Transfer-Encoding: quoted-printable\n\nZm9v\n"},
        {"any other encoding means the data as it is", eightBit, lines,
         "Content-Type: application/octet-stream\nContent-Transfer-Encoding: 8bit\n\n" + lines},
        {"its name is compared exactly", otherCase, "foo",
         "Content-Type: application/octet-stream\nContent-Transfer-Encoding: Base64\n\nfoo"},
        {"no bytes: no body lines", named, "",
         "Content-Type: application/octet-stream;\n\tname=\"n\"\n"
         "Content-Transfer-Encoding: base64\n\n"},
        {"a field given empty is written empty", emptyFields, "d",
         "Content-Type: ;\n\tname=\"\"\nContent-Transfer-Encoding: \nContent-ID: \n"
         "Content-Disposition: \n\nd"},
    };
    for (const PartCase& row : cases) {
        EXPECT_EQ(Attach(kMixed + "--b--\n", row.part, row.data),
                  OnDisk(kMixed + "--b\n" + row.text + "\n--b--\n"))
            << row.name;
    }
}

}  // namespace
}  // namespace tarnwick

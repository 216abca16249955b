#include <gtest/gtest.h>

#include "common/Guid.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::ReadBytesOf;
using testing::ScratchFolder;
using testing::WriteBytesTo;

using Names = std::vector<std::string>;

constexpr AttachmentRecord kNothingGiven{};

class MessageAttachment : public ::testing::Test {
  protected:
    MessageAttachment() {
        SetGuidSource([] { return Guid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}; });
    }
    ~MessageAttachment() override { SetGuidSource(nullptr); }

    int Attach() { return AddAttachmentToMessage(message_, kNothingGiven, {"foo", 3}); }

    const ScratchFolder folder_;
    const std::string message_ = folder_.Path("m");
};

const std::string kPlain = "A: 1\r\n\r\nbody";
const std::string kPlainAttached =
    "A: 1\r\n\r\nbody--000000010002000304050607"
    "08090A0B\r\n\r\nbody\r\n"
    "--00000001000200030405060708090A0B\r\n"
    "Content-Type: application/octet-stream\r\nContent-Transfer-Encoding: base64\r\n\r\nZm9v\r\n"
    "\r\n--00000001000200030405060708090A0B--\r\n";

TEST_F(MessageAttachment, ReplacesTheMessageInTextMode) {
    WriteBytesTo(message_, kPlain);
    EXPECT_EQ(Attach(), 1);
    EXPECT_EQ(ReadBytesOf(message_), kPlainAttached);
    EXPECT_EQ(folder_.Names(), Names{"m"});
}

TEST_F(MessageAttachment, EachMessageGetsABoundaryOfItsOwn) {
    SetGuidSource(nullptr);
    std::vector<std::string> written;
    for (int round = 0; round < 2; ++round) {
        WriteBytesTo(message_, kPlain);
        Attach();
        written.push_back(ReadBytesOf(message_));
        EXPECT_EQ(written.back().size(), kPlainAttached.size());
    }
    EXPECT_NE(written[0], written[1]);
}

TEST_F(MessageAttachment, AMissingMessageBecomesAnEmptyFileAndOneWithoutAFolderNone) {
    EXPECT_EQ(Attach(), 1);
    EXPECT_EQ(folder_.Names(), Names{"m"});
    EXPECT_EQ(ReadBytesOf(message_), "");
    EXPECT_EQ(AddAttachmentToMessage(folder_.Path("no\\m"), kNothingGiven, {"foo", 3}), 1);
    EXPECT_EQ(AddAttachmentToMessage("", kNothingGiven, {"foo", 3}), 1);
    EXPECT_EQ(folder_.Names(), Names{"m"});
}

TEST_F(MessageAttachment, NoBytesAreTakenFromNowhere) {
    WriteBytesTo(message_, kPlain);
    EXPECT_EQ(AddAttachmentToMessage(message_, kNothingGiven, {nullptr, ~0U}), 1);
    std::string expected = kPlainAttached;
    expected.erase(expected.find("Zm9v"), 6);
    EXPECT_EQ(ReadBytesOf(message_), expected);
}

}  // namespace
}  // namespace tarnwick

// What the model of message edits does not show.
#include <gtest/gtest.h>

#include "common/Guid.h"
#include "common/Registry.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::ReadBytesOf;
using testing::WriteBytesTo;
using Names = std::vector<std::string>;

class MessageEdits : public ::testing::Test {
  protected:
    const testing::ScratchRegistry registry_;
    const testing::ScratchFolder folder_;
    const std::string message_ = folder_.Path("m");
    const testing::ReportRecorder reports_;
};

// The setting is read once, so this needs a process of its own.
using MessageEditsOwnProcess = MessageEdits;
TEST_F(MessageEditsOwnProcess, WithoutBrandingNoMessageIsOpened) {
    CallRecorder calls;
    for (const std::uint32_t later : {1U, 0U}) {
        EXPECT_EQ(SetMessageTempFlags(folder_.Path(), "m", "f", false), 1);
        EXPECT_EQ(SetMessageUid(folder_.Path(), "m", 1, 2, "f"), 1);
        EXPECT_EQ(StripMessageUidAndFlags(folder_.Path(), "m", 1, 2), 1);
        EXPECT_EQ(HasMessageTempFlags(folder_.Path(), "m"), 0);
        testing::ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled",
                                           later);
    }
    EXPECT_EQ(calls.Calls(), Names{});
    EXPECT_EQ(reports_.Joined(ReportChannel::Trace), "");
    SetMessageHeaderField(message_, "A:", "1", true);
    EXPECT_EQ(ReadBytesOf(message_), "A:: 1\r\n") << "works all the same";
}

TEST_F(MessageEdits, AMessageInAMissingFolderIsNeitherCreatedNorReplaced) {
    SetMessageHeaderField(folder_.Path("no\\m"), "A", "1", true);
    EXPECT_EQ(reports_.Joined(ReportChannel::StandardOutput),
              "Error: Could not open message file for input. Error Code: 3\r\n");
    EXPECT_EQ(AddAttachmentToMessage(folder_.Path("no\\m"), {}, {"foo", 3}), 1);
    EXPECT_EQ(AddAttachmentToMessage("", {}, {"foo", 3}), 1);
    EXPECT_EQ(folder_.Names(), Names{});
}

TEST_F(MessageEdits, AReadOnlyMessageStays) {
    WriteBytesTo(message_, "B: 2\r\n\r\n");
    SetFileAttributesA(message_.c_str(), FILE_ATTRIBUTE_READONLY);
    SetMessageHeaderField(message_, "A", "1", true);
    SetFileAttributesA(message_.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(folder_.Contents(), "m: B: 2\r\n\r\n\n");
}

TEST_F(MessageEdits, ASiblingBehindTheLastSeparatorOfEitherKindIsWrittenOver) {
    for (const std::string& path :
         {folder_.Path() + "/m", folder_.Path() + "\\.\\m", folder_.Path(".//m")}) {
        WriteBytesTo(message_, "A: 1\r\n\r\n");
        WriteBytesTo(folder_.Path("_m"), std::string(5000, 'x'));
        SetMessageHeaderField(path, "A", "2", false);
        EXPECT_EQ(folder_.Contents(), "m: A: 2\r\n\r\n\n") << path;
    }
}

TEST_F(MessageEdits, NullDataIsNoneAndEachMessageGetsABoundaryOfItsOwn) {
    SetGuidSource(nullptr);
    std::vector<std::string> written;
    for (int round = 0; round < 2; ++round) {
        WriteBytesTo(message_, "A: 1\r\n\r\n");
        EXPECT_EQ(AddAttachmentToMessage(message_, {}, {nullptr, ~0U}), 1);
        written.push_back(ReadBytesOf(message_));
        EXPECT_TRUE(written.back().find("base64\r\n\r\n\r\n--") != std::string::npos);
    }
    EXPECT_NE(written[0], written[1]);
}

}  // namespace
}  // namespace tarnwick

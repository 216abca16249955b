// Edits of messages under every fault, of messages far larger than what an edit may hold of them,
// and what the model does not show.
#include <gtest/gtest.h>

#include "tests/Library/activity/messages/MessageOperations.h"
#include "tests/support/ReportRecorder.h"
// Behind the headers that bring Windows in.
#include <psapi.h>

namespace tarnwick {
namespace {

using testing::ReadBytesOf;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

struct MessageEdits : ::testing::Test {
    const ScratchRegistry registry_;
    const testing::ScratchFolder folder_;
    const std::string message_ = folder_.Path("m");
};

TEST_F(MessageEdits, FaultsLoseOnlyWhatMustBeLost) {
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled", 1);
    SetGuidSource([] { return Guid{}; });
    testing::ExpectOutcomes(testing::MessageOperations());
}

// The setting is read once, so this needs a process of its own.
using MessageEditsOwnProcess = MessageEdits;
TEST_F(MessageEditsOwnProcess, WithoutBrandingNoMessageIsOpened) {
    const testing::ReportRecorder reports;
    testing::CallRecorder calls;
    for (const std::uint32_t later : {1U, 0U}) {
        EXPECT_EQ(SetMessageTempFlags(folder_.Path(), "m", "f", false), 1);
        EXPECT_EQ(SetMessageUid(folder_.Path(), "m", 1, 2, "f"), 1);
        EXPECT_EQ(StripMessageUidAndFlags(folder_.Path(), "m", 1, 2), 1);
        EXPECT_EQ(HasMessageTempFlags(folder_.Path(), "m"), 0);
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled", later);
    }
    EXPECT_EQ(calls.Count(), 0);
    EXPECT_EQ(reports.Joined(ReportChannel::Trace), "");
    SetMessageHeaderField(message_, "A:", "1", true);
    EXPECT_EQ(ReadBytesOf(message_), "A:: 1\r\n") << "works all the same";
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
    std::set<std::string> written;
    for (int round = 0; round < 2; ++round) {
        WriteBytesTo(message_, "A: 1\r\n\r\n");
        EXPECT_EQ(AddAttachmentToMessage(message_, {}, {nullptr, ~0U}), 1);
        written.insert(ReadBytesOf(message_));
        EXPECT_NE(ReadBytesOf(message_).find("base64\r\n\r\n\r\n--"), std::string::npos);
    }
    EXPECT_EQ(written.size(), 2U);
}

std::size_t PeakMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PeakWorkingSetSize;
}

TEST_F(MessageEdits, MemoryGrowsNeitherWithTheAttachmentNorWithTheMessage) {
    WriteBytesTo(message_, "A: 1\r\n\r\n");
    const std::string data(std::size_t{100} << 20, 'x');
    const AttachmentData big{data.data(), static_cast<std::uint32_t>(data.size())};
    const auto size = [&] { return std::filesystem::file_size(message_); };
    const std::size_t before = PeakMemory();
    ASSERT_GT(before, data.size());
    AddAttachmentToMessage(message_, {}, big);
    const std::uintmax_t encoded = size();
    EXPECT_GT(encoded, data.size() / 57 * 78);
    AddAttachmentToMessage(message_, {nullptr, nullptr, nullptr, "binary", nullptr}, big);
    const std::uintmax_t both = size();
    EXPECT_GT(both, encoded + data.size());
    SetMessageHeaderField(message_, "B", "2", false);
    EXPECT_EQ(size(), both + 6);
    EXPECT_LT(PeakMemory() - before, std::size_t{8} << 20);
}

}  // namespace
}  // namespace tarnwick

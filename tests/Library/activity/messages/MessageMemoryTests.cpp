// Messages and attachments far larger than what an edit may hold of them.
#include <gtest/gtest.h>

#include <functional>

#include "common/Files.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "tests/support/WindowsFixtures.h"
// Behind the headers that bring Windows in.
#include <psapi.h>

namespace tarnwick {
namespace {

constexpr std::size_t kBig = 100U << 20;
constexpr std::size_t kAllowedGrowth = 8U << 20;

std::size_t PeakMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PeakWorkingSetSize;
}

std::int64_t SizeOf(const std::string& path) {
    return File(path, kOpenRead).Size().value_or(-1);
}

TEST(MessageMemory, GrowsNeitherWithTheAttachmentNorWithTheMessage) {
    const testing::ScratchFolder folder;
    const std::string path = folder.Path("m");
    testing::WriteBytesTo(path, "A: 1\r\n\r\n");
    const std::string data(kBig, 'x');
    const AttachmentData big{data.data(), static_cast<std::uint32_t>(data.size())};
    const AttachmentRecord unencoded{nullptr, nullptr, nullptr, "binary", nullptr};
    const std::size_t before = PeakMemory();
    ASSERT_GT(before, kBig);
    AddAttachmentToMessage(path, {}, big);
    const std::int64_t encodedSize = SizeOf(path);
    EXPECT_GT(encodedSize, static_cast<std::int64_t>(kBig / 57 * 78));
    AddAttachmentToMessage(path, unencoded, big);
    EXPECT_GT(SizeOf(path), encodedSize + static_cast<std::int64_t>(kBig));
    const std::int64_t size = SizeOf(path);
    SetMessageHeaderField(path, "B", "2", false);
    EXPECT_EQ(SizeOf(path), size + 6);
    EXPECT_LT(PeakMemory() - before, kAllowedGrowth);
}

}  // namespace
}  // namespace tarnwick

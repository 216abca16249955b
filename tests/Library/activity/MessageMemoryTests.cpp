// Messages and attachments far larger than what an edit may hold of them.
#include <gtest/gtest.h>

#include <functional>

#include "common/Files.h"
#include "Library/activity/MessageAttachment.h"
#include "Library/activity/MessageHeaders.h"
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

TEST(MessageMemory, DoesNotGrowWithTheMessage) {
    const testing::ScratchFolder folder;
    const std::string path = folder.Path("m");
    {
        File file(path, kOpenTruncate);
        ASSERT_TRUE(file.Write("A: 1\r\n\r\n"));
        const std::string block = std::string((1U << 20) - 2, 'x') + "\r\n";
        for (std::size_t size = 0; size < kBig; size += block.size())
            ASSERT_TRUE(file.Write(block));
    }
    const std::size_t before = PeakMemory();
    ASSERT_GT(before, 0U);
    SetMessageHeaderField(path, "B", "2", false);
    EXPECT_EQ(SizeOf(path), static_cast<std::int64_t>(kBig + 14));
    AddAttachmentToMessage(path, {}, {"foo", 3});
    EXPECT_GT(SizeOf(path), static_cast<std::int64_t>(kBig + 100));
    EXPECT_LT(PeakMemory() - before, kAllowedGrowth);
}

TEST(MessageMemory, DoesNotGrowWithTheAttachment) {
    const testing::ScratchFolder folder;
    const std::string path = folder.Path("m");
    testing::WriteBytesTo(path, "A: 1\r\n\r\n");
    const std::string data(kBig, 'x');
    const std::size_t before = PeakMemory();
    ASSERT_GT(before, kBig);
    AddAttachmentToMessage(path, {}, {data.data(), static_cast<std::uint32_t>(data.size())});
    EXPECT_GT(SizeOf(path), static_cast<std::int64_t>(kBig / 57 * 78));
    const AttachmentRecord unencoded{nullptr, nullptr, nullptr, "binary", nullptr};
    AddAttachmentToMessage(path, unencoded, {data.data(), static_cast<std::uint32_t>(data.size())});
    EXPECT_LT(PeakMemory() - before, kAllowedGrowth);
}

}  // namespace
}  // namespace tarnwick

#include "Library/FolderFlags.h"

#include <gtest/gtest.h>

#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::ReadBytesOf;
using testing::ScratchFolder;

TEST(FolderFlags, ChangeFlagIsWrittenFoundAndCleared) {
    const ScratchFolder folder;
    EXPECT_FALSE(ClearFolderChanged(folder.Path()));
    EXPECT_TRUE(MarkFolderChanged(folder.Path()));
    EXPECT_EQ(ReadBytesOf(folder.Path("_CHANGE.DTY")),
              "This file is a flag file that denotes that this folder has been changed");
    EXPECT_TRUE(IsFolderMarkedChanged(folder.Path()));
    EXPECT_TRUE(ClearFolderChanged(folder.Path()));
    EXPECT_TRUE(folder.Names().empty());
    EXPECT_FALSE(MarkFolderChanged(folder.Path("missing")));
}

TEST(FolderFlags, CachedFlagDoesNothingUntilItIsSwitchedOn) {
    const ScratchFolder folder;
    EXPECT_FALSE(WriteCachedFlag(folder.Path()));
    testing::WriteBytesTo(folder.Path("_CACHED.DTY"), "x");
    EXPECT_FALSE(HasCachedFlag(folder.Path()));
    EXPECT_FALSE(DeleteCachedFlag(folder.Path()));
    CachedTransactionsEnabled() = true;
    EXPECT_TRUE(WriteCachedFlag(folder.Path()));
    EXPECT_EQ(ReadBytesOf(folder.Path("_CACHED.DTY")),
              "This file is a flag file that there are cached transactions that are not written to "
              "disk.");
    EXPECT_TRUE(HasCachedFlag(folder.Path()));
    EXPECT_TRUE(DeleteCachedFlag(folder.Path()));
    EXPECT_FALSE(HasCachedFlag(folder.Path()));
}

}  // namespace
}  // namespace tarnwick

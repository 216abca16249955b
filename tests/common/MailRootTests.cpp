#include <gtest/gtest.h>

#include "common/MailRoot.h"
#include "common/Registry.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::ScratchRegistry;

TEST(MailRoot, FallsBackToTheDataDirectory) {
    const ScratchRegistry registry;
    EXPECT_EQ(ReadMailRoot(), "");
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Data Directory", "D:\\Data");
    EXPECT_EQ(ReadMailRoot(), "D:\\Data\\Postoffices");
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", "E:\\Mail");
    EXPECT_EQ(ReadMailRoot(), "E:\\Mail");
}

}  // namespace
}  // namespace tarnwick

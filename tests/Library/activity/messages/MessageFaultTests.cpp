// Every edit of a message with each of its file calls and allocations failing, and with the process
// dying at the calls.
#include <gtest/gtest.h>

#include "tests/Library/activity/messages/MessageOperations.h"

namespace tarnwick {
namespace {

TEST(MessageFaults, LoseOnlyWhatMustBeLost) {
    const testing::ScratchRegistry registry;
    testing::ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled", 1);
    SetGuidSource([] { return Guid{}; });
    testing::ExpectOutcomes(testing::MessageOperations());
}

}  // namespace
}  // namespace tarnwick

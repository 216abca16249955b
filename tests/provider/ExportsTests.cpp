// The built module as a host program sees it: loaded from its file.
#include <gtest/gtest.h>

#include "tests/provider/CalendarFixture.h"

// Needs the Windows types of the headers above.
#include <psapi.h>

namespace tarnwick {
namespace {

using testing::CalendarTest;
using testing::MakeRecord;

class Module {
  public:
    Module() : module_(LoadLibraryA("TWAICP.DLL")) {}
    bool IsLoaded() const { return module_.IsValid(); }
    template <typename... Arguments>
    std::uint32_t Call(const char* name, Arguments... arguments) const {
        using Function = std::uint32_t (*)(Arguments...);
        const auto function = reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(module_.Get(), name)));
        return function == nullptr ? ~0U : function(arguments...);
    }

  private:
    ModuleHandle module_;
};

class Exports : public CalendarTest {};

// What each does is shown of the functions themselves; here that each is there, and refuses a
// missing record.
TEST_F(Exports, AreThereAndRefuseAMissingRecord) {
    const Module module;
    ASSERT_TRUE(module.IsLoaded());
    void* const none = nullptr;
    AppointmentRecord record = MakeRecord(1, 2, "A");
    for (const char* name :
         {"AppointmentAdd", "AppointmentEdit", "AppointmentRemove", "AppointmentGet",
          "AppointmentFindFirst", "AppointmentFindNext", "AppointmentGetLastError",
          "AppointmentItemWriteFirstChunk", "AppointmentItemWriteNextChunk",
          "AppointmentItemGetFirstChunk", "AppointmentItemGetNextChunk", "AppointmentItemGetSize",
          "AppointmentItemDelete", "AppointmentListItemFindFirst", "AppointmentListItemFindNext",
          "AppointmentListItemFindClose", "GetFreeBusyData", "SetCurrentHost"}) {
        EXPECT_EQ(module.Call(name, none, &record), 0U) << name;
    }
    EXPECT_EQ(module.Call("AppointmentEdit", &record, none), 0U);
    EXPECT_EQ(module.Call("AppointmentItemGetCurrentOffset"), ~0U);
    EXPECT_EQ(module.Call("SetCurrentHost", ""), 1U);
    EXPECT_EQ(NamesInFolder(), "");
}

struct Usage {
    DWORD handles = 0;
    DWORD nextSlot = 0;
    std::size_t bytes = 0;
};

Usage CurrentUsage() {
    Usage usage;
    GetProcessHandleCount(GetCurrentProcess(), &usage.handles);
    usage.nextSlot = TlsAlloc();
    TlsFree(usage.nextSlot);
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    usage.bytes = counters.PagefileUsage;
    return usage;
}

TEST_F(Exports, LoadingCallingAndUnloadingLeavesNothingBehind) {
    constexpr int kRounds = 1000;
    constexpr int kWarmUp = 100;
    constexpr std::size_t kAllowedBytes = 128 * 1024;
    Put("Y11M08.CAL", "1\t2\tA");
    Usage before;
    for (int round = 0; round < kRounds + kWarmUp; ++round) {
        if (round == kWarmUp) before = CurrentUsage();
        const Module module;
        AppointmentRecord record = MakeRecord(0, 0, "A");
        ASSERT_EQ(module.Call("AppointmentGet", &record), 1U) << round;
        record = MakeRecord(0, 0, "C");
        ASSERT_EQ(module.Call("AppointmentFindFirst", &record), 0U) << round;
        record = MakeRecord(0, 0, "B");
        ASSERT_EQ(module.Call("AppointmentAdd", &record), round == 0 ? 1U : 0U) << round;
    }
    const Usage after = CurrentUsage();
    EXPECT_EQ(after.handles, before.handles);
    EXPECT_EQ(after.nextSlot, before.nextSlot);
    EXPECT_LE(after.bytes, before.bytes + kAllowedBytes);
}

}  // namespace
}  // namespace tarnwick

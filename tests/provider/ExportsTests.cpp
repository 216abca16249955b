// The built module as a host program sees it: loaded from its file.
#include <gtest/gtest.h>

#include "tests/provider/CalendarFixture.h"

// Needs the Windows types of the headers above.
#include <psapi.h>

namespace tarnwick {
namespace {

class Exports : public testing::CalendarTest {
  protected:
    template <typename... Arguments>
    std::uint32_t Call(const char* name, Arguments... arguments) const {
        using Function = std::uint32_t (*)(Arguments...);
        const auto function = reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(module_.Get(), name)));
        return function == nullptr ? ~0U : function(arguments...);
    }
    std::uint32_t CallFor(const char* name, const char* id) const {
        AppointmentRecord record = testing::MakeRecord(1, 2, id);
        return Call(name, &record);
    }

    ModuleHandle module_{LoadLibraryA("TWAICP.DLL")};
};

// What each does is shown of the functions themselves; here that one that has a record refuses
// none.
TEST_F(Exports, RefuseAMissingRecord) {
    void* const none = nullptr;
    AppointmentRecord record = testing::MakeRecord(1, 2, "A");
    EXPECT_EQ(Call("AppointmentEdit", none, &record), 0U);
    EXPECT_EQ(Call("AppointmentEdit", &record, none), 0U);
    EXPECT_EQ(Call("SetCurrentHost", none), 0U);
    for (const char* name : {"AppointmentGetLastError", "AppointmentListItemFindFirst",
                             "AppointmentListItemFindNext", "AppointmentListItemFindClose"}) {
        EXPECT_EQ(Call(name, &record, &record), 0U) << name;
    }
    EXPECT_EQ(Call("AppointmentItemGetCurrentOffset"), ~0U);
    EXPECT_FALSE(testing::PathExists(folder_));
}

struct Usage {
    DWORD handles = 0;
    DWORD nextSlot = TlsAlloc();
    PROCESS_MEMORY_COUNTERS memory{};
    Usage() {
        TlsFree(nextSlot);
        GetProcessHandleCount(GetCurrentProcess(), &handles);
        GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
    }
};

TEST_F(Exports, LoadingCallingAndUnloadingLeavesNothingBehind) {
    // So long that a buffer left behind by each module shows.
    Put("Y11M08.CAL", "1\t2\tA\r\n1\t2\tB\r\n1\t2\t" + std::string(400, 'D'));
    module_.Close();
    Usage before;
    for (int round = 0; round < 1100; ++round) {
        if (round == 100) before = Usage();
        module_ = ModuleHandle(LoadLibraryA("TWAICP.DLL"));
        ASSERT_EQ(CallFor("AppointmentGet", "A"), 1U) << round;
        ASSERT_EQ(CallFor("AppointmentFindFirst", "C"), 0U) << round;
        ASSERT_EQ(CallFor("AppointmentAdd", "B"), 0U) << round;
        module_.Close();
    }
    const Usage after;
    EXPECT_EQ(after.handles, before.handles);
    EXPECT_EQ(after.nextSlot, before.nextSlot);
    EXPECT_LE(after.memory.PagefileUsage, before.memory.PagefileUsage + 128 * 1024);
}

}  // namespace
}  // namespace tarnwick

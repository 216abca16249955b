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

TEST_F(Exports, AnEntryGoesThroughAllOfThem) {
    const Module module;
    ASSERT_TRUE(module.IsLoaded());
    AppointmentRecord record = MakeRecord(100, 200, "A", "Y11M08D03");
    EXPECT_EQ(module.Call("AppointmentAdd", &record), 1U);
    EXPECT_EQ(module.Call("AppointmentAdd", &record), 0U);
    EXPECT_EQ(module.Call("AppointmentGetLastError"), 0U);
    AppointmentRecord changed = MakeRecord(300, 400, "B");
    EXPECT_EQ(module.Call("AppointmentEdit", &record, &changed), 1U);
    EXPECT_EQ(ContentOf("Y11M08D03.CAL"), "300\t400\tB");
    for (const char* name : {"AppointmentGet", "AppointmentFindFirst"}) {
        record = MakeRecord(0, 0, "", "Y11M08D03");
        EXPECT_EQ(module.Call(name, &record), 1U);
        EXPECT_EQ(record.start, 300) << name;
    }
    EXPECT_EQ(module.Call("AppointmentFindNext", &record), 0U);
    FreeBusyRecord days{};
    StoreField(days.postoffice, "PO");
    StoreField(days.mailbox, "box");
    EXPECT_EQ(module.Call("GetFreeBusyData", &days), 1U);
    EXPECT_STREQ(days.result, "03");
    EXPECT_EQ(module.Call("AppointmentRemove", &record), 1U);
    EXPECT_FALSE(Exists("Y11M08D03.CAL"));
    void* const nothing = nullptr;
    EXPECT_EQ(module.Call("AppointmentListItemFindFirst", nothing, nothing), 0U);
    EXPECT_EQ(module.Call("AppointmentListItemFindNext", nothing, nothing), 0U);
    EXPECT_EQ(module.Call("AppointmentListItemFindClose", nothing), 0U);
    EXPECT_EQ(module.Call("SetCurrentHost", ""), 1U);
}

TEST_F(Exports, ItemsGoThroughInChunks) {
    const Module module;
    testing::MakePath(folder_);
    AppointmentItemRecord item{};
    StoreField(item.postoffice, "PO");
    StoreField(item.mailbox, "box");
    StoreField(item.itemFileName, "a.itm");
    EXPECT_EQ(module.Call("AppointmentItemGetCurrentOffset"), ~0U);
    StoreField(item.data, "first ");
    EXPECT_EQ(module.Call("AppointmentItemWriteFirstChunk", &item), 1U);
    StoreField(item.data, "next");
    EXPECT_EQ(module.Call("AppointmentItemWriteNextChunk", &item), 1U);
    EXPECT_EQ(ContentOf("a.itm"), "first next");
    EXPECT_EQ(module.Call("AppointmentItemGetFirstChunk", &item), 1U);
    EXPECT_EQ(item.length, 10);
    EXPECT_EQ(module.Call("AppointmentItemGetCurrentOffset"), 10U);
    EXPECT_EQ(module.Call("AppointmentItemGetNextChunk", &item), 0U);
    EXPECT_EQ(module.Call("AppointmentItemGetSize", &item), 0U);
    EXPECT_NE(item.length, 0);
    EXPECT_EQ(module.Call("AppointmentItemDelete", &item), 1U);
    EXPECT_FALSE(Exists("a.itm"));
}

TEST_F(Exports, RefuseAMissingRecord) {
    const Module module;
    void* const missing = nullptr;
    AppointmentRecord record = MakeRecord(1, 2, "A");
    for (const char* name :
         {"AppointmentAdd", "AppointmentRemove", "AppointmentGet", "AppointmentFindFirst",
          "AppointmentFindNext", "AppointmentItemWriteFirstChunk", "AppointmentItemWriteNextChunk",
          "AppointmentItemGetFirstChunk", "AppointmentItemGetNextChunk", "AppointmentItemGetSize",
          "AppointmentItemDelete", "GetFreeBusyData", "SetCurrentHost"}) {
        EXPECT_EQ(module.Call(name, missing), 0U) << name;
    }
    EXPECT_EQ(module.Call("AppointmentEdit", missing, &record), 0U);
    EXPECT_EQ(module.Call("AppointmentEdit", &record, missing), 0U);
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

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

// What each does is shown of the functions themselves; here that each name leads to its own.
TEST_F(Exports, EachIsThereUnderItsNameAndRefusesAMissingRecord) {
    const Module module;
    ASSERT_TRUE(module.IsLoaded());
    testing::MakePath(folder_);
    AppointmentRecord record = MakeRecord(100, 200, "A", "Y11M08D03");
    AppointmentRecord changed = MakeRecord(300, 400, "B");
    AppointmentItemRecord item{};
    FreeBusyRecord days{};
    const auto place = [](auto& at) {
        StoreField(at.postoffice, "PO");
        StoreField(at.mailbox, "box");
    };
    place(item), place(days);
    StoreField(item.itemFileName, "a.itm");
    StoreField(item.data, "chunk");
    void* const none = nullptr;
    const struct {
        const char* name;
        void* record;
        std::uint32_t result;
        const char* after;  // the calendar, the item
    } rows[] = {
        {"AppointmentAdd", &record, 1, "100\t200\tA, "},
        {"AppointmentFindFirst", &record, 1, "100\t200\tA, "},
        {"AppointmentFindNext", &record, 0, "100\t200\tA, "},
        {"AppointmentEdit", &record, 1, "300\t400\tB, "},
        {"AppointmentGet", &record, 0, "300\t400\tB, "},
        {"AppointmentItemWriteFirstChunk", &item, 1, "300\t400\tB, chunk"},
        {"AppointmentItemWriteNextChunk", &item, 1, "300\t400\tB, chunkchunk"},
        {"AppointmentItemGetFirstChunk", &item, 1, "300\t400\tB, chunkchunk"},
        {"AppointmentItemGetNextChunk", &item, 0, "300\t400\tB, chunkchunk"},
        {"AppointmentItemGetSize", &item, 0, "300\t400\tB, chunkchunk"},
        {"AppointmentItemDelete", &item, 1, "300\t400\tB, "},
        {"GetFreeBusyData", &days, 1, "300\t400\tB, "},
        {"AppointmentRemove", &changed, 0, "300\t400\tB, "},
    };
    for (const auto& row : rows) {
        const bool two = row.name == std::string("AppointmentEdit");
        EXPECT_EQ(module.Call(row.name, none, &changed), 0U) << row.name;
        EXPECT_TRUE(!two || module.Call(row.name, &record, none) == 0U) << row.name;
        EXPECT_EQ(module.Call(row.name, row.record, &changed), row.result) << row.name;
        EXPECT_EQ(ContentOf("Y11M08D03.CAL") + ", " + ContentOf("a.itm"), row.after) << row.name;
    }
    EXPECT_STREQ(days.result, "03");
    EXPECT_NE(item.length, 0);
    EXPECT_EQ(module.Call("AppointmentItemGetCurrentOffset"), ~0U) << "the size has reset it";
    EXPECT_EQ(module.Call("AppointmentGetLastError"), 0U);
    for (const char* name : {"First", "Next", "Close"}) {
        EXPECT_EQ(module.Call((std::string("AppointmentListItemFind") + name).c_str(), none, none),
                  0U);
    }
    EXPECT_EQ(module.Call("SetCurrentHost", ""), 1U);
    EXPECT_EQ(module.Call("SetCurrentHost", none), 0U);
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

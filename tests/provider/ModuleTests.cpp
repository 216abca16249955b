// What the module takes from the registry and the loader.
#include <gtest/gtest.h>

#include <thread>

#include "provider/CalendarPaths.h"
#include "provider/Operations.h"
#include "tests/provider/CalendarFixture.h"

namespace tarnwick {
namespace {

using testing::MakeRecord;
using testing::ScratchRegistry;

class ModuleState : public ::testing::Test {
  protected:
    static void AttachTo(const char* value, const std::string& text) {
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, value, text);
        ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
    }
    static void AttachTo(const std::string& mailRoot) { AttachTo("Mail Root", mailRoot); }

    ScratchRegistry registry_;
};

TEST_F(ModuleState, SettingsAreReadWhenTheModuleIsLoaded) {
    EXPECT_EQ(StoreEventNotificationMode(), 0U);
    const char* const rows[][3] = {{"Application Directory", "C:\\unused", ""},
                                   {"Data Directory", "D:\\Data", "D:\\Data\\Postoffices"},
                                   {"Mail Root", "E:\\Mail", "E:\\Mail"},
                                   {"Mail Root", "", ""}};  // there and empty, it was read
    for (const auto& [value, text, root] : rows) {
        AttachTo(value, text);
        EXPECT_EQ(MailRoot(), root);
        EXPECT_EQ(LockRoot(), root);
    }
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Store Event Notification Mode", 2);
    EXPECT_TRUE(OnModuleNotification(DLL_THREAD_ATTACH));
    EXPECT_EQ(StoreEventNotificationMode(), 0U);
    AttachTo("E:\\Mail");
    EXPECT_EQ(StoreEventNotificationMode(), 2U);
}

TEST_F(ModuleState, AttachTakesTheOneSlotThatIsLeftAndFailsWithoutOne) {
    std::vector<DWORD> slots = {TlsAlloc()};
    while (slots.back() != TLS_OUT_OF_INDEXES) slots.push_back(TlsAlloc());
    slots.pop_back();
    for (const bool isOneLeft : {false, true, true}) {
        EXPECT_EQ(OnModuleNotification(DLL_PROCESS_ATTACH), isOneLeft);
        EXPECT_EQ(TlsAlloc(), TLS_OUT_OF_INDEXES);
        EXPECT_TRUE(OnModuleNotification(DLL_PROCESS_DETACH));
        // Given back once: from then on it is another's.
        const DWORD others = TlsAlloc();
        EXPECT_TRUE(OnModuleNotification(DLL_PROCESS_DETACH));
        EXPECT_EQ(TlsAlloc(), TLS_OUT_OF_INDEXES);
        TlsFree(isOneLeft ? others : slots.back());
    }
    for (const DWORD slot : slots) TlsFree(slot);
}

TEST_F(ModuleState, EveryThreadHasAPositionAndUnknownReasonsAreFine) {
    AttachTo("E:\\Mail");
    SetFindPosition(-3);
    std::thread([] {
        SetFindPosition(7);
        EXPECT_TRUE(OnModuleNotification(DLL_THREAD_ATTACH));
        EXPECT_EQ(FindPosition(), 0);
    }).join();
    EXPECT_TRUE(OnModuleNotification(DLL_THREAD_DETACH));
    EXPECT_TRUE(OnModuleNotification(77));
    EXPECT_EQ(FindPosition(), -3);
}

// What would be cut short is refused: calendar, replacement and block file would be one file, or
// another calendar's.
TEST_F(ModuleState, KeysAndPathsHaveTheirCapacity) {
    const testing::CountingSleeper sleeper;
    AppointmentRecord record = MakeRecord(1, 2, "A");
    const auto refusesAll = [&] {
        return !AddAppointment(record) && !EditAppointment(record, record) &&
               !RemoveAppointment(record) && !GetAppointment(record) &&
               !FindFirstAppointment(record) && sleeper.Count() == 0;
    };
    AttachTo("E:\\" + std::string(997, 'r'));
    EXPECT_EQ(CalendarFile(NamesOf(record)).size(), 1023U);
    EXPECT_TRUE(refusesAll());
    AppointmentItemRecord item{};
    std::fill(std::begin(item.itemFileName), std::end(item.itemFileName), 'i');
    testing::CallRecorder calls;
    EXPECT_EQ(RewriteItem(item), 1U);
    EXPECT_EQ(calls.Calls(), (std::vector<std::string>{"DeleteFile", "CreateFile"}));
    AttachTo("E:\\" + std::string(1022 - 3 - 21 - 64, 'r'));
    for (const std::string& name : {std::string(64, 'i'), std::string()}) {
        calls.Clear();
        AppointmentItemDelete(&item);
        EXPECT_EQ(calls.Calls().front(), "DeleteFile" + (name.empty() ? "" : " " + name));
        item.postoffice[0] = 'p';
    }
    // The folder's path goes through the key's 512 bytes.
    AttachTo("E:\\" + std::string(485, 'r'));
    calls.Clear();
    PrepareCalendarFolder(NamesOf(record));
    EXPECT_EQ(calls.Calls().front(), "CreateDirectory Calend");

    AttachTo("E:\\Mail");
    std::fill(std::begin(record.postoffice), std::end(record.postoffice), 'p');
    std::fill(std::begin(record.mailbox), std::end(record.mailbox), 'm');
    EXPECT_EQ(CalendarKey(NamesOf(record)).size(), 511U);
    EXPECT_TRUE(refusesAll());
    // The longest key that is whole: two names, a calendar of six and twenty characters between.
    EXPECT_TRUE(NamesCalendar({std::string(243, 'p'), std::string(242, 'm'), "Y11M08"}));
    EXPECT_FALSE(NamesCalendar({std::string(243, 'p'), std::string(243, 'm'), "Y11M08"}));
    EXPECT_EQ(NamesOf(record).postoffice, std::string(256, 'p'));
    item = {};
    Shared().itemReadOffset = 2147483647;
    EXPECT_EQ(AppointmentItemGetNextChunk(&item), 0U);
}

}  // namespace
}  // namespace tarnwick

#include "provider/ModuleState.h"

#include <gtest/gtest.h>

#include <thread>

#include "provider/AppointmentItems.h"
#include "provider/Appointments.h"
#include "provider/CalendarPaths.h"
#include "tests/provider/CalendarFixture.h"

namespace tarnwick {
namespace {

using testing::MakeRecord;
using testing::ScratchRegistry;

class ModuleState : public ::testing::Test {
  protected:
    static void Set(const char* value, const std::string& text) {
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, value, text);
    }
    static void Attach() { ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH)); }

    ScratchRegistry registry_;
};

TEST_F(ModuleState, SettingsAreReadWhenTheModuleIsLoaded) {
    const char* const rows[][3] = {{"Application Directory", "C:\\unused", ""},
                                   {"Data Directory", "D:\\Data", "D:\\Data\\Postoffices"},
                                   {"Mail Root", "E:\\Mail", "E:\\Mail"},
                                   {"Mail Root", "", ""}};  // there and empty, it was read
    for (const auto& [value, text, root] : rows) {
        Set(value, text);
        Attach();
        EXPECT_EQ(MailRoot(), root);
        EXPECT_EQ(LockRoot(), root);
    }
    EXPECT_EQ(StoreEventNotificationMode(), 0U);
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Store Event Notification Mode", 2);
    Set("Mail Root", "E:\\Mail");
    EXPECT_TRUE(OnModuleNotification(DLL_THREAD_ATTACH));
    EXPECT_EQ(StoreEventNotificationMode(), 0U);
    EXPECT_EQ(MailRoot(), "");
    Attach();
    EXPECT_EQ(StoreEventNotificationMode(), 2U);
}

TEST_F(ModuleState, AttachFailsWhenNoSlotIsLeft) {
    std::vector<DWORD> slots = {TlsAlloc()};
    while (slots.back() != TLS_OUT_OF_INDEXES) slots.push_back(TlsAlloc());
    slots.pop_back();
    EXPECT_FALSE(OnModuleNotification(DLL_PROCESS_ATTACH));
    EXPECT_TRUE(OnModuleNotification(DLL_PROCESS_DETACH));
    TlsFree(slots.back());
    // Attach takes the one slot and detach gives it back.
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
        EXPECT_EQ(TlsAlloc(), TLS_OUT_OF_INDEXES);
        EXPECT_TRUE(OnModuleNotification(DLL_PROCESS_DETACH));
    }
    for (const DWORD slot : slots) TlsFree(slot);
}

TEST_F(ModuleState, EveryThreadHasAPositionAndUnknownReasonsAreFine) {
    Attach();
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

TEST_F(ModuleState, KeysAndPathsAreCutToTheirCapacity) {
    Set("Mail Root", "E:\\" + std::string(997, 'r'));
    Attach();
    AppointmentRecord record = MakeRecord(1, 2, "A");
    EXPECT_EQ(CalendarFile(NamesOf(record)).size(), 1023U);
    // Cut short, calendar, replacement and block file would be one file.
    EXPECT_FALSE(NamesCalendar(NamesOf(record)));
    const testing::CountingSleeper sleeper;
    const auto refusesAll = [&] {
        return !AddAppointment(record) && !EditAppointment(record, record) &&
               !RemoveAppointment(record) && !GetAppointment(record) &&
               !FindFirstAppointment(record) && sleeper.Count() == 0;
    };
    EXPECT_TRUE(refusesAll());
    // Nor may an item be written or deleted under a name cut short; the longest is not.
    AppointmentItemRecord item{};
    std::fill(std::begin(item.itemFileName), std::end(item.itemFileName), 'i');
    testing::CallRecorder calls;
    EXPECT_EQ(RewriteItem(item), 1U);
    EXPECT_EQ(calls.Calls(), (std::vector<std::string>{"DeleteFile", "CreateFile"}));
    calls.Clear();
    Set("Mail Root", "E:\\" + std::string(1022 - 3 - 21 - 64, 'r'));
    Attach();
    EXPECT_TRUE(DeleteItem(item));
    EXPECT_EQ(calls.Calls().front(), "DeleteFile " + std::string(64, 'i'));
    calls.Clear();
    item.postoffice[0] = 'p';
    EXPECT_TRUE(DeleteItem(item));
    EXPECT_EQ(calls.Calls().front(), "DeleteFile");
    calls.Clear();

    // The folder's path goes through the key's 512 bytes.
    Set("Mail Root", "E:\\" + std::string(485, 'r'));
    Attach();
    calls.Clear();
    PrepareCalendarFolder(NamesOf(record));
    EXPECT_EQ(calls.Calls(), (std::vector<std::string>{"CreateDirectory Calend"}));

    Set("Mail Root", "E:\\Mail");
    Attach();
    std::fill(std::begin(record.postoffice), std::end(record.postoffice), 'p');
    std::fill(std::begin(record.mailbox), std::end(record.mailbox), 'm');
    EXPECT_EQ(CalendarKey(NamesOf(record)).size(), 511U);
    EXPECT_TRUE(refusesAll());
    // The longest key that is whole: two names, a calendar of six and twenty characters between.
    EXPECT_TRUE(NamesCalendar({std::string(243, 'p'), std::string(242, 'm'), "Y11M08"}));
    EXPECT_FALSE(NamesCalendar({std::string(243, 'p'), std::string(243, 'm'), "Y11M08"}));
    EXPECT_EQ(NamesOf(record).postoffice, std::string(256, 'p'));
}

}  // namespace
}  // namespace tarnwick

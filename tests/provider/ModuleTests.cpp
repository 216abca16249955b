// What the module takes from the registry and the loader, and what its exports send to a server.
#include <gtest/gtest.h>

#include <thread>

#include "provider/CalendarPaths.h"
#include "provider/Operations.h"
#include "remote/Envelope.h"
#include "remote/RemoteSession.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/remote/SessionWorld.h"
#include "tests/support/ReportRecorder.h"

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

using Bytes = std::vector<std::byte>;

template <auto function, typename Record>
std::uint32_t Run(Bytes& first, Bytes& second) {
    auto* const record = reinterpret_cast<Record*>(first.data());
    if constexpr (std::is_invocable_v<decltype(function), Record&>)
        return function(*record);
    else if constexpr (std::is_invocable_v<decltype(function), Record*>)
        return function(record);
    else
        return function(record, reinterpret_cast<Record*>(second.data()));
}
using Entry = AppointmentRecord;
using Item = AppointmentItemRecord;

// Every operation with a remote way, as it is sent, and whether its first record is taken back.
const struct {
    std::uint32_t (*run)(Bytes& first, Bytes& second);
    std::string asked;
    bool takesFirstBack;
} kSent[] = {
    {Run<AppointmentAdd, Entry>, "AppointmentAdd 648", true},
    {Run<AppointmentRemove, Entry>, "AppointmentRemove 648", true},
    {Run<AppointmentEdit, Entry>, "AppointmentEdit 648 648", false},
    {Run<AppointmentGet, Entry>, "AppointmentGet 648", true},
    {Run<AppointmentFindFirst, Entry>, "AppointmentFindFirst 648", true},
    {Run<AppointmentFindNext, Entry>, "AppointmentFindNext 648", true},
    {Run<AppointmentItemGetFirstChunk, Item>, "AppointmentItemGetFirstChunk 8772", true},
    {Run<AppointmentItemGetNextChunk, Item>, "AppointmentItemGetNextChunk 8772", true},
    {Run<AppointmentItemGetSize, Item>, "AppointmentItemGetSize 8772", true},
    // Under the name of the next chunk's function.
    {Run<AppointmentItemWriteFirstChunk, Item>, "AppointmentItemWriteNextChunk 8772", false},
    {Run<AppointmentItemWriteNextChunk, Item>, "AppointmentItemWriteNextChunk 8772", false},
    {Run<RewriteItem, Item>, "AppointmentItemWriteFirstChunk 8772", false},
    {Run<AppointmentListItemListSetPosition, std::int32_t>, "AppointmentListItemListSetPosition 4",
     false},
    {Run<AppointmentListItemListGetLength, ListRecord>, "AppointmentListItemListGetLength 5388",
     false},
};

// Answers every EXEC with the result 7 and with records full of "r", whatever was asked; notes
// function and sizes, with "?" behind a record that is not full of "s".
testing::PeerAnswer AnswerAnything(const std::string& request, std::string& asked) {
    const std::string name = testing::NameOfRequest(request);
    if (!name.starts_with("EXEC")) return testing::AcceptingAnswer(request);
    asked = name.substr(5);
    std::vector<char> reply(kRemoteTextSize);
    BuildExecRequest(reply, "Any");
    const std::int32_t result = 7;
    AddRequestParameter(reply, 0, std::as_bytes(std::span(&result, 1)));
    std::size_t size = 0;
    for (int number = 1; number <= 2; ++number) {
        if (const auto sent = FindResponseParameter(request, number)) {
            size = static_cast<std::size_t>(sent->size);
            asked += " " + std::to_string(size);
            Bytes record(size);
            GetResponseParameter(request, number, record);
            if (record != Bytes(size, std::byte{'s'})) asked += "?";
        }
        AddRequestParameter(reply, number, Bytes(size, std::byte{'r'}));
    }
    return {reply.data()};
}

TEST(RemoteWay, EachSendsTheseRecordsUnderThisNameAndTakesTheseBack) {
    testing::SessionWorld world;
    const testing::ReportRecorder unseen;
    ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
    std::string asked;
    world.a.SetScript([&](const std::string& request) { return AnswerAnything(request, asked); });
    EXPECT_EQ(::SetCurrentHost("A"), 1U);
    SetFindPosition(5);
    for (const auto& [run, expected, takesFirstBack] : kSent) {
        const Bytes sent(std::stoul(expected.substr(expected.find(' '))), std::byte{'s'});
        Bytes first = sent, second = sent;
        EXPECT_EQ(run(first, second), 7U) << expected;
        world.a.TakeEvents();
        EXPECT_EQ(asked, expected);
        EXPECT_EQ(first, takesFirstBack ? Bytes(sent.size(), std::byte{'r'}) : sent) << expected;
        EXPECT_EQ(second, sent) << expected;
        EXPECT_EQ(FindPosition(), 5) << "this machine's enumeration stays where it is";
    }
    // What has no remote way stays here.
    asked = "";
    Item item{};
    FreeBusyRecord days{};
    EXPECT_EQ(AppointmentItemDelete(&item), 1U);
    EXPECT_EQ(GetFreeBusyData(&days), 1U);
    EXPECT_EQ(AppointmentListItemFindFirst(&item, &item), 0U);
    EXPECT_EQ(asked, "");
    ::SetCurrentHost("");
}

}  // namespace
}  // namespace tarnwick

// What the module takes from the registry and the loader; who waits for whom and how long; and many
// writers at once.
#include <gtest/gtest.h>

#include <thread>

#include "common/Files.h"
#include "provider/CalendarLock.h"
#include "provider/CalendarPaths.h"
#include "provider/Operations.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/support/Faults.h"
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

const std::string kFolderKey = "PO\\MAILROOT\\box\\Calendar\\";
const std::string kKey = kFolderKey + "Y11M08";
constexpr const char* kWriting = "Write Wait Timeout";
constexpr const char* kReading = "Read Wait Timeout";
constexpr const char* kUnBlock = "UnBlock Timeout";
constexpr const char* kApply = "Apply Timeout";
constexpr int kDefault = -9;

class CalendarLock : public testing::AttachedCalendarTest {
  protected:
    CalendarLock() { testing::MakePath(folder_); }

    // Each file's extension and content.
    std::string State() const {
        std::string state;
        for (const std::string& name : testing::NamesIn(folder_)) {
            state += name.substr(name.find('.') + 1) + testing::ReadBytesOf(InFolder(name)) + " ";
        }
        return state;
    }
};

bool Acquire() {
    return AcquireCalendarBlock(kKey);
}
bool AcquireNowhere() {
    return AcquireCalendarBlock("PO\\MAILROOT\\nobody\\Calendar\\Y11M08");
}
bool Release() {
    return ReleaseCalendarBlock(kKey);
}
bool Wait() {
    return WaitForCalendarUnblocked(kKey);
}
bool Add() {
    return AddAppointment(MakeRecord(1, 2, "A"));
}
bool ChangeAnything() {
    const AppointmentRecord any = MakeRecord(0, 0, "");
    return Add() || RemoveAppointment(any) || EditAppointment(any, MakeRecord(1, 2, "A"));
}
bool Read() {
    AppointmentRecord record = MakeRecord(0, 0, "");
    return GetAppointment(record) && record.start == 5;
}

// A calendar that holds "5", and something in the way: "!" if somebody holds it open. It
// goes in the middle of a wait, or the timeout becomes 0 there (0: never). All other timeouts are
// 0.
const struct {
    bool (*run)();
    const char* timeout;
    int seconds;
    std::string inTheWay;
    int goesAt;
    int impatientAt;
    bool result;
    int waits;
    const char* after;  // "message": that a block file cannot be deleted
} kWaits[] = {
    {Acquire, kWriting, kDefault, "BLK", 0, 0, false, 81, "BLK CAL5 "},
    {Acquire, kWriting, -1, "BLK", 0, 0, false, 1, "BLK CAL5 "},
    {AcquireNowhere, kWriting, 2, "", 0, 0, false, 3, "CAL5 "},
    {Acquire, kWriting, kDefault, "BLK", 81, 0, false, 81, "CAL5 "},  // too late
    {Acquire, kWriting, kDefault, "BLK", 80, 0, true, 80, "BLK CAL5 "},
    {Acquire, kWriting, 80, "BLK", 0, 3, false, 3, "BLK CAL5 "},
    {ChangeAnything, kWriting, 0, "BLK", 0, 0, false, 3, "BLK CAL5 "},
    {Release, kUnBlock, kDefault, "", 0, 0, false, 0, "CAL5 "},
    {Release, kUnBlock, kDefault, "BLK!", 0, 0, false, 81, "BLK CAL5 message"},
    {Release, kUnBlock, 4, "BLK!", 0, 0, false, 5, "BLK CAL5 message"},
    {Release, kUnBlock, 4, "BLK!", 4, 0, true, 4, "CAL5 "},
    {Release, kUnBlock, 80, "BLK!", 0, 3, false, 3, "BLK CAL5 message"},
    // A reader forces the block away.
    {Read, kReading, kDefault, "BLK", 0, 0, true, 61, "CAL5 "},
    {Wait, kReading, 3, "BLK", 0, 0, false, 4, "CAL5 "},
    {Wait, kReading, kDefault, "BLK", 60, 0, true, 60, "CAL5 "},
    {Wait, kReading, 80, "BLK", 0, 3, false, 3, "CAL5 "},
    // Two cycles of its own, then one of the release and one of its own in turns.
    {Wait, kReading, 1, "BLK!", 9, 0, false, 10, "CAL5 message"},
    // An update is lost. The move has a retry of its own.
    {Add, kApply, kDefault, "CAL!", 0, 0, true, 42, "BAK5 CAL5 "},
    {Add, kApply, -1, "CAL!", 0, 0, true, 0, "BAK5 CAL5 "},
    {Add, kApply, kDefault, "CAL!", 21, 0, true, 21, "BAK5 CAL5\t5\t\r\n1\t2\tA "},
    {Add, kApply, 80, "CAL!", 0, 3, true, 4, "BAK5 CAL5 "},
};

TEST_F(CalendarLock, WaitsAsLongAsItsTimeoutsSay) {
    for (const auto& row : kWaits) {
        SCOPED_TRACE(&row - kWaits);
        for (const std::string& name : testing::NamesIn(folder_)) RemoveFile(InFolder(name));
        for (const char* name : {kWriting, kReading, kUnBlock, kApply}) SetTimeout(name, 0);
        SetTimeout(row.timeout, static_cast<std::uint32_t>(row.seconds));
        if (row.seconds == kDefault)
            RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, kProvidersKey, row.timeout);
        Shared().readWaitResult = 1;
        Put("Y11M08.CAL", "5");
        const bool isHeld = row.inTheWay.ends_with('!');
        const std::string name = "Y11M08." + row.inTheWay.substr(0, 3);
        if (row.inTheWay.starts_with("BLK")) Put(name, "");
        File held;
        if (isHeld) held = File(InFolder(name), kOpenRead);
        const testing::CountingSleeper sleeper([&](int count) {
            if (count == row.impatientAt) SetTimeout(row.timeout, 0);
            if (count != row.goesAt) return;
            held.Close();
            if (!isHeld) RemoveFile(InFolder(name));
        });
        const testing::ReportRecorder reports;
        EXPECT_EQ(row.run(), row.result);
        EXPECT_EQ(sleeper.Count(), row.waits);
        EXPECT_EQ(sleeper.TotalMilliseconds(), 1000U * static_cast<unsigned>(row.waits));
        const std::string printed = reports.Joined(ReportChannel::StandardOutput);
        const std::string message = "Unable to remove blocking file " + InFolder(name) + "\n";
        EXPECT_TRUE(printed.empty() || printed.starts_with(message)) << printed;
        EXPECT_EQ(State() + (printed.empty() ? "" : "message"), row.after);
    }
    // Once a reader has forced a block away, every reader is told so; and a block was seen.
    Shared().readWaitResult = 0;
    EXPECT_FALSE(WaitForCalendarUnblocked(kFolderKey + "OTHER"));
    EXPECT_TRUE(IsCalendarBlocked(kFolderKey + "OTHER"));
}

TEST_F(CalendarLock, AWriterThatCouldDeleteTheOtherNameCountsAsHolder) {
    SetTimeout(kWriting, 0);
    const testing::CountingSleeper sleeper;
    // Under a relative mail root the block file's path, taken for a key, names a file too.
    SetRoot(".");
    ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
    ASSERT_TRUE(SetCurrentDirectoryA(folder_.c_str()));
    Put("X.BLK", "");
    Put("X.BLK.BLK", "");
    // Its holder lets go meanwhile, so that what stands there in the end is the writer's.
    testing::CallRecorder calls;
    calls.onCall = [](const SystemCall& call) -> std::uint32_t {
        if (call.name == "DeleteFile") DeleteFileA("X.BLK");
        return 0;
    };
    EXPECT_TRUE(AcquireCalendarBlock("X"));
    EXPECT_EQ(State(), "BLK ");
    ASSERT_TRUE(SetCurrentDirectoryA("C:\\"));
}

// Every entry of two processes or machines is there once, and nothing else is.
TEST(SharedCalendar, TwoWritersAddEachEntryOnce) {
    constexpr int kEntriesEach = 60;
    const auto work = [](const std::string& root, const std::string& machine) {
        testing::MakePath(root + "\\PO\\MAILROOT\\box");
        const ScratchRegistry registry;
        const testing::CountingSleeper sleeper([](int /*count*/) { ::Sleep(1); });
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", root);
        for (const char* timeout : {kWriting, kUnBlock, kApply}) {
            ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProvidersKey, timeout, 60000);
        }
        ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
        for (int number = 0; number < kEntriesEach; ++number) {
            const std::string id = machine + "-" + std::to_string(number) + ";";
            ASSERT_TRUE(AddAppointment(MakeRecord(number, number, id)));
        }
    };
    testing::TwoAtOnce(work, [](const std::string& root) {
        const std::string folder = root + "\\PO\\MAILROOT\\box\\Calendar";
        const std::string bytes = testing::ReadBytesOf(folder + "\\Y11M08.CAL");
        for (int number = 0; number < kEntriesEach; ++number) {
            for (const char* machine : {"\t1-", "\t2-"}) {
                const std::string id = machine + std::to_string(number) + ";";
                EXPECT_NE(bytes.find(id), std::string::npos) << id;
            }
        }
        EXPECT_EQ(std::count(bytes.begin(), bytes.end(), ';'), 2 * kEntriesEach);
        EXPECT_EQ(testing::NamesIn(folder),
                  (std::vector<std::string>{"Y11M08.BAK", "Y11M08.CAL", "_CHANGE.DTY"}));
    });
}

}  // namespace
}  // namespace tarnwick

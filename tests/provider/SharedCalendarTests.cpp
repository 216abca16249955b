// One calendar, many writers at once: other processes here, and other machines where the script
// two-machines starts the worker under two Wine prefixes.
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "provider/Appointments.h"
#include "tests/provider/CalendarFixture.h"

namespace tarnwick {
namespace {

using testing::CalendarTest;
using testing::Environment;
using testing::MakeRecord;

constexpr int kEntriesEach = 60;

// Every worker's entries are there once, and nothing else is.
void ExpectEachEntryOnce(const std::string& bytes) {
    std::istringstream calendar(bytes);
    std::multiset<std::string> ids;
    std::multiset<std::string> expected;
    for (std::string line; std::getline(calendar, line);) {
        line.erase(line.find_last_not_of('\r') + 1);
        ids.insert(line.substr(line.rfind('\t') + 1));
    }
    for (int number = 0; number < kEntriesEach; ++number) {
        for (const char* machine : {"1-", "2-"}) expected.insert(machine + std::to_string(number));
    }
    EXPECT_EQ(ids, expected);
}

// Worker and check have nothing to do alone; the folder that their environment names is the mail
// root.
TEST(SharedCalendarMachines, Worker) {
    const std::string machine = Environment("TARNWICK_MACHINE");
    if (machine.empty()) return;
    const std::string root = Environment("TARNWICK_SHARED_FOLDER");
    testing::MakePath(root + "\\PO\\MAILROOT\\box");
    const testing::ScratchRegistry registry;
    const testing::CountingSleeper sleeper([](int /*count*/) { ::Sleep(1); });
    testing::ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", root);
    for (const char* timeout : {"Write Wait Timeout", "UnBlock Timeout", "Apply Timeout"}) {
        testing::ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProvidersKey, timeout, 60000);
    }
    ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
    for (int number = 0; number < kEntriesEach; ++number) {
        ASSERT_TRUE(
            AddAppointment(MakeRecord(number, number, machine + "-" + std::to_string(number))));
    }
}

TEST(SharedCalendarMachines, Check) {
    const std::string root = Environment("TARNWICK_SHARED_FOLDER");
    if (root.empty()) return;
    ExpectEachEntryOnce(testing::ReadBytesOf(root + "\\PO\\MAILROOT\\box\\Calendar\\Y11M08.CAL"));
}

class SharedCalendar : public CalendarTest {};

TEST_F(SharedCalendar, TwoProcessesAddEachEntryOnce) {
    std::vector<ObjectHandle> children;
    for (const char* name : {"1", "2"}) {
        children.push_back(testing::StartSelf(
            "SharedCalendarMachines.Worker",
            {std::string("TARNWICK_MACHINE=") + name, "TARNWICK_SHARED_FOLDER=" + root_.Path()}));
    }
    for (const ObjectHandle& child : children) EXPECT_EQ(testing::WaitForExit(child), 0U);
    ExpectEachEntryOnce(ContentOf("Y11M08.CAL"));
    EXPECT_EQ(NamesInFolder(), "Y11M08.BAK Y11M08.CAL _CHANGE.DTY ");
}

}  // namespace
}  // namespace tarnwick

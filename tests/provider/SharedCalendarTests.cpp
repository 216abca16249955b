// One calendar, many writers at once: other processes here, and other machines where the script
// two-machines.sh starts the child under two Wine prefixes.
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

// Waits a moment instead of a second.
class ShortSleeper : public Sleeper {
  public:
    ShortSleeper() { SetSleeper(this); }
    ~ShortSleeper() override { SetSleeper(nullptr); }
    void Sleep(std::uint32_t /*milliseconds*/) override { ::Sleep(1); }
};

TEST(SharedCalendarChild, AddsItsEntries) {
    const std::string name = Environment("TW_SHARED_NAME");
    if (name.empty()) return;
    const testing::ScratchRegistry registry;
    const ShortSleeper sleeper;
    testing::ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root",
                                        Environment("TW_SHARED_ROOT"));
    for (const char* timeout : {"Write Wait Timeout", "UnBlock Timeout", "Apply Timeout"}) {
        testing::ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProvidersKey, timeout, 60000);
    }
    ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
    for (int number = 0; number < kEntriesEach; ++number) {
        ASSERT_TRUE(AddAppointment(MakeRecord(number, number, name + std::to_string(number))));
    }
}

class SharedCalendar : public CalendarTest {};

TEST_F(SharedCalendar, TwoProcessesAddEachEntryOnce) {
    std::vector<ObjectHandle> children;
    for (const char* name : {"first", "second"}) {
        children.push_back(testing::StartSelf(
            "SharedCalendarChild.AddsItsEntries",
            {std::string("TW_SHARED_NAME=") + name, "TW_SHARED_ROOT=" + root_.Path()}));
    }
    for (const ObjectHandle& child : children) EXPECT_EQ(testing::WaitForExit(child), 0U);
    std::istringstream calendar(ContentOf("Y11M08.CAL"));
    std::multiset<std::string> ids;
    for (std::string line; std::getline(calendar, line);) {
        line.erase(line.find_last_not_of('\r') + 1);
        ids.insert(line.substr(line.rfind('\t') + 1));
    }
    EXPECT_EQ(ids.size(), 2U * kEntriesEach);
    for (int number = 0; number < kEntriesEach; ++number) {
        EXPECT_EQ(ids.count("first" + std::to_string(number)), 1U) << number;
        EXPECT_EQ(ids.count("second" + std::to_string(number)), 1U) << number;
    }
    EXPECT_EQ(NamesInFolder(), "Y11M08.BAK Y11M08.CAL _CHANGE.DTY ");
}

}  // namespace
}  // namespace tarnwick

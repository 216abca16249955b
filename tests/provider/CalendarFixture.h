// A mail root of its own, named in a scratch registry, with one mailbox whose calendars a test
// makes and reads byte for byte.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "common/Registry.h"
#include "common/Text.h"
#include "common/WindowsApi.h"
#include "provider/ModuleState.h"
#include "tests/support/WindowsFixtures.h"
#include "twaicp.h"

namespace tarnwick::testing {

inline AppointmentRecord MakeRecord(std::int32_t start, std::int32_t end, std::string_view id) {
    AppointmentRecord record{};
    StoreField(record.postoffice, "PO");
    StoreField(record.mailbox, "box");
    StoreField(record.calendarName, "Y11M08");
    StoreField(record.appointmentId, id);
    record.start = start;
    record.end = end;
    return record;
}

class CalendarTest : public ::testing::Test {
  protected:
    CalendarTest() {
        MakePath(root_.Path("PO\\MAILROOT\\box"));
        SetRoot(root_.Path());
    }

    static void SetRoot(const std::string& path) {
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", path);
    }
    static void SetTimeout(const char* name, std::uint32_t seconds) {
        // In letters: unlike the main key it does not lie under Wow6432Node.
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, "SOFTWARE\\Tarnwick\\Tarnwick\\Providers",
                                  name, seconds);
    }
    // A file in the Calendar folder, which the first operation makes.
    std::string InFolder(const std::string& name) const { return folder_ + "\\" + name; }
    void Put(const std::string& name, const std::string& bytes) const {
        MakePath(folder_);
        WriteBytesTo(InFolder(name), bytes);
    }

    ScratchRegistry registry_;
    ScratchFolder root_;
    std::string folder_ = root_.Path("PO\\MAILROOT\\box\\Calendar");
};

// The same with the core of the module attached, as the loader would.
class AttachedCalendarTest : public CalendarTest {
  protected:
    AttachedCalendarTest() { EXPECT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH)); }
    ~AttachedCalendarTest() override { OnModuleNotification(DLL_PROCESS_DETACH); }
};

}  // namespace tarnwick::testing

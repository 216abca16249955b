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

inline AppointmentRecord MakeRecord(std::int32_t start, std::int32_t end, std::string_view id,
                                    std::string_view calendar = "Y11M08") {
    AppointmentRecord record{};
    StoreField(record.postoffice, "PO");
    StoreField(record.mailbox, "box");
    StoreField(record.calendarName, calendar);
    StoreField(record.appointmentId, id);
    record.start = start;
    record.end = end;
    return record;
}

class CalendarTest : public ::testing::Test {
  protected:
    CalendarTest() {
        MakePath(mailbox_);
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", root_.Path());
    }

    // Path of a file in the Calendar folder, which the first operation makes.
    std::string InFolder(const std::string& name) const { return folder_ + "\\" + name; }
    std::string ContentOf(const std::string& name) const { return ReadBytesOf(InFolder(name)); }
    bool Exists(const std::string& name) const { return PathExists(InFolder(name)); }
    // Names in the Calendar folder, sorted, each with a space behind it.
    std::string NamesInFolder() const {
        std::string names;
        for (const std::string& name : NamesIn(folder_)) names += name + " ";
        return names;
    }
    void Put(const std::string& name, const std::string& bytes) const {
        MakePath(folder_);
        WriteBytesTo(InFolder(name), bytes);
    }
    static void SetTimeout(const char* name, std::uint32_t seconds) {
        // In letters: unlike the main key it does not lie under Wow6432Node.
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, "SOFTWARE\\Tarnwick\\Tarnwick\\Providers",
                                  name, seconds);
    }

    ScratchRegistry registry_;
    ScratchFolder root_;
    std::string mailbox_ = root_.Path("PO\\MAILROOT\\box");
    std::string folder_ = mailbox_ + "\\Calendar";
};

// The same with the core of the module attached, as the loader would.
class AttachedCalendarTest : public CalendarTest {
  protected:
    AttachedCalendarTest() { EXPECT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH)); }
    ~AttachedCalendarTest() override { OnModuleNotification(DLL_PROCESS_DETACH); }
};

}  // namespace tarnwick::testing

#include "provider/CalendarLock.h"

#include <gtest/gtest.h>

#include "common/Files.h"
#include "provider/Appointments.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::MakeRecord;

const std::string kFolderKey = "PO\\MAILROOT\\box\\Calendar\\";
const std::string kKey = kFolderKey + "Y11M08";
constexpr const char* kProviders = "SOFTWARE\\Tarnwick\\Tarnwick\\Providers";
constexpr const char* kWriting = "Write Wait Timeout";
constexpr const char* kReading = "Read Wait Timeout";
constexpr const char* kUnBlock = "UnBlock Timeout";
constexpr const char* kApply = "Apply Timeout";
constexpr std::uint32_t kMinusOne = 0xFFFFFFFF;

class CalendarLock : public testing::AttachedCalendarTest {
  protected:
    CalendarLock() { testing::MakePath(folder_); }

    // The files in the folder; of a calendar that is not what it was, its content.
    std::string State() const {
        std::string state;
        for (const std::string& name : testing::NamesIn(folder_)) {
            state += name.substr(name.find('.') + 1);
            if (name == "Y11M08.CAL" && ContentOf(name) != "5\t6\tB")
                state += "=" + ContentOf(name);
            state += " ";
        }
        return state;
    }
};

constexpr auto Acquire = [] { return AcquireCalendarBlock(kKey); };
constexpr auto AcquireNowhere = [] {
    return AcquireCalendarBlock("PO\\MAILROOT\\nobody\\Calendar\\Y11M08");
};
constexpr auto Release = [] { return ReleaseCalendarBlock(kKey); };
constexpr auto Wait = [] { return WaitForCalendarUnblocked(kKey); };
constexpr auto Add = [] { return AddAppointment(MakeRecord(1, 2, "A")); };
constexpr auto ChangeAnything = [] {
    const AppointmentRecord any = MakeRecord(0, 0, "");
    return Add() || RemoveAppointment(any) || EditAppointment(any, MakeRecord(1, 2, "A"));
};
constexpr auto Read = [] {
    AppointmentRecord record = MakeRecord(0, 0, "B");
    return GetAppointment(record) && record.start == 5;
};

// A calendar with an entry B, and something in the way: "!" if somebody holds it open. It goes in
// the middle of a wait, or the timeout becomes 0 there (0: never). All other timeouts are 0.
const struct {
    const char* name;
    bool (*run)();
    const char* timeout;
    std::optional<std::uint32_t> seconds;  // absent: the default
    std::string inTheWay;
    int goesAt;
    int impatientAt;
    bool result;
    int waits;
    const char* after;  // "message": that a block file cannot be deleted
} kWaits[] = {
    {"a writer gives up", Acquire, kWriting, {}, "BLK", 0, 0, false, 81, "BLK CAL "},
    {"at once", Acquire, kWriting, 0, "BLK", 0, 0, false, 1, "BLK CAL "},
    {"after three", Acquire, kWriting, 2, "BLK", 0, 0, false, 3, "BLK CAL "},
    {"with a sign", Acquire, kWriting, kMinusOne, "BLK", 0, 0, false, 1, "BLK CAL "},
    {"without a folder", AcquireNowhere, kWriting, 2, "", 0, 0, false, 3, "CAL "},
    {"a writer's turn comes", Acquire, kWriting, {}, "BLK", 81, 0, false, 81, "CAL "},
    {"in time", Acquire, kWriting, {}, "BLK", 80, 0, true, 80, "BLK CAL "},
    {"a writer becomes impatient", Acquire, kWriting, 80, "BLK", 0, 3, false, 3, "BLK CAL "},
    {"no writer changes anything", ChangeAnything, kWriting, 0, "BLK", 0, 0, false, 3, "BLK CAL "},
    {"a release", Release, kUnBlock, {}, "BLK", 0, 0, true, 0, "CAL "},
    {"of nothing", Release, kUnBlock, {}, "", 0, 0, false, 0, "CAL "},
    {"a release gives up", Release, kUnBlock, {}, "BLK!", 0, 0, false, 81, "BLK CAL message"},
    {"at once", Release, kUnBlock, 0, "BLK!", 0, 0, false, 1, "BLK CAL message"},
    {"after five", Release, kUnBlock, 4, "BLK!", 0, 0, false, 5, "BLK CAL message"},
    {"with a sign", Release, kUnBlock, kMinusOne, "BLK!", 0, 0, false, 1, "BLK CAL message"},
    {"in time", Release, kUnBlock, 4, "BLK!", 4, 0, true, 4, "CAL "},
    {"becomes impatient", Release, kUnBlock, 80, "BLK!", 0, 3, false, 3, "BLK CAL message"},
    {"a reader forces the block away", Read, kReading, {}, "BLK", 0, 0, true, 61, "CAL "},
    {"at once", Read, kReading, 0, "BLK", 0, 0, true, 1, "CAL "},
    {"after four", Wait, kReading, 3, "BLK", 0, 0, false, 4, "CAL "},
    {"with a sign", Wait, kReading, kMinusOne, "BLK", 0, 0, false, 1, "CAL "},
    {"no need to", Wait, kReading, {}, "BLK", 60, 0, true, 60, "CAL "},
    {"becomes impatient", Wait, kReading, 80, "BLK", 0, 3, false, 3, "CAL "},
    // Two cycles of its own, then one of the release and one of its own in turns.
    {"waits on for a held one", Wait, kReading, 1, "BLK!", 9, 0, false, 10, "CAL message"},
    // The move has a retry of its own.
    {"an update is lost", Add, kApply, {}, "CAL!", 0, 0, true, 42, "BAK CAL "},
    {"sooner", Add, kApply, 0, "CAL!", 0, 0, true, 2, "BAK CAL "},
    {"later", Add, kApply, 3, "CAL!", 0, 0, true, 8, "BAK CAL "},
    {"with a sign", Add, kApply, kMinusOne, "CAL!", 0, 0, true, 0, "BAK CAL "},
    {"in time", Add, kApply, {}, "CAL!", 21, 0, true, 21, "BAK CAL=5\t6\tB\r\n1\t2\tA "},
    {"becomes impatient", Add, kApply, 80, "CAL!", 0, 3, true, 4, "BAK CAL "},
};

TEST_F(CalendarLock, WaitsAsLongAsItsTimeoutsSay) {
    for (const auto& row : kWaits) {
        SCOPED_TRACE(std::string(row.name) + ", " + row.timeout);
        for (const std::string& name : testing::NamesIn(folder_)) RemoveFile(InFolder(name));
        for (const char* name : {kWriting, kReading, kUnBlock, kApply}) SetTimeout(name, 0);
        if (row.seconds) {
            SetTimeout(row.timeout, *row.seconds);
        } else {
            RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, kProviders, row.timeout);
        }
        Shared().readWaitResult = 1;
        Put("Y11M08.CAL", "5\t6\tB");
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
        EXPECT_EQ(State() + (printed.empty() ? "" : "message"), row.after);
        const std::string message = "Unable to remove blocking file " + InFolder(name) + "\n";
        EXPECT_TRUE(printed.empty() || printed.starts_with(message)) << printed;
    }
    // Once a reader has forced a block away, every reader is told so.
    Shared().readWaitResult = 0;
    EXPECT_FALSE(WaitForCalendarUnblocked(kFolderKey + "OTHER"));
}

TEST_F(CalendarLock, AWriterThatCouldDeleteTheOtherNameCountsAsHolder) {
    SetTimeout(kWriting, 0);
    const testing::CountingSleeper sleeper;
    // Under a relative mail root the block file's path, taken for a key, names a file too.
    testing::ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", ".");
    ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
    ASSERT_TRUE(SetCurrentDirectoryA(folder_.c_str()));
    Put("X.BLK", "");
    Put("X.BLK.BLK", "");
    EXPECT_TRUE(AcquireCalendarBlock("X"));
    EXPECT_EQ(NamesInFolder(), "X.BLK ");
    ASSERT_TRUE(SetCurrentDirectoryA("C:\\"));
}

TEST_F(CalendarLock, TheSwapKeepsTheOldBackupOnlyWhileNoBlockWasEverSeen) {
    Shared().blockSeen = 0;
    Put("Y11M08.CAL", "calendar");
    Put("Y11M08.TMP", "replacement");
    Put("Y11M08.BAK", "backup");
    ApplyCalendarUpdate(kKey);
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "replacement");
    EXPECT_EQ(ContentOf("Y11M08.BAK"), "calendar");
    EXPECT_EQ(ContentOf("Y11M08.OLD"), "backup");
    for (const char* blocked : {"Y11M08.BLK", ""}) {
        if (*blocked != '\0') Put(blocked, "");
        Put("Y11M08.TMP", "replacement");
        ApplyCalendarUpdate(kKey);
        EXPECT_EQ(ContentOf("Y11M08.BAK"), "replacement");
        EXPECT_EQ(ContentOf("Y11M08.OLD"), "backup");
        EXPECT_EQ(NamesInFolder(), "Y11M08.BAK Y11M08.CAL Y11M08.OLD ");
    }
    EXPECT_TRUE(IsCalendarBlocked(kFolderKey + "OTHER"));
}

}  // namespace
}  // namespace tarnwick

#include "provider/CalendarLock.h"

#include <gtest/gtest.h>

#include "common/Files.h"
#include "provider/Appointments.h"
#include "provider/CalendarPaths.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::AttachedCalendarTest;
using testing::CallRecorder;
using testing::CountingSleeper;
using testing::MakeRecord;
using testing::ReportRecorder;
using testing::ScratchRegistry;

constexpr std::uint32_t kMinusOne = 0xFFFFFFFF;

class CalendarLock : public AttachedCalendarTest {
  protected:
    CalendarLock() { testing::MakePath(folder_); }

    static int CountOf(const CallRecorder& calls, const std::string& call) {
        return static_cast<int>(std::count(calls.Calls().begin(), calls.Calls().end(), call));
    }

    // A file that a reader holds open, so that no other call may delete or rename it meanwhile.
    File Held(const std::string& name) const {
        if (!Exists(name)) Put(name, "");
        return {InFolder(name), kOpenRead};
    }

    struct Patience {
        std::optional<std::uint32_t> timeout;  // absent: the default
        int count;
    };
    // Calls `check` with each row's count while the timeout has the row's value.
    template <typename Check>
    static void ForEach(const char* name, std::initializer_list<Patience> rows, Check check) {
        for (const Patience& row : rows) {
            if (row.timeout) SetTimeout(name, *row.timeout);
            SCOPED_TRACE(row.timeout.value_or(77));
            check(row.count);
        }
    }

    AppointmentRecord record_ = MakeRecord(1, 2, "A");
    std::string key_ = CalendarKey(NamesOf(record_));
    CountingSleeper sleeper_;
};

TEST_F(CalendarLock, AWriterGivesUpOneTryBehindItsTimeout) {
    SetTimeout("UnBlock Timeout", 0);
    ForEach("Write Wait Timeout", {{{}, 81}, {0, 1}, {2, 3}, {kMinusOne, 1}}, [&](int tries) {
        Put("Y11M08.BLK", "");
        CallRecorder calls;
        EXPECT_FALSE(AcquireCalendarBlock(key_));
        EXPECT_EQ(CountOf(calls, "CreateFile Y11M08.BLK"), tries);
        // The name that it asks to delete is not the block file's, which stays.
        EXPECT_EQ(CountOf(calls, "DeleteFile Y11M08.BLK.BLK"), 1);
        EXPECT_TRUE(Exists("Y11M08.BLK"));
        // A missing folder is waited for like a block.
        calls.Clear();
        EXPECT_FALSE(AcquireCalendarBlock(CalendarKey({"PO", "nobody", "Y11M08"})));
        EXPECT_EQ(CountOf(calls, "CreateFile Y11M08.BLK"), tries);
    });
}

TEST_F(CalendarLock, AWriterThatCouldDeleteTheOtherNameCountsAsHolder) {
    SetTimeout("Write Wait Timeout", 0);
    // Under a relative mail root the block file's path, taken for a key, names a file too.
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", ".");
    ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
    ASSERT_TRUE(SetCurrentDirectoryA(folder_.c_str()));
    Put("X.BLK", "");
    Put("X.BLK.BLK", "");
    EXPECT_TRUE(AcquireCalendarBlock("X"));
    EXPECT_EQ(NamesInFolder(), "X.BLK ");
    ASSERT_TRUE(SetCurrentDirectoryA("C:\\"));
}

TEST_F(CalendarLock, ATimeoutThatChangesHoldsForTheWaitUnderWay) {
    const struct {
        const char* timeout;
        const char* held;
        bool (*wait)(const std::string&);
        int waits;
    } rows[] = {
        {"Write Wait Timeout", "Y11M08.BLK", AcquireCalendarBlock, 3},
        {"Read Wait Timeout", "Y11M08.BLK", WaitForCalendarUnblocked, 3 + 1},
        {"UnBlock Timeout", "Y11M08.BLK", ReleaseCalendarBlock, 3},
        // The move has a retry of its own.
        {"Apply Timeout", "Y11M08.CAL",
         [](const std::string&) { return !AddAppointment(MakeRecord(1, 2, "A")); }, 3 + 1},
    };
    const ReportRecorder reports;
    for (const auto& row : rows) {
        for (const char* timeout : {"Write Wait Timeout", "UnBlock Timeout"}) {
            SetTimeout(timeout, 80);
        }
        File held = Held(row.held);
        const CountingSleeper sleeper([&](int count) {
            if (count == 3) SetTimeout(row.timeout, 0);
            if (count == 4) held.Close();
        });
        EXPECT_FALSE(row.wait(key_)) << row.timeout;
        EXPECT_EQ(sleeper.Count(), row.waits) << row.timeout;
        held.Close();
        RemoveFile(InFolder("Y11M08.BLK"));
    }
}

TEST_F(CalendarLock, ReleaseGivesUpWithAMessage) {
    Put("Y11M08.BLK", "");
    EXPECT_TRUE(ReleaseCalendarBlock(key_));
    EXPECT_FALSE(ReleaseCalendarBlock(key_)) << "there is none, which is no reason to wait";
    EXPECT_EQ(sleeper_.Count(), 0);
    const File held = Held("Y11M08.BLK");
    ForEach("UnBlock Timeout", {{{}, 81}, {0, 1}, {4, 5}, {kMinusOne, 1}}, [&](int tries) {
        const CountingSleeper sleeper;
        const ReportRecorder reports;
        CallRecorder calls;
        EXPECT_FALSE(ReleaseCalendarBlock(key_));
        EXPECT_EQ(calls.Count(), tries);
        EXPECT_EQ(sleeper.Count(), tries);
        EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
                  "Unable to remove blocking file " + InFolder("Y11M08.BLK") + "\n");
    });
}

TEST_F(CalendarLock, AReaderForcesAStaleBlockAwayAndReads) {
    Put("Y11M08.CAL", "5\t6\tA");
    ForEach("Read Wait Timeout", {{{}, 61}, {0, 1}, {3, 4}}, [&](int waits) {
        Put("Y11M08.BLK", "");
        const CountingSleeper sleeper;
        EXPECT_TRUE(GetAppointment(record_));
        EXPECT_EQ(record_.start, 5);
        EXPECT_EQ(sleeper.Count(), waits);
        EXPECT_FALSE(Exists("Y11M08.BLK"));
    });
}

TEST_F(CalendarLock, ACalendarHeldOpenKeepsItsContentAndTheUpdateIsLost) {
    ForEach("Apply Timeout", {{{}, 22}, {0, 2}, {3, 5}, {kMinusOne, 1}}, [&](int tries) {
        Put("Y11M08.CAL", "5\t6\tB");
        const File held = Held("Y11M08.CAL");
        const CountingSleeper sleeper;
        CallRecorder calls;
        EXPECT_TRUE(AddAppointment(record_));
        EXPECT_EQ(CountOf(calls, "DeleteFile Y11M08.CAL"), tries);
        EXPECT_EQ(CountOf(calls, "MoveFile Y11M08.TMP -> Y11M08.CAL"), tries);
        EXPECT_EQ(sleeper.Count(), 2 * (tries - 1));
        EXPECT_EQ(ContentOf("Y11M08.CAL"), "5\t6\tB");
        EXPECT_EQ(NamesInFolder(), "Y11M08.BAK Y11M08.CAL ");
    });
}

TEST_F(CalendarLock, WaitsEndWhenWhatIsWaitedForGoes) {
    const struct {
        const char* held;
        int goesAt;
        bool (*wait)(const std::string&);
        const char* after;
    } rows[] = {
        {"Y11M08.BLK", 3, AcquireCalendarBlock, "Y11M08.BLK Y11M08.CAL "},
        {"Y11M08.BLK", 60, WaitForCalendarUnblocked, "Y11M08.CAL "},
        {"Y11M08.CAL", 20, [](const std::string&) { return AddAppointment(MakeRecord(1, 2, "A")); },
         "Y11M08.BAK Y11M08.CAL "},
    };
    for (const auto& row : rows) {
        Put("Y11M08.CAL", "5\t6\tB");
        File held = Held(row.held);
        const CountingSleeper sleeper([&](int count) {
            if (count != row.goesAt) return;
            held.Close();
            if (row.held == std::string("Y11M08.BLK")) RemoveFile(InFolder(row.held));
        });
        EXPECT_TRUE(row.wait(key_)) << row.goesAt;
        EXPECT_EQ(sleeper.Count(), row.goesAt);
        EXPECT_EQ(NamesInFolder(), row.after) << row.goesAt;
        RemoveFile(InFolder("Y11M08.BLK"));
    }
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "5\t6\tB\r\n1\t2\tA");
}

TEST_F(CalendarLock, AWriterThatGivesUpLeavesTheCalendarAlone) {
    Put("Y11M08.BLK", "");
    Put("Y11M08.CAL", "5\t6\tB");
    EXPECT_FALSE(AddAppointment(record_));
    EXPECT_FALSE(RemoveAppointment(MakeRecord(0, 0, "")));
    EXPECT_FALSE(EditAppointment(MakeRecord(0, 0, ""), record_));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "5\t6\tB");
    EXPECT_EQ(NamesInFolder(), "Y11M08.BLK Y11M08.CAL ");
}

TEST_F(CalendarLock, AReaderWaitsOnForABlockThatCannotBeDeletedAndRemembers) {
    EXPECT_TRUE(WaitForCalendarUnblocked(key_));
    SetTimeout("Read Wait Timeout", 1);
    SetTimeout("UnBlock Timeout", 0);
    File held = Held("Y11M08.BLK");
    const ReportRecorder reports;
    // Two cycles of its own, then one of the release and one of its own in turns.
    const CountingSleeper sleeper([&](int count) {
        if (count == 9) held.Close();
    });
    EXPECT_FALSE(WaitForCalendarUnblocked(key_));
    EXPECT_FALSE(Exists("Y11M08.BLK"));
    EXPECT_EQ(sleeper.Count(), 10);
    EXPECT_FALSE(WaitForCalendarUnblocked("PO\\MAILROOT\\box\\Calendar\\OTHER"));
}

TEST_F(CalendarLock, TheSwapKeepsTheOldBackupOnlyWhileNoBlockWasEverSeen) {
    Put("Y11M08.CAL", "calendar");
    Put("Y11M08.TMP", "replacement");
    Put("Y11M08.BAK", "backup");
    ApplyCalendarUpdate(key_);
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "replacement");
    EXPECT_EQ(ContentOf("Y11M08.BAK"), "calendar");
    EXPECT_EQ(ContentOf("Y11M08.OLD"), "backup");
    for (const char* blocked : {"Y11M08.BLK", ""}) {
        if (*blocked != '\0') Put(blocked, "");
        Put("Y11M08.TMP", "replacement");
        ApplyCalendarUpdate(key_);
        EXPECT_EQ(ContentOf("Y11M08.BAK"), "replacement");
        EXPECT_EQ(ContentOf("Y11M08.OLD"), "backup");
        EXPECT_EQ(NamesInFolder(), "Y11M08.BAK Y11M08.CAL Y11M08.OLD ");
    }
    EXPECT_TRUE(IsCalendarBlocked("PO\\MAILROOT\\box\\Calendar\\OTHER"));
}

}  // namespace
}  // namespace tarnwick

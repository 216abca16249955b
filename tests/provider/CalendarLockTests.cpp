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

constexpr std::uint32_t kMinusOne = 0xFFFFFFFF;

class CalendarLock : public AttachedCalendarTest {
  protected:
    CalendarLock() { testing::MakePath(folder_); }

    static int CountOf(const CallRecorder& calls, const std::string& call) {
        return static_cast<int>(std::count(calls.Calls().begin(), calls.Calls().end(), call));
    }

    // A file that no other call may delete or rename as long as the result lives.
    File Held(const std::string& name) const {
        return {InFolder(name), {GENERIC_READ, kShareReadWrite, OPEN_ALWAYS}};
    }

    AppointmentRecord record_ = MakeRecord(1, 2, "A");
    std::string key_ = CalendarKey(NamesOf(record_));
    CountingSleeper sleeper_;
};

TEST_F(CalendarLock, AWriterGivesUpOneTryBehindItsTimeout) {
    struct Row {
        std::optional<std::uint32_t> timeout;
        int tries;
    };
    Put("Y11M08.BLK", "");
    SetTimeout("UnBlock Timeout", 0);
    for (const Row& row : {Row{{}, 81}, Row{0, 1}, Row{2, 3}, Row{kMinusOne, 1}}) {
        if (row.timeout) SetTimeout("Write Wait Timeout", *row.timeout);
        CallRecorder calls;
        EXPECT_FALSE(AcquireCalendarBlock(key_));
        EXPECT_EQ(CountOf(calls, "CreateFile Y11M08.BLK"), row.tries);
        // The name that it asks to delete is not the block file's, which stays.
        EXPECT_EQ(CountOf(calls, "DeleteFile Y11M08.BLK.BLK"), 1);
        EXPECT_TRUE(Exists("Y11M08.BLK"));
    }
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

TEST_F(CalendarLock, AWriterTakesTheBlockInTheMiddleOfItsWait) {
    Put("Y11M08.BLK", "");
    int waits = 0;
    const CountingSleeper sleeper([&](int count) {
        waits = count;
        if (count == 3) RemoveFile(InFolder("Y11M08.BLK"));
    });
    EXPECT_TRUE(AcquireCalendarBlock(key_));
    EXPECT_EQ(waits, 3);
    EXPECT_TRUE(Exists("Y11M08.BLK"));
    EXPECT_EQ(sleeper.TotalMilliseconds(), 3000U);
}

TEST_F(CalendarLock, AMissingFolderIsWaitedForLikeABlock) {
    const std::string key = CalendarKey({"PO", "nobody", "Y11M08"});
    SetTimeout("Write Wait Timeout", 5);
    SetTimeout("UnBlock Timeout", 0);
    CallRecorder calls;
    EXPECT_FALSE(AcquireCalendarBlock(key));
    EXPECT_EQ(CountOf(calls, "CreateFile Y11M08.BLK"), 6);
}

TEST_F(CalendarLock, ReleaseTellsWhetherItDeleted) {
    Put("Y11M08.BLK", "");
    EXPECT_TRUE(ReleaseCalendarBlock(key_));
    EXPECT_FALSE(ReleaseCalendarBlock(key_));
    EXPECT_FALSE(ReleaseCalendarBlock("NO\\MAILROOT\\box\\Calendar\\Y11M08"));
    EXPECT_EQ(sleeper_.Count(), 0);
}

TEST_F(CalendarLock, ReleaseGivesUpWithAMessage) {
    struct Row {
        std::optional<std::uint32_t> timeout;
        int tries;
    };
    const File held = Held("Y11M08.BLK");
    for (const Row& row : {Row{{}, 81}, Row{0, 1}, Row{4, 5}, Row{kMinusOne, 1}}) {
        if (row.timeout) SetTimeout("UnBlock Timeout", *row.timeout);
        const CountingSleeper sleeper;
        const ReportRecorder reports;
        CallRecorder calls;
        EXPECT_FALSE(ReleaseCalendarBlock(key_));
        EXPECT_EQ(calls.Count(), row.tries);
        EXPECT_EQ(sleeper.Count(), row.tries);
        EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
                  "Unable to remove blocking file " + InFolder("Y11M08.BLK") + "\n");
    }
}

TEST_F(CalendarLock, AReaderForcesAStaleBlockAwayAndReads) {
    struct Row {
        std::optional<std::uint32_t> timeout;
        int waits;
    };
    Put("Y11M08.CAL", "5\t6\tA");
    for (const Row& row : {Row{{}, 61}, Row{0, 1}, Row{3, 4}}) {
        Put("Y11M08.BLK", "");
        if (row.timeout) SetTimeout("Read Wait Timeout", *row.timeout);
        const CountingSleeper sleeper;
        EXPECT_TRUE(GetAppointment(record_));
        EXPECT_EQ(record_.start, 5);
        EXPECT_EQ(sleeper.Count(), row.waits);
        EXPECT_FALSE(Exists("Y11M08.BLK"));
    }
}

TEST_F(CalendarLock, TheResultOfAForcedWaitStaysForTheProcess) {
    EXPECT_TRUE(WaitForCalendarUnblocked(key_));
    SetTimeout("Read Wait Timeout", 0);
    Put("Y11M08.BLK", "");
    EXPECT_FALSE(WaitForCalendarUnblocked(key_));
    EXPECT_FALSE(WaitForCalendarUnblocked("PO\\MAILROOT\\box\\Calendar\\OTHER"));
}

TEST_F(CalendarLock, AReaderWhoseBlockGoesInTimeForcesNothing) {
    Put("Y11M08.BLK", "");
    const CountingSleeper sleeper([&](int count) {
        if (count == 60) RemoveFile(InFolder("Y11M08.BLK"));
    });
    EXPECT_TRUE(WaitForCalendarUnblocked(key_));
    EXPECT_EQ(sleeper.Count(), 60);
}

TEST_F(CalendarLock, AReaderWaitsOnForABlockThatCannotBeDeleted) {
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
}

TEST_F(CalendarLock, ASeenBlockMarksEveryCalendarForTheProcess) {
    EXPECT_FALSE(IsCalendarBlocked(key_));
    Put("Y11M08.BLK", "");
    EXPECT_TRUE(IsCalendarBlocked(key_));
    RemoveFile(InFolder("Y11M08.BLK"));
    EXPECT_TRUE(IsCalendarBlocked(key_));
    EXPECT_TRUE(IsCalendarBlocked("PO\\MAILROOT\\box\\Calendar\\OTHER"));
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
}

TEST_F(CalendarLock, TheSwapIsTheseCallsInThisOrder) {
    Put("Y11M08.CAL", "calendar");
    Put("Y11M08.TMP", "replacement");
    Put("Y11M08.BLK", "");
    CallRecorder calls;
    ApplyCalendarUpdate(key_);
    EXPECT_EQ(calls.Calls(), (std::vector<std::string>{
                                 "FindFirstFile Y11M08.BLK", "CopyFile Y11M08.CAL -> Y11M08.BAK",
                                 "DeleteFile Y11M08.CAL", "MoveFile Y11M08.TMP -> Y11M08.CAL",
                                 "DeleteFile Y11M08.TMP", "DeleteFile Y11M08.BLK"}));
}

TEST_F(CalendarLock, ACalendarHeldOpenKeepsItsContentAndTheUpdateIsLost) {
    struct Row {
        std::optional<std::uint32_t> timeout;
        int tries;
    };
    for (const Row& row : {Row{{}, 22}, Row{0, 2}, Row{3, 5}, Row{kMinusOne, 1}}) {
        Put("Y11M08.CAL", "5\t6\tB");
        if (row.timeout) SetTimeout("Apply Timeout", *row.timeout);
        const File held = Held("Y11M08.CAL");
        const CountingSleeper sleeper;
        CallRecorder calls;
        EXPECT_TRUE(AddAppointment(record_));
        EXPECT_EQ(CountOf(calls, "DeleteFile Y11M08.CAL"), row.tries);
        EXPECT_EQ(CountOf(calls, "MoveFile Y11M08.TMP -> Y11M08.CAL"), row.tries);
        EXPECT_EQ(sleeper.Count(), 2 * (row.tries - 1));
        EXPECT_EQ(ContentOf("Y11M08.CAL"), "5\t6\tB");
        EXPECT_EQ(NamesInFolder(), "Y11M08.BAK Y11M08.CAL ");
    }
}

TEST_F(CalendarLock, TheSwapGoesOnOnceTheReaderIsDone) {
    Put("Y11M08.CAL", "5\t6\tB");
    File held = Held("Y11M08.CAL");
    const CountingSleeper sleeper([&](int count) {
        if (count == 20) held.Close();
    });
    EXPECT_TRUE(AddAppointment(record_));
    EXPECT_EQ(sleeper.Count(), 20);
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "5\t6\tB\r\n1\t2\tA");
}

TEST_F(CalendarLock, ABlockIsLetGoWhateverEndsItsHoldersWork) {
    {
        const CalendarBlock block(key_);
        EXPECT_TRUE(block.IsHeld());
        EXPECT_TRUE(Exists("Y11M08.BLK"));
    }
    EXPECT_FALSE(Exists("Y11M08.BLK"));
}

}  // namespace
}  // namespace tarnwick

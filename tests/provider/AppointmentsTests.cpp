#include "provider/Appointments.h"

#include <gtest/gtest.h>

#include <thread>

#include "provider/ListItems.h"
#include "tests/provider/CalendarFixture.h"

namespace tarnwick {
namespace {

using testing::AttachedCalendarTest;
using testing::MakeRecord;

constexpr const char* kFlagText = "This file has been written to denote configuration change\r\n";
const std::string kThree = "1\t2\tA\r\n3\t4\tB\r\n5\t6\tC";

class Appointments : public AttachedCalendarTest {
  protected:
    static std::string Shown(const AppointmentRecord& record) {
        return std::to_string(record.start) + " " + std::to_string(record.end) + " " +
               std::string(FieldText(record.appointmentId));
    }
    // IDs in the order in which the finder gives them for an ID that is cleared before each call.
    static std::string Enumerated(const char* calendar) {
        std::string seen;
        AppointmentRecord record = MakeRecord(0, 0, "", calendar);
        for (bool found = FindFirstAppointment(record); found;
             found = FindNextAppointment(record)) {
            seen += FieldText(record.appointmentId);
            seen += ' ';
            record.appointmentId[0] = '\0';
        }
        return seen;
    }
};

TEST_F(Appointments, AddCreatesACalendarOfOneLineWithoutABreak) {
    EXPECT_TRUE(AddAppointment(MakeRecord(-1, 20, "A")));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "-1\t20\tA");
    EXPECT_EQ(ContentOf("_CHANGE.DTY"), kFlagText);
    EXPECT_EQ(NamesInFolder(), "Y11M08.CAL _CHANGE.DTY ");
}

TEST_F(Appointments, OnlyANewCalendarIsAnnouncedByAdd) {
    Put("Y11M08.CAL", "1\t2\tA");
    EXPECT_TRUE(AddAppointment(MakeRecord(3, 4, "B")));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "1\t2\tA\r\n3\t4\tB");
    EXPECT_EQ(ContentOf("Y11M08.BAK"), "1\t2\tA");
    EXPECT_EQ(NamesInFolder(), "Y11M08.BAK Y11M08.CAL ");
}

TEST_F(Appointments, AddRefusesAnIdThatDiffersInCaseAlone) {
    Put("Y11M08.CAL", "1\t2\ta");
    EXPECT_FALSE(AddAppointment(MakeRecord(3, 4, "A")));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "1\t2\ta");
    EXPECT_TRUE(Exists("Y11M08.BAK"));
}

TEST_F(Appointments, AddWithoutAnIdWorksOnAnEmptyCalendarAlone) {
    Put("Y11M08.CAL", "");
    EXPECT_TRUE(AddAppointment(MakeRecord(3, 4, "")));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "3\t4\t");
    EXPECT_FALSE(AddAppointment(MakeRecord(5, 6, "")));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "3\t4\t");
}

TEST_F(Appointments, RemoveOfTheLastEntryTakesTheCalendarAway) {
    Put("Y11M08.CAL", "1\t2\tA");
    EXPECT_TRUE(RemoveAppointment(MakeRecord(0, 0, "a")));
    EXPECT_EQ(NamesInFolder(), "Y11M08.BAK _CHANGE.DTY ");
    EXPECT_EQ(ContentOf("Y11M08.BAK"), "1\t2\tA");
}

TEST_F(Appointments, RemoveOfAnAbsentIdRewritesAndAnnounces) {
    Put("Y11M08.CAL", kThree + "\r\n\r\n");
    EXPECT_FALSE(RemoveAppointment(MakeRecord(0, 0, "D")));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), kThree);
    EXPECT_EQ(ContentOf("_CHANGE.DTY"), kFlagText);
}

TEST_F(Appointments, RemoveWithoutAnIdRemovesAllButNotAnEmptyCalendar) {
    Put("Y11M08.CAL", kThree);
    EXPECT_TRUE(RemoveAppointment(MakeRecord(0, 0, "")));
    EXPECT_FALSE(Exists("Y11M08.CAL"));
    Put("Y11M08.CAL", "");
    EXPECT_FALSE(RemoveAppointment(MakeRecord(0, 0, "")));
    EXPECT_TRUE(Exists("Y11M08.CAL"));
}

TEST_F(Appointments, EditChangesEveryMatchAndStaysInItsCalendar) {
    Put("Y11M08.CAL", kThree + "\r\n7\t8\ta");
    AppointmentRecord changed = MakeRecord(-9, 9, "Z", "OTHER");
    StoreField(changed.postoffice, "elsewhere");
    EXPECT_TRUE(EditAppointment(MakeRecord(0, 0, "A"), changed));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "-9\t9\tZ\r\n3\t4\tB\r\n5\t6\tC\r\n-9\t9\tZ");
    EXPECT_EQ(NamesInFolder(), "Y11M08.BAK Y11M08.CAL _CHANGE.DTY ");
}

TEST_F(Appointments, EditOfAnAbsentIdSucceedsAndAnnounces) {
    Put("Y11M08.CAL", kThree);
    EXPECT_TRUE(EditAppointment(MakeRecord(0, 0, "D"), MakeRecord(7, 8, "Z")));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), kThree);
    EXPECT_TRUE(Exists("_CHANGE.DTY"));
}

TEST_F(Appointments, WithoutACalendarAllButAddFailAndLeaveNothing) {
    AppointmentRecord record = MakeRecord(1, 2, "A");
    EXPECT_FALSE(RemoveAppointment(record));
    EXPECT_FALSE(EditAppointment(record, record));
    EXPECT_FALSE(GetAppointment(record));
    EXPECT_FALSE(FindFirstAppointment(record));
    EXPECT_EQ(NamesInFolder(), "");
    EXPECT_EQ(Shown(record), "1 2 A");
}

TEST_F(Appointments, WithoutAPostofficeSomeStillMakeTheFolder) {
    AppointmentRecord record = MakeRecord(1, 2, "A");
    record.postoffice[0] = '\0';
    const std::string folder = root_.Path("MAILROOT\\box\\Calendar");
    testing::MakePath(root_.Path("MAILROOT\\box"));
    EXPECT_FALSE(RemoveAppointment(record));
    EXPECT_FALSE(GetAppointment(record));
    EXPECT_FALSE(testing::PathExists(folder));
    struct Row {
        const char* name;
        bool result;
    };
    const auto makesFolder = [&](bool result) {
        const bool made = !result && testing::PathExists(folder);
        RemoveDirectoryA(folder.c_str());
        return made;
    };
    EXPECT_TRUE(makesFolder(AddAppointment(record)));
    EXPECT_TRUE(makesFolder(EditAppointment(record, MakeRecord(1, 2, "A"))));
    EXPECT_TRUE(makesFolder(FindFirstAppointment(record)));
    EXPECT_TRUE(makesFolder(FindNextAppointment(record)));
}

TEST_F(Appointments, GetTakesTheLastMatch) {
    Put("Y11M08.CAL", "1\t2\tA\r\n3\t4\tB\r\n5\t6\ta");
    AppointmentRecord record = MakeRecord(0, 0, "A");
    EXPECT_TRUE(GetAppointment(record));
    EXPECT_EQ(Shown(record), "5 6 a");
    record = MakeRecord(7, 8, "D");
    EXPECT_FALSE(GetAppointment(record));
    EXPECT_EQ(Shown(record), "7 8 D");
}

TEST_F(Appointments, GetWithoutAnIdStaysWithTheFirstEntrysId) {
    Put("Y11M08.CAL", "\r\n1\t2\tA\r\n3\t4\tB\r\n5\t6\ta\r\n7\t8\tC");
    AppointmentRecord record = MakeRecord(0, 0, "");
    EXPECT_TRUE(GetAppointment(record));
    EXPECT_EQ(Shown(record), "5 6 a");
}

TEST_F(Appointments, GetCutsAnIdThatTheRecordCannotHold) {
    const std::string id(64, 'i');
    Put("Y11M08.CAL", "1\t2\t" + id + "\r\n3\t4\t" + id.substr(1));
    AppointmentRecord record = MakeRecord(0, 0, "");
    std::copy(id.begin(), id.end(), record.appointmentId);  // a field without a terminator
    EXPECT_TRUE(GetAppointment(record));
    // The stored ID is one shorter, so the second line matches it.
    EXPECT_EQ(Shown(record), "3 4 " + id.substr(1));
    EXPECT_EQ(record.calendarName[0], 'Y');
}

TEST_F(Appointments, TheFinderGivesEveryLineOnce) {
    Put("Y11M08.CAL", kThree);
    EXPECT_EQ(Enumerated("Y11M08"), "A B C ");
    AppointmentRecord record = MakeRecord(0, 0, "");
    EXPECT_FALSE(FindNextAppointment(record));
    Put("Y11M08.CAL", kThree + "\r\n7\t8\tD");
    EXPECT_TRUE(FindNextAppointment(record));
    EXPECT_EQ(Shown(record), "7 8 D");
}

TEST_F(Appointments, AnUnclearedIdLetsTheFinderLookForItsOwn) {
    Put("Y11M08.CAL", kThree + "\r\n7\t8\ta");
    AppointmentRecord record = MakeRecord(0, 0, "");
    EXPECT_TRUE(FindFirstAppointment(record));
    EXPECT_TRUE(FindNextAppointment(record));
    EXPECT_EQ(Shown(record), "7 8 a");
    EXPECT_FALSE(FindNextAppointment(record));
}

TEST_F(Appointments, TheFinderCountsAndGivesBlankLines) {
    Put("Y11M08.CAL", "1\t2\tA\r\n\r\n5\t6\tC\r\n");
    AppointmentRecord record = MakeRecord(0, 0, "");
    EXPECT_TRUE(FindFirstAppointment(record));
    record.appointmentId[0] = '\0';
    EXPECT_TRUE(FindNextAppointment(record));
    // Read alone, a blank line has no line before it to take an ID from.
    EXPECT_EQ(Shown(record), "0 0 ");
    EXPECT_EQ(FindPosition(), 2);
    EXPECT_TRUE(FindNextAppointment(record));
    EXPECT_EQ(Shown(record), "5 6 C");
}

TEST_F(Appointments, TheFindersPositionMovesOverWhatDoesNotMatch) {
    Put("Y11M08.CAL", kThree);
    AppointmentRecord record = MakeRecord(0, 0, "D");
    EXPECT_FALSE(FindFirstAppointment(record));
    EXPECT_EQ(FindPosition(), 3);
    record.postoffice[0] = '\0';
    EXPECT_FALSE(FindNextAppointment(record));
    EXPECT_EQ(FindPosition(), 3);
    record = MakeRecord(0, 0, "", "MISSING");
    EXPECT_FALSE(FindNextAppointment(record));
    EXPECT_EQ(FindPosition(), 3);
}

TEST_F(Appointments, APositionSetFromOutsideIsWhereTheFinderGoesOn) {
    Put("Y11M08.CAL", kThree);
    struct Row {
        std::int32_t position;
        const char* found;
        std::int32_t after;
    };
    constexpr std::int32_t kLargest = 2147483647;
    for (const Row& row : {Row{0, "1 2 A", 1}, Row{2, "5 6 C", 3}, Row{3, "", 3}, Row{4, "", 4},
                           Row{kLargest, "", kLargest}, Row{-7, "1 2 A", 1}}) {
        std::int32_t position = row.position;
        EXPECT_EQ(AppointmentListItemListSetPosition(position), 1U);
        AppointmentRecord record = MakeRecord(0, 0, "");
        const bool found = FindNextAppointment(record);
        EXPECT_EQ(found ? Shown(record) : "", row.found) << row.position;
        EXPECT_EQ(FindPosition(), row.after) << row.position;
    }
}

TEST_F(Appointments, EveryThreadHasAPositionOfItsOwn) {
    Put("Y11M08.CAL", kThree);
    AppointmentRecord record = MakeRecord(0, 0, "");
    EXPECT_TRUE(FindFirstAppointment(record));
    std::string elsewhere;
    std::thread([&] {
        OnModuleNotification(DLL_THREAD_ATTACH);
        AppointmentRecord other = MakeRecord(0, 0, "");
        EXPECT_TRUE(FindNextAppointment(other));
        elsewhere = Shown(other);
    }).join();
    EXPECT_EQ(elsewhere, "1 2 A");
    EXPECT_EQ(FindPosition(), 1);
}

TEST_F(Appointments, TheListLengthIsUnknownHere) {
    static ListRecord record{};
    EXPECT_EQ(AppointmentListItemListGetLength(record), 0U);
}

}  // namespace
}  // namespace tarnwick

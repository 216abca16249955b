#include <gtest/gtest.h>

#include "provider/Appointments.h"
#include "tests/provider/CalendarFixture.h"

namespace tarnwick {
namespace {

using testing::AttachedCalendarTest;
using testing::MakeRecord;

class Appointments : public AttachedCalendarTest {};

TEST_F(Appointments, AddCreatesACalendarOfOneLineWithoutABreak) {
    EXPECT_TRUE(AddAppointment(MakeRecord(-1, 20, "A")));
    EXPECT_EQ(ContentOf("Y11M08.CAL"), "-1\t20\tA");
    EXPECT_EQ(ContentOf("_CHANGE.DTY"),
              "This file has been written to denote configuration change\r\n");
    EXPECT_FALSE(Exists("Y11M08.BLK"));
    AppointmentRecord read = MakeRecord(0, 0, "a");
    EXPECT_TRUE(GetAppointment(read));
    EXPECT_EQ(read.start, -1);
    EXPECT_EQ(read.end, 20);
    EXPECT_STREQ(read.appointmentId, "A");
}

TEST_F(Appointments, TheFinderGivesEveryLineWhenTheIdIsCleared) {
    Put("Y11M08.CAL", "1\t2\tA\r\n3\t4\tB\r\n5\t6\tC");
    std::string seen;
    AppointmentRecord record = MakeRecord(0, 0, "");
    for (bool found = FindFirstAppointment(record); found; found = FindNextAppointment(record)) {
        seen += record.appointmentId;
        record.appointmentId[0] = '\0';
    }
    EXPECT_EQ(seen, "ABC");
}

}  // namespace
}  // namespace tarnwick

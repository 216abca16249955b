#include "provider/Appointments.h"

#include <gtest/gtest.h>

#include <thread>

#include "common/Files.h"
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
    // What the finder gives in its order, for an ID that is cleared before each call or not.
    static std::string Enumerated(bool clearsId) {
        std::string seen;
        AppointmentRecord record = MakeRecord(0, 0, "");
        for (bool found = FindFirstAppointment(record); found;
             found = FindNextAppointment(record)) {
            seen += Shown(record) + "|";
            if (clearsId) record.appointmentId[0] = '\0';
        }
        return seen;
    }
};

TEST_F(Appointments, ChangesAnswerAndAnnounceEachInItsWay) {
    using Record = const AppointmentRecord&;
    const auto add = [](Record, Record changed) { return AddAppointment(changed); };
    const auto remove = [](Record old, Record) { return RemoveAppointment(old); };
    const auto edit = [](Record old, Record changed) { return EditAppointment(old, changed); };
    const std::string unwritten = "BAK CAL ";
    const std::string announced = "BAK CAL DTY ";
    const struct {
        const char* name;
        const char* before;  // null: there is no calendar
        bool (*change)(Record old, Record changed);
        const char* oldId;
        const char* newId;
        bool result;
        std::string after;
        std::string files;
    } rows[] = {
        {"a new calendar has no line break", nullptr, add, "", "Z", true, "9\t-9\tZ", "CAL DTY "},
        {"add announces a new one alone", "1\t2\tA", add, "", "Z", true, "1\t2\tA\r\n9\t-9\tZ",
         unwritten},
        {"no ID goes to an empty calendar", "", add, "", "", true, "9\t-9\t", unwritten},
        {"and to no other", "3\t4\t", add, "", "", false, "3\t4\t", unwritten},
        {"removing the last", "1\t2\tA", remove, "a", "", true, "", "BAK DTY "},
        {"removing none writes", "1\t2\tA\r\n\r\n", remove, "D", "", false, "1\t2\tA", announced},
        {"removing all", kThree.c_str(), remove, "", "", true, "", "BAK DTY "},
        {"removing what is not there", nullptr, remove, "", "", false, "", ""},
        {"edit changes every match", "1\t2\tA\r\n3\t4\tB\r\n7\t8\ta", edit, "A", "Z", true,
         "9\t-9\tZ\r\n3\t4\tB\r\n9\t-9\tZ", announced},
        {"edit of what is not there", nullptr, edit, "", "Z", false, "", ""},
        {"edit of none succeeds", kThree.c_str(), edit, "D", "Z", true, kThree, announced},
    };
    for (const auto& row : rows) {
        for (const std::string& name : testing::SortedNamesIn(folder_)) RemoveFile(InFolder(name));
        if (row.before != nullptr) Put("Y11M08.CAL", row.before);
        // An entry may end before it starts. The calendar stays the first record's, the folder too.
        AppointmentRecord changed =
            MakeRecord(9, -9, row.newId, row.change == +edit ? "X" : "Y11M08");
        if (row.change == +edit) StoreField(changed.postoffice, "elsewhere");
        EXPECT_EQ(row.change(MakeRecord(0, 0, row.oldId), changed), row.result) << row.name;
        std::string files;
        for (const std::string& name : testing::SortedNamesIn(folder_)) {
            files += name.substr(name.find('.') + 1) + " ";
        }
        EXPECT_EQ(files, row.files) << row.name;
        EXPECT_EQ(ContentOf("Y11M08.CAL"), row.after) << row.name;
        if (files.find("BAK") != std::string::npos) {
            EXPECT_EQ(ContentOf("Y11M08.BAK"), row.before) << row.name;
        }
    }
    // Written anew each time, and not behind what it held.
    EXPECT_TRUE(EditAppointment(MakeRecord(0, 0, "A"), MakeRecord(0, 0, "A")));
    EXPECT_EQ(ContentOf("_CHANGE.DTY"), kFlagText);
}

TEST_F(Appointments, WithoutAPostofficeSomeStillMakeTheFolder) {
    AppointmentRecord record = MakeRecord(1, 2, "A");
    record.postoffice[0] = '\0';
    const std::string folder = root_.Path("MAILROOT\\box\\Calendar");
    testing::MakePath(root_.Path("MAILROOT\\box"));
    EXPECT_FALSE(RemoveAppointment(record));
    EXPECT_FALSE(GetAppointment(record));
    EXPECT_FALSE(testing::PathExists(folder));
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

TEST_F(Appointments, GetTakesTheLastMatchOrStaysWithTheFirstEntrysId) {
    Put("Y11M08.CAL", "\r\n1\t2\tA\r\n3\t4\tB\r\n7\t8\tC\r\n5\t6\ta\r\n\r\n");
    for (const char* id : {"A", "", "D"}) {
        AppointmentRecord record = MakeRecord(0, 0, id);
        EXPECT_EQ(GetAppointment(record), *id != 'D') << id;
        EXPECT_EQ(Shown(record), *id == 'D' ? "0 0 D" : "5 6 a") << id;
    }
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
    Put("Y11M08.CAL", kThree + "\r\n7\t8\ta");
    EXPECT_EQ(Enumerated(false), "1 2 A|7 8 a|") << "it looks for the ID it gave";
    // Read alone, a blank line has no line before it to take an ID from.
    Put("Y11M08.CAL", "1\t2\tA\r\n\r\n5\t6\tC\r\n");
    EXPECT_EQ(Enumerated(true), "1 2 A|0 0 |5 6 C|");
    EXPECT_EQ(FindPosition(), 3);
    Put("Y11M08.CAL", kThree);
    EXPECT_EQ(Enumerated(true), "1 2 A|3 4 B|5 6 C|");
    AppointmentRecord record = MakeRecord(0, 0, "");
    EXPECT_FALSE(FindNextAppointment(record));
    Put("Y11M08.CAL", kThree + "\r\n7\t8\tD");
    EXPECT_TRUE(FindNextAppointment(record));
    EXPECT_EQ(Shown(record), "7 8 D");
    static ListRecord list{};
    EXPECT_EQ(AppointmentListItemListGetLength(list), 0U) << "the length is unknown here";
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
    record.postoffice[0] = '\0';
    EXPECT_FALSE(FindFirstAppointment(record));
    EXPECT_EQ(FindPosition(), 0) << "the first one resets it all the same";
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

}  // namespace
}  // namespace tarnwick

// What is on disk when a file call fails, or the process ends, in the middle of an operation.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "common/Files.h"
#include "provider/Appointments.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::AttachedCalendarTest;
using testing::CallRecorder;
using testing::CountingSleeper;
using testing::Environment;
using testing::MakeRecord;

const std::string kOld = "1\t2\tA\r\n3\t4\tB";

struct Operation {
    const char* name;
    const char* before;  // the calendar's content; null: there is none
    std::string after;   // empty: there is none
    bool (*run)();
};

const Operation kOperations[] = {
    {"add", kOld.c_str(), kOld + "\r\n5\t6\tC",
     [] { return AddAppointment(MakeRecord(5, 6, "C")); }},
    {"create", nullptr, "5\t6\tC", [] { return AddAppointment(MakeRecord(5, 6, "C")); }},
    {"edit", kOld.c_str(), "5\t6\tC\r\n3\t4\tB",
     [] { return EditAppointment(MakeRecord(0, 0, "A"), MakeRecord(5, 6, "C")); }},
    {"remove", kOld.c_str(), "1\t2\tA", [] { return RemoveAppointment(MakeRecord(0, 0, "B")); }},
    {"remove all", kOld.c_str(), "", [] { return RemoveAppointment(MakeRecord(0, 0, "")); }},
};

using Lines = std::vector<std::string>;

class CalendarFaults : public AttachedCalendarTest {
  protected:
    CalendarFaults() {
        for (const char* name :
             {"Read Wait Timeout", "Apply Timeout", "Write Wait Timeout", "UnBlock Timeout"}) {
            SetTimeout(name, 0);
        }
    }

    void Prepare(const Operation& operation) const {
        for (const std::string& name : testing::SortedNamesIn(folder_)) RemoveFile(InFolder(name));
        if (operation.before != nullptr) Put("Y11M08.CAL", operation.before);
    }

    // The operation's file calls when all goes well.
    Lines CallsOf(const Operation& operation) const {
        Prepare(operation);
        CallRecorder calls;
        operation.run();
        return calls.Calls();
    }

    // Each file in the folder with what it holds: "CAL=new BAK=old BLK".
    std::string State(const Operation& operation) const {
        std::string state;
        const std::string before = operation.before == nullptr ? "" : operation.before;
        for (const std::string& name : testing::SortedNamesIn(folder_)) {
            const std::string content = ContentOf(name);
            state += state.empty() ? "" : " ";
            state += name == "_CHANGE.DTY" ? "DTY" : name.substr(name.find('.') + 1);
            if (name == "_CHANGE.DTY" || name == "Y11M08.BLK") continue;
            state += content.empty()              ? "=empty"
                     : content == before          ? "=old"
                     : content == operation.after ? "=new"
                     : content == "5\t6\tC"       ? "=first"
                                                  : "=" + content;
        }
        return state;
    }

    CountingSleeper sleeper_;
};

TEST_F(CalendarFaults, TheOperationsAreTheseCallsInThisOrder) {
    const Lines take = {"CreateDirectory Calendar", "CreateFile Y11M08.BLK", "CloseHandle",
                        "CreateFile Y11M08.CAL"};
    const Lines rewrite = {"CreateFile Y11M08.TMP",
                           "GetFileSize",
                           "ReadFile",
                           "WriteFile",
                           "CloseHandle",
                           "CloseHandle",
                           "FindFirstFile Y11M08.BLK"};
    const Lines swap = {"CopyFile Y11M08.CAL -> Y11M08.BAK", "DeleteFile Y11M08.CAL",
                        "MoveFile Y11M08.TMP -> Y11M08.CAL", "DeleteFile Y11M08.TMP",
                        "DeleteFile Y11M08.BLK"};
    const Lines flag = {"CreateFile _CHANGE.DTY", "WriteFile", "CloseHandle"};
    const auto joined = [](std::initializer_list<Lines> parts) {
        Lines all;
        for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    };
    const std::map<std::string, Lines> expected = {
        {"add", joined({take, rewrite, swap})},
        {"create", joined({take,
                           {"CreateFile Y11M08.CAL", "WriteFile", "CloseHandle"},
                           flag,
                           {"DeleteFile Y11M08.BLK"}})},
        {"edit", joined({take, rewrite, swap, flag})},
        {"remove", joined({take, rewrite, swap, flag})},
        // An empty replacement needs no write.
        {"remove all", joined({take,
                               {"CreateFile Y11M08.TMP", "GetFileSize", "ReadFile", "CloseHandle",
                                "CloseHandle", "FindFirstFile Y11M08.BLK"},
                               swap,
                               {"DeleteFile Y11M08.CAL"},
                               flag})},
    };
    for (const Operation& operation : kOperations) {
        Prepare(operation);
        CallRecorder calls;
        EXPECT_TRUE(operation.run());
        EXPECT_EQ(calls.Calls(), expected.at(operation.name)) << operation.name;
    }
}

TEST_F(CalendarFaults, ReadersAreTheseCallsInThisOrder) {
    Put("Y11M08.CAL", kOld);
    AppointmentRecord record = MakeRecord(0, 0, "A");
    for (bool (*read)(AppointmentRecord&) : {GetAppointment, FindFirstAppointment}) {
        CallRecorder calls;
        EXPECT_TRUE(read(record));
        EXPECT_EQ(calls.Calls(), (Lines{"CreateDirectory Calendar", "GetFileAttributes Y11M08.BLK",
                                        "CreateFile Y11M08.CAL", "ReadFile"}));
    }
}

TEST_F(CalendarFaults, TheFinderGoesOnWhereAReadFailed) {
    // The last line lies on both sides of the first block's end.
    std::string content;
    while (content.size() < 65536 - 10) content += "1\t2\tA\r\n";
    Put("Y11M08.CAL", content + "1234567890\t2\tB");
    AppointmentRecord record = MakeRecord(0, 0, "B");
    {
        CallRecorder calls;
        calls.FailCall(5, ERROR_NETNAME_DELETED);
        EXPECT_FALSE(FindFirstAppointment(record));
        EXPECT_EQ(calls.Calls().back(), "ReadFile");
    }
    EXPECT_EQ(record.start, 0);
    EXPECT_TRUE(FindNextAppointment(record));
    EXPECT_EQ(record.start, 1234567890);
}

// What is there after each call that failed, or ended the process: "number state" for each call
// whose outcome differs from the one before. The numbers are those of the sequences above; remove
// ends as edit does.
using Outcomes = std::map<std::string, std::string>;

std::string OutcomeAt(const Outcomes& outcomes, std::string name, std::size_t call) {
    std::istringstream states(outcomes.at(name == "remove" ? "edit" : name));
    std::string state;
    std::size_t number = 0;
    std::string outcome;
    while (states >> number && std::getline(states, state, '|') && number <= call) {
        outcome = state.substr(1);
    }
    return outcome;
}

// Three are worth a word. A calendar that does not open counts as missing, and a first one takes
// its place (add, 4). Without a replacement the swap takes the calendar away, and the backup has
// its content (5). What cannot be read or written whole is not swapped in (7 to 9).
const Outcomes kAfterFailure = {
    {"add",
     "1 BAK=old CAL=new|2 CAL=old|3 BAK=old CAL=new|4 CAL=first DTY|5 BAK=old|"
     "6 BAK=old CAL=new|7 CAL=old|10 BAK=old CAL=new|12 CAL=new|13 BAK=old CAL=new|"
     "16 BAK=old BLK CAL=new"},
    {"create", "1 CAL=new DTY|2 |3 CAL=new DTY|5 DTY|8 CAL=new|9 CAL=new DTY|11 BLK CAL=new DTY"},
    {"edit",
     "1 BAK=old CAL=new DTY|2 CAL=old|3 BAK=old CAL=new DTY|4 CAL=old|5 BAK=old DTY|"
     "6 BAK=old CAL=new DTY|7 CAL=old DTY|10 BAK=old CAL=new DTY|12 CAL=new DTY|"
     "13 BAK=old CAL=new DTY|16 BAK=old BLK CAL=new DTY|17 BAK=old CAL=new|"
     "18 BAK=old CAL=new DTY"},
    {"remove all",
     "1 BAK=old DTY|2 CAL=old|3 BAK=old DTY|4 CAL=old|5 BAK=old DTY|7 CAL=old DTY|"
     "9 BAK=old DTY|11 DTY|12 BAK=old DTY|15 BAK=old BLK DTY|16 BAK=old CAL=empty DTY|"
     "17 BAK=old|18 BAK=old DTY"},
};

// A death leaves the block file, which a reader's patience removes, and perhaps the replacement.
const Outcomes kAfterDeath = {
    {"add",
     "1 CAL=old|3 BLK CAL=old|6 BLK CAL=old TMP=empty|9 BLK CAL=old TMP=new|"
     "13 BAK=old BLK CAL=old TMP=new|14 BAK=old BLK TMP=new|15 BAK=old BLK CAL=new"},
    {"create", "1 |3 BLK|6 BLK CAL=empty|7 BLK CAL=new|9 BLK CAL=new DTY"},
    {"edit",
     "1 CAL=old|3 BLK CAL=old|6 BLK CAL=old TMP=empty|9 BLK CAL=old TMP=new|"
     "13 BAK=old BLK CAL=old TMP=new|14 BAK=old BLK TMP=new|15 BAK=old BLK CAL=new|"
     "17 BAK=old CAL=new|18 BAK=old CAL=new DTY"},
    {"remove all",
     "1 CAL=old|3 BLK CAL=old|6 BLK CAL=old TMP=empty|12 BAK=old BLK CAL=old TMP=empty|"
     "13 BAK=old BLK TMP=empty|14 BAK=old BLK CAL=empty|16 BAK=old CAL=empty|17 BAK=old|"
     "18 BAK=old DTY"},
};

TEST_F(CalendarFaults, AFailingCallLeavesOldOrNewContentWhole) {
    for (const Operation& operation : kOperations) {
        const Lines all = CallsOf(operation);
        for (std::size_t number = 1; number <= all.size(); ++number) {
            Prepare(operation);
            {
                const testing::ReportRecorder reports;
                CallRecorder calls;
                calls.FailCall(static_cast<int>(number), ERROR_ACCESS_DENIED);
                operation.run();
            }
            EXPECT_EQ(State(operation), OutcomeAt(kAfterFailure, operation.name, number))
                << operation.name << ", call " << number << ", " << all[number - 1];
        }
    }
}

// The process that dies: it runs an operation on the folder of the test that started it.
TEST(CalendarFaultsChild, DiesAtACall) {
    const std::string number = Environment("TW_FAULT_CALL");
    if (number.empty()) return;
    HKEY machine = nullptr;
    RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\TarnwickTests\\FaultChild", 0, nullptr, 0,
                    KEY_ALL_ACCESS, nullptr, &machine, nullptr);
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine);
    testing::ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root",
                                        Environment("TW_FAULT_ROOT"));
    ASSERT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
    CallRecorder calls;
    calls.DieAtCall(std::stoi(number));
    kOperations[std::stoi(Environment("TW_FAULT_OPERATION"))].run();
}

TEST_F(CalendarFaults, ADeathLeavesOldOrNewContentWhole) {
    int index = 0;
    for (const Operation& operation : kOperations) {
        const Lines all = CallsOf(operation);
        for (std::size_t number = 1; number <= all.size(); ++number) {
            Prepare(operation);
            const unsigned status = testing::RunSelf(
                "CalendarFaultsChild.DiesAtACall",
                {"TW_FAULT_CALL=" + std::to_string(number),
                 "TW_FAULT_OPERATION=" + std::to_string(index), "TW_FAULT_ROOT=" + root_.Path()});
            EXPECT_EQ(status, testing::kDiedAtCall);
            EXPECT_EQ(State(operation), OutcomeAt(kAfterDeath, operation.name, number))
                << operation.name << ", call " << number << ", " << all[number - 1];
        }
        ++index;
    }
}

}  // namespace
}  // namespace tarnwick

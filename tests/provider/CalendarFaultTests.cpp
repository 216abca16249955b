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
                                        "CreateFile Y11M08.CAL", "GetFileSize", "ReadFile"}));
    }
}

TEST_F(CalendarFaults, AReadThatFailsLeavesTheRecordAndTheFinderGoesOnThere) {
    Put("Y11M08.CAL", kOld);
    const std::pair<const char*, bool (*)(AppointmentRecord&)> rows[] = {
        {"", GetAppointment}, {"B", FindFirstAppointment}};
    AppointmentRecord record{};
    for (const auto& [id, read] : rows) {
        record = MakeRecord(0, 0, id);
        CallRecorder calls;
        calls.FailAll("ReadFile", ERROR_NETNAME_DELETED);
        EXPECT_FALSE(read(record));
        EXPECT_EQ(record.start, 0);
        EXPECT_STREQ(record.appointmentId, id);
    }
    EXPECT_TRUE(FindNextAppointment(record));
    EXPECT_EQ(record.start, 3);
}

// The result and what is there after each call that failed: "number result state" for each call
// whose outcome differs from the one before. The numbers are those of the sequences above.
using Outcomes = std::map<std::string, std::string>;

std::string OutcomeAt(const Outcomes& outcomes, const std::string& name, std::size_t call) {
    std::istringstream states(outcomes.at(name));
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
     "1 done BAK=old CAL=new|2 not CAL=old|3 done BAK=old CAL=new|4 done CAL=first DTY|"
     "5 not BAK=old|6 done BAK=old CAL=new|7 not CAL=old|10 done BAK=old CAL=new|"
     "12 done CAL=new|13 done BAK=old CAL=new|16 done BAK=old BLK CAL=new"},
    {"create",
     "1 done CAL=new DTY|2 not |3 done CAL=new DTY|5 not DTY|8 done CAL=new|"
     "9 done CAL=new DTY|11 done BLK CAL=new DTY"},
    {"edit",
     "1 done BAK=old CAL=new DTY|2 not CAL=old|3 done BAK=old CAL=new DTY|4 not CAL=old|"
     "5 done BAK=old DTY|6 done BAK=old CAL=new DTY|7 done CAL=old DTY|"
     "10 done BAK=old CAL=new DTY|12 done CAL=new DTY|13 done BAK=old CAL=new DTY|"
     "16 done BAK=old BLK CAL=new DTY|17 done BAK=old CAL=new|18 done BAK=old CAL=new DTY"},
    {"remove",
     "1 done BAK=old CAL=new DTY|2 not CAL=old|3 done BAK=old CAL=new DTY|4 not CAL=old|"
     "5 not BAK=old DTY|6 done BAK=old CAL=new DTY|7 not CAL=old DTY|"
     "10 done BAK=old CAL=new DTY|12 done CAL=new DTY|13 done BAK=old CAL=new DTY|"
     "16 done BAK=old BLK CAL=new DTY|17 done BAK=old CAL=new|18 done BAK=old CAL=new DTY"},
    {"remove all",
     "1 done BAK=old DTY|2 not CAL=old|3 done BAK=old DTY|4 not CAL=old|5 not BAK=old DTY|"
     "6 done BAK=old DTY|7 not CAL=old DTY|9 done BAK=old DTY|11 done DTY|12 done BAK=old DTY|"
     "15 done BAK=old BLK DTY|16 done BAK=old CAL=empty DTY|17 done BAK=old|"
     "18 done BAK=old DTY"},
};

TEST_F(CalendarFaults, AFailingCallLeavesOldOrNewContentWhole) {
    for (const Operation& operation : kOperations) {
        const Lines all = CallsOf(operation);
        for (std::size_t number = 1; number <= all.size(); ++number) {
            Prepare(operation);
            std::string outcome;
            {
                const testing::ReportRecorder reports;
                CallRecorder calls;
                calls.FailCall(static_cast<int>(number), ERROR_ACCESS_DENIED);
                outcome = operation.run() ? "done " : "not ";
            }
            EXPECT_EQ(outcome + State(operation), OutcomeAt(kAfterFailure, operation.name, number))
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
            const std::string calendar = ContentOf("Y11M08.CAL");
            const std::string before = operation.before == nullptr ? "" : operation.before;
            EXPECT_TRUE(calendar == before || ContentOf("Y11M08.BAK") == before ||
                        (calendar == operation.after && !calendar.empty()))
                << operation.name << ", call " << number << ", " << all[number - 1] << ": "
                << State(operation);
        }
        ++index;
    }
}

}  // namespace
}  // namespace tarnwick

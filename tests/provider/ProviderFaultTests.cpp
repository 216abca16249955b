// The exports when a system call fails, the process ends in the middle or memory runs short.
#include <gtest/gtest.h>

#include "common/Files.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/provider/NaiveCalendar.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/Faults.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::FailingAllocations;
using testing::On;
using testing::OnEdit;
using testing::Records;

constexpr const char* kOld = "1\t2\tA\r\n3\t4\ta\r\n5\t6\tB";
const std::string kTake = "CreateDirectory Calendar, CreateFile .BLK, CloseHandle, ";
const std::string kOpen = kTake + "CreateFile .CAL, CreateFile .TMP, GetFileSize, ReadFile, ";
const std::string kSwap =
    "CloseHandle, CloseHandle, FindFirstFile .BLK, CopyFile .CAL -> .BAK, DeleteFile .CAL, "
    "MoveFile .TMP -> .CAL, DeleteFile .TMP, DeleteFile .BLK, ";
const std::string kFlag = "CreateFile _CHANGE.DTY, WriteFile, CloseHandle, ";
const std::string kRead =
    "CreateDirectory Calendar, GetFileAttributes .BLK, CreateFile .CAL, GetFileSize, ReadFile, ";
const std::string kWrite = "CreateFile a.itm, WriteFile, CloseHandle, ";
const std::string kChunk = "CreateFile a.itm, SetFilePointer, ReadFile, CloseHandle, ";

// Three outcomes are worth a word. A calendar that does not open counts as missing, and a first one
// takes its place (add, 4). Without a replacement the swap takes the calendar away, and the backup
// has its content (5). What cannot be read or written whole is not swapped in (7 to 9).
const struct Operation {
    const char* name;
    const char* calendar;  // null: there is none
    const char* id;
    std::uint32_t (*run)(Records& with);
    std::string calls;
    const char* outcomes;
} kOperations[] = {
    {"add", kOld, "C", On<AppointmentAdd, &Records::entry>, kOpen + "WriteFile, " + kSwap,
     "0 1 bak new|2 0 old|3 1 bak new|4 1 CAL=7\t8\tC DTY|5 0 bak|6 1 bak new|7 0 old|10 1 bak "
     "new|12 1 new|13 1 bak new|16 1 bak BLK= new|"},
    {"create", nullptr, "C", On<AppointmentAdd, &Records::entry>,
     kTake + "CreateFile .CAL, CreateFile .CAL, WriteFile, CloseHandle, " + kFlag +
         "DeleteFile .BLK, ",
     "0 1 new DTY|2 0|3 1 new DTY|5 0 DTY|8 1 new|9 1 new DTY=|10 1 new DTY|11 1 BLK= new DTY|"},
    {"remove all", kOld, "", On<AppointmentRemove, &Records::entry>,
     kOpen + kSwap + "DeleteFile .CAL, " + kFlag,
     "0 1 bak DTY|2 0 old|3 1 bak DTY|4 0 old|5 0 bak DTY|6 1 bak DTY|7 0 old DTY|9 1 bak DTY|11 1 "
     "DTY|12 1 bak DTY|15 1 bak BLK= DTY|16 1 bak CAL= DTY|17 1 bak|18 1 bak DTY=|19 1 bak DTY|"},
    {"remove", kOld, "B", On<AppointmentRemove, &Records::entry>,
     kOpen + "WriteFile, " + kSwap + kFlag,
     "0 1 bak new DTY|2 0 old|3 1 bak new DTY|4 0 old|5 0 bak DTY|6 1 bak new DTY|7 0 old DTY|10 1 "
     "bak new DTY|12 1 new DTY|13 1 bak new DTY|16 1 bak BLK= new DTY|17 1 bak new|18 1 bak new "
     "DTY=|19 1 bak new DTY|"},
    {"edit", kOld, "A", OnEdit, kOpen + "WriteFile, " + kSwap + kFlag,
     "0 1 bak new DTY|2 0 old|3 1 bak new DTY|4 0 old|5 1 bak DTY|6 1 bak new DTY|7 1 old DTY|10 1 "
     "bak new DTY|12 1 new DTY|13 1 bak new DTY|16 1 bak BLK= new DTY|17 1 bak new|18 1 bak new "
     "DTY=|19 1 bak new DTY|"},
    {"get", kOld, "A", On<AppointmentGet, &Records::entry>, kRead,
     "0 1 old start 3|3 0 old|4 1 old start 3|5 0 old|"},
    {"find first", kOld, "B", On<AppointmentFindFirst, &Records::entry>, kRead,
     "0 1 old start 5 line 3|3 0 old|4 1 old start 5 line 3|5 0 old|"},
    {"find next", kOld, "B", On<AppointmentFindNext, &Records::entry>, kRead,
     "0 1 old start 5 line 3|3 0 old|4 1 old start 5 line 3|5 0 old|"},
    {"write", "", "", On<AppointmentItemWriteFirstChunk, &Records::item>, kWrite,
     "0 1 old itm=new item length 8|1 1 old|2 1 old itm= length 8|3 1 old itm=new item length 8|"},
    {"append", "", "", On<AppointmentItemWriteNextChunk, &Records::item>, kWrite,
     "0 1 old itm=old itemnew item length 8|1 1 old|2 1 old length 8|3 1 old itm=old itemnew item "
     "length 8|"},
    {"first chunk", "", "", On<AppointmentItemGetFirstChunk, &Records::item>, kChunk,
     "0 1 old length 8 byte 8|1 0 old|2 0 old length 0 byte 0|4 1 old length 8 byte 8|"},
    {"next chunk", "", "", On<AppointmentItemGetNextChunk, &Records::item>, kChunk,
     "0 1 old length 8 byte 8|1 0 old|2 0 old length 0 byte 0|4 1 old length 8 byte 8|"},
    {"size", "", "", On<AppointmentItemGetSize, &Records::item>, "FindFirstFile a.itm, ",
     "0 0 old length -1011936716|1 0 old length 0|"},
    {"delete", "", "", On<AppointmentItemDelete, &Records::item>, "DeleteFile a.itm, ",
     "0 1 old no item|1 1 old|"},
    {"days", "", "", On<GetFreeBusyData, &Records::days>,
     "FindFirstFile *.CAL, FindNextFile *.CAL, ", "0 1 old days 03|1 1 old days |2 1 old days 03|"},
};

// Refuses every step that is tried again once; needs no memory for it.
class RefusingOnce : public CallObserver {
  public:
    RefusingOnce() { SetCallObserver(this); }
    ~RefusingOnce() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        for (auto& [name, file] : steps_) {
            if (call.name != name || !call.path.ends_with(file)) continue;
            name = "";
            return ERROR_SHARING_VIOLATION;
        }
        return 0;
    }

  private:
    std::pair<std::string_view, std::string_view> steps_[4] = {{"CreateFile", "3.BLK"},
                                                               {"DeleteFile", "3.CAL"},
                                                               {"MoveFile", "3.TMP"},
                                                               {"DeleteFile", "3.BLK"}};
};

class ProviderFaults : public testing::AttachedCalendarTest {
  protected:
    void Prepare(const Operation& operation) {
        for (const std::string& name : testing::NamesIn(folder_)) RemoveFile(InFolder(name));
        if (operation.calendar != nullptr) Put("Y11M08D03.CAL", operation.calendar);
        Put("a.itm", "old item");
        const File item(InFolder("a.itm"), {FILE_WRITE_ATTRIBUTES, kShareReadWrite, OPEN_EXISTING});
        const FILETIME accessed{0xC3AF1234, 0x01CC51D4};
        ASSERT_TRUE(SetFileTime(item.Native(), nullptr, &accessed, nullptr));
        records_ = {};
        records_.entry = testing::MakeRecord(7, 8, operation.id, "Y11M08D03");
        records_.replacement = testing::MakeRecord(7, 8, "C", "Y11M08D03");
        const auto place = [](auto& record) {
            StoreField(record.postoffice, "PO");
            StoreField(record.mailbox, "box");
        };
        place(records_.item), place(records_.days);
        StoreField(records_.item.itemFileName, "a.itm");
        StoreField(records_.item.data, "new item");
        records_.item.length = 7;
        StoreField(records_.days.result, "before");
        SetFindPosition(0);
        Shared().itemReadOffset = -1;
    }

    // "1 bak new": the result, each file with what it holds (backup and calendar: as before, or
    // the one as after an operation that is whole), what else has changed.
    std::string State(const Operation& operation, const std::string& whole, const Records& before,
                      std::uint32_t result) const {
        std::string outcome = std::to_string(result);
        for (const std::string& name : testing::NamesIn(folder_)) {
            const std::string content = ContentOf(name);
            if (name == "a.itm" && content == "old item") continue;
            const std::string kind = " " + name.substr(name.find('.') + 1);
            const bool isOld = operation.calendar != nullptr && content == operation.calendar;
            const bool isNew = content == whole && !content.empty();
            outcome += content.starts_with("This file has") ? kind
                       : isOld && kind != " itm"            ? kind == " BAK" ? " bak" : " old"
                       : isNew && kind == " CAL"            ? " new"
                                                            : kind + "=" + content;
        }
        const auto note = [&](bool noted, const std::string& text) {
            if (noted) outcome += text;
        };
        const auto number = [](std::int32_t value) { return std::to_string(value); };
        note(!Exists("a.itm"), " no item");
        note(std::memcmp(&before.entry, &records_.entry, sizeof before.entry) != 0,
             " start " + number(records_.entry.start));
        note(std::memcmp(&before.item, &records_.item, sizeof before.item) != 0,
             " length " + number(records_.item.length));
        note(std::memcmp(&before.days, &records_.days, sizeof before.days) != 0,
             std::string(" days ") + records_.days.result);
        note(FindPosition() != 0, " line " + number(FindPosition()));
        note(Shared().itemReadOffset != -1, " byte " + number(Shared().itemReadOffset));
        return outcome;
    }

    Records records_;
    std::string whole_;
    testing::CountingSleeper sleeper_;
};

TEST_F(ProviderFaults, EachOperationIsTheseCallsAndHasTheseOutcomesWhenOneFails) {
    for (const char* name : {"Apply Timeout", "Write Wait Timeout", "UnBlock Timeout"}) {
        SetTimeout(name, 0);
    }
    const testing::ReportRecorder unseen;
    for (const Operation& operation : kOperations) {
        Prepare(operation);
        std::string made;
        {
            testing::CallRecorder calls;
            operation.run(records_);
            for (const std::string& call : calls.Calls()) made += call + ", ";
        }
        for (std::size_t at; (at = made.find("Y11M08D03")) != std::string::npos;) made.erase(at, 9);
        EXPECT_EQ(made, operation.calls) << operation.name;
        const std::string whole = ContentOf("Y11M08D03.CAL");
        Records before;
        testing::ExpectOutcomes(
            {{operation.name,
              [&](const std::string&) { Prepare(operation), before = records_; },
              [&](const std::string&) { return std::to_string(operation.run(records_)); },
              {{testing::Fault::Call, operation.outcomes}},
              [&](const testing::Trial& trial) {
                  return State(operation, whole, before,
                               static_cast<std::uint32_t>(std::stoul(trial.result)));
              }}});
    }
}

TEST_F(ProviderFaults, WithoutMemoryEachIsDoneWholeOrNotAtAll) {
    for (const Operation& operation : kOperations) {
        const auto outcome = [&](int number, bool andAllAfter) {
            Prepare(operation);
            const Records before = records_;
            const RefusingOnce refusing;
            std::uint32_t result = 0;
            if (number >= 0) {
                const FailingAllocations shortage(number, andAllAfter);
                result = operation.run(records_);
            }
            return State(operation, "", before, result);
        };
        const std::string untouched = outcome(-1, false);
        const std::string whole = outcome(0, false);
        EXPECT_NE(whole, untouched) << operation.name;
        const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
            const std::string after = outcome(number, andAllAfter);
            const bool failed = FailingAllocations::Any();
            EXPECT_TRUE(after == untouched || after == whole)
                << operation.name << ", allocation " << number << ": " << after;
            return failed;
        });
        EXPECT_GT(count, 0) << operation.name;
    }
}

TEST_F(ProviderFaults, AnOffsetThatWrapsAroundReadsNothing) {
    Prepare(kOperations[0]);
    Shared().itemReadOffset = 2147483647;
    EXPECT_EQ(AppointmentItemGetNextChunk(&records_.item), 0U);
    EXPECT_EQ(records_.item.length, 0);
    EXPECT_EQ(AppointmentItemGetCurrentOffset(), -2147483647 - 1);
}

// The process that dies finds its mail root where the other prepared it.
class ProviderDeath : public ProviderFaults {
  protected:
    ProviderDeath() {
        testing::ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root",
                                            testing::FaultFolder());
        OnModuleNotification(DLL_PROCESS_DETACH);
        EXPECT_TRUE(OnModuleNotification(DLL_PROCESS_ATTACH));
        folder_ = testing::FaultFolder() + "\\PO\\MAILROOT\\box\\Calendar";
    }
};

TEST_F(ProviderDeath, LeavesOldOrNewContentWhole) {
    std::vector<testing::Operation> operations;
    for (const int number : {0, 1, 2}) {
        const Operation& operation = kOperations[number];
        const std::string before = operation.calendar == nullptr ? "" : operation.calendar;
        operations.push_back(
            {operation.name,
             [&](const std::string&) { Prepare(operation); },
             [&](const std::string&) {
                 records_.entry = testing::MakeRecord(7, 8, operation.id, "Y11M08D03");
                 const std::string result = std::to_string(operation.run(records_));
                 whole_ = ContentOf("Y11M08D03.CAL");
                 return result;
             },
             {{testing::Fault::Death, "1 whole|"}},
             [this, before](const testing::Trial&) {
                 const std::string calendar = ContentOf("Y11M08D03.CAL");
                 const bool isWhole = calendar == before || ContentOf("Y11M08D03.BAK") == before ||
                                      (calendar == whole_ && !calendar.empty());
                 return isWhole ? "whole" : calendar;
             }});
    }
    testing::ExpectOutcomes(operations);
}

}  // namespace
}  // namespace tarnwick

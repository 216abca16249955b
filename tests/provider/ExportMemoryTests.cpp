// The exports when memory runs short at any of their allocations.
#include <gtest/gtest.h>

#include <tuple>

#include "common/CallObserver.h"
#include "common/Files.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/support/FailingAllocations.h"

namespace tarnwick {
namespace {

using testing::AttachedCalendarTest;
using testing::FailingAllocations;
using testing::MakeRecord;

struct Records {
    AppointmentRecord first;
    AppointmentRecord second;
    AppointmentItemRecord item;
    FreeBusyRecord days;
};

constexpr const char* kThree = "1\t2\tA\r\n3\t4\ta\r\n5\t6\tB";

const struct Operation {
    const char* name;
    const char* calendar;  // null: there is none
    const char* id;
    std::uint32_t (*run)(Records& records);
} kOperations[] = {
    {"add", kThree, "A", [](Records& with) { return AppointmentAdd(&with.second); }},
    {"create", nullptr, "A", [](Records& with) { return AppointmentAdd(&with.second); }},
    {"edit", kThree, "A", [](Records& with) { return AppointmentEdit(&with.first, &with.second); }},
    {"remove", kThree, "A", [](Records& with) { return AppointmentRemove(&with.first); }},
    {"remove all", kThree, "", [](Records& with) { return AppointmentRemove(&with.first); }},
    {"get", kThree, "A", [](Records& with) { return AppointmentGet(&with.first); }},
    {"find first", kThree, "A", [](Records& with) { return AppointmentFindFirst(&with.first); }},
    {"find next", kThree, "A", [](Records& with) { return AppointmentFindNext(&with.first); }},
    {"write", "", "", [](Records& with) { return AppointmentItemWriteFirstChunk(&with.item); }},
    {"append", "", "", [](Records& with) { return AppointmentItemWriteNextChunk(&with.item); }},
    {"first chunk", "", "", [](Records& with) { return AppointmentItemGetFirstChunk(&with.item); }},
    {"next chunk", "", "", [](Records& with) { return AppointmentItemGetNextChunk(&with.item); }},
    {"size", "", "", [](Records& with) { return AppointmentItemGetSize(&with.item); }},
    {"delete", "", "", [](Records& with) { return AppointmentItemDelete(&with.item); }},
    {"free/busy", "", "", [](Records& with) { return GetFreeBusyData(&with.days); }},
};

// Refuses every step that is tried again once; needs no memory for it.
class RefusingOnce : public CallObserver {
  public:
    RefusingOnce() { SetCallObserver(this); }
    ~RefusingOnce() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        for (Step& step : steps_) {
            if (step.refused || call.name != step.name || !call.path.ends_with(step.file)) continue;
            step.refused = true;
            return ERROR_SHARING_VIOLATION;
        }
        return 0;
    }

  private:
    struct Step {
        std::string_view name;
        std::string_view file;
        bool refused = false;
    };
    Step steps_[4] = {{"CreateFile", "3.BLK"},
                      {"DeleteFile", "3.CAL"},
                      {"MoveFile", "3.TMP"},
                      {"DeleteFile", "3.BLK"}};
};

class ExportMemory : public AttachedCalendarTest {
  protected:
    // All that a call may change: its result, the records, the folder, both positions.
    using World = std::tuple<std::uint32_t, std::string, std::vector<std::string>, std::int32_t,
                             std::int32_t>;

    void Prepare(const Operation& operation) {
        for (const std::string& name : testing::SortedNamesIn(folder_)) RemoveFile(InFolder(name));
        if (operation.calendar != nullptr) Put("Y11M08D03.CAL", operation.calendar);
        Put("a.itm", "old item");
        const File item(InFolder("a.itm"), {FILE_WRITE_ATTRIBUTES, kShareReadWrite, OPEN_EXISTING});
        const FILETIME accessed{0xC3AF1234, 0x01CC51D4};
        ASSERT_TRUE(SetFileTime(item.Native(), nullptr, &accessed, nullptr));
        records_.first = MakeRecord(0, 0, operation.id, "Y11M08D03");
        records_.second = MakeRecord(7, 8, "C", "Y11M08D03");
        records_.item = {};
        StoreField(records_.item.postoffice, "PO");
        StoreField(records_.item.mailbox, "box");
        StoreField(records_.item.itemFileName, "a.itm");
        StoreField(records_.item.data, "new item");
        records_.days = {};
        StoreField(records_.days.postoffice, "PO");
        StoreField(records_.days.mailbox, "box");
        StoreField(records_.days.result, "before");
        SetFindPosition(0);
        Shared().itemReadOffset = -1;
    }

    World After(std::uint32_t result) const {
        std::vector<std::string> files;
        for (const std::string& name : testing::SortedNamesIn(folder_)) {
            files.push_back(name + "=" + ContentOf(name));
        }
        return {result, std::string(reinterpret_cast<const char*>(&records_), sizeof records_),
                files, FindPosition(), Shared().itemReadOffset};
    }

    // Number 0: none fails.
    World Run(const Operation& operation, int number, bool andAllAfter) {
        Prepare(operation);
        const RefusingOnce refusing;
        std::uint32_t result = 0;
        {
            const FailingAllocations shortage(number, andAllAfter);
            result = operation.run(records_);
        }
        return After(result);
    }

    Records records_{};
    testing::CountingSleeper sleeper_;
};

TEST_F(ExportMemory, EachIsDoneWholeOrNotAtAll) {
    for (const Operation& operation : kOperations) {
        Prepare(operation);
        const World before = After(0);
        const World whole = Run(operation, 0, false);
        EXPECT_NE(whole, before) << operation.name;
        const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
            const World after = Run(operation, number, andAllAfter);
            EXPECT_TRUE(after == before || after == whole)
                << operation.name << ", allocation " << number << (andAllAfter ? " on: " : ": ")
                << std::get<0>(after) << ::testing::PrintToString(std::get<2>(after));
            return FailingAllocations::Any();
        });
        EXPECT_GT(count, 0) << operation.name;
    }
}

}  // namespace
}  // namespace tarnwick

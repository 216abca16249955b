// Sequences of the exported operations on two equal folders: the product's and the model's.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "provider/AppointmentItems.h"
#include "provider/ListItems.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/provider/NaiveCalendar.h"
#include "tests/support/AllTexts.h"
#include "tests/support/Model.h"

namespace tarnwick {
namespace {

using testing::NaiveCalendar;
using testing::On;
using testing::OnEdit;
using testing::Records;

// An operation on both sides; without them the step's bytes are put into a file of its ID's name.
const struct Operation {
    const char* name;
    std::uint32_t (*product)(Records& with) = nullptr;
    std::uint32_t (NaiveCalendar::*model)(Records& with) = nullptr;
} kOperations[] = {
    {"put"},
    {"add", On<AppointmentAdd, &Records::entry>, &NaiveCalendar::Add},
    {"remove", On<AppointmentRemove, &Records::entry>, &NaiveCalendar::Remove},
    {"edit", OnEdit, &NaiveCalendar::Edit},
    {"get", On<AppointmentGet, &Records::entry>, &NaiveCalendar::Get},
    {"find first", On<AppointmentFindFirst, &Records::entry>, &NaiveCalendar::FindFirst},
    {"find next", On<AppointmentFindNext, &Records::entry>, &NaiveCalendar::FindNext},
    {"set position",
     [](Records& with) { return AppointmentListItemListSetPosition(with.position); },
     &NaiveCalendar::SetPosition},
    {"write first", On<AppointmentItemWriteFirstChunk, &Records::item>, &NaiveCalendar::WriteFirst},
    {"write next", On<AppointmentItemWriteNextChunk, &Records::item>, &NaiveCalendar::WriteNext},
    {"rewrite", [](Records& with) { return RewriteItem(with.item); }, &NaiveCalendar::Rewrite},
    {"read first", On<AppointmentItemGetFirstChunk, &Records::item>, &NaiveCalendar::ReadFirst},
    {"read next", On<AppointmentItemGetNextChunk, &Records::item>, &NaiveCalendar::ReadNext},
    {"delete", On<AppointmentItemDelete, &Records::item>, &NaiveCalendar::Delete},
    {"days", On<GetFreeBusyData, &Records::days>, &NaiveCalendar::ListDays},
};
enum Number { kPut, kAdd, kRemove, kEdit, kGet, kFindFirst, kFindNext, kSetPosition, kDays = 14 };

constexpr const char* kAsItWas = "(as it was)";

struct Step {
    int operation;
    std::string id = kAsItWas;  // of the key, or the name of the file that is put
    std::string bytes = "";     // of the item's data or that file
    std::string newId = "N";
    std::int32_t number = 9;
    std::string postoffice = "PO";
    std::string mailbox = "box";
};
using Steps = std::vector<Step>;

std::ostream& operator<<(std::ostream& out, const Step& step) {
    const auto shown = [](const std::string& text) {
        return ::testing::PrintToString(text.substr(0, 80)) +
               (text.size() > 80 ? "... " + std::to_string(text.size()) : "");
    };
    return out << "\n  " << kOperations[step.operation].name << " " << shown(step.id) << " "
               << shown(step.bytes) << " " << shown(step.newId) << " " << step.number << " "
               << step.postoffice << " " << step.mailbox;
}

void Fill(Records& records, const Step& step) {
    if (step.id != kAsItWas) StoreField(records.entry.appointmentId, step.id);
    // A field may be full.
    if (step.id.size() == 64) step.id.copy(records.entry.appointmentId, 64);
    StoreField(records.replacement.appointmentId, step.newId);
    StoreField(records.replacement.postoffice, "elsewhere");
    records.entry.start = records.replacement.start = records.position = step.number;
    records.entry.end = records.replacement.end = -step.number;
    StoreField(records.entry.calendarName, "Y11M08D03");
    StoreField(records.item.itemFileName, "a.itm");
    std::fill(std::begin(records.item.data), std::end(records.item.data), '#');
    step.bytes.copy(records.item.data, sizeof records.item.data);
    const auto place = [&](auto& record) {
        StoreField(record.postoffice, step.postoffice);
        StoreField(record.mailbox, step.mailbox);
    };
    place(records.entry), place(records.item), place(records.days);
    StoreField(records.days.namePrefix, step.newId == "" ? "Y11" : "");
}

// All folders and files of the mail root, and what these hold.
std::map<std::string, std::string> FilesBelow(const std::string& root) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        const std::string path = entry.path().string();
        files[path.substr(root.size())] = entry.is_directory() ? "" : testing::ReadBytesOf(path);
    }
    return files;
}

class CalendarModel : public testing::AttachedCalendarTest {
  protected:
    CalendarModel() { SetTimeout("Write Wait Timeout", 0); }

    // How product and model differ; nothing when they agree in all that a caller can see.
    std::string Difference(const Steps& steps) const {
        for (const auto* root : {&root_, &naiveRoot_}) {
            std::filesystem::remove_all(root->Path("PO\\MAILROOT\\box\\Calendar"));
            std::filesystem::remove_all(root->Path("MAILROOT\\box\\Calendar"));
            testing::MakePath(root->Path("PO\\MAILROOT\\box"));
            testing::MakePath(root->Path("MAILROOT\\box"));
        }
        NaiveCalendar model(naiveRoot_.Path());
        Records product;
        Records expected;
        SetFindPosition(0);
        Shared().itemReadOffset = -1;
        for (const Step& step : steps) {
            const Operation& operation = kOperations[step.operation];
            if (operation.product == nullptr) {
                for (const auto* root : {&root_, &naiveRoot_}) {
                    const std::string folder = root->Path("PO\\MAILROOT\\box\\Calendar");
                    CreateDirectoryA(folder.c_str(), nullptr);
                    testing::WriteBytesTo(folder + "\\" + step.id, step.bytes);
                }
                continue;
            }
            Fill(product, step), Fill(expected, step);
            const std::string name = operation.name;
            const std::uint32_t result = operation.product(product);
            if ((model.*operation.model)(expected) != result) {
                return name + " gives " + std::to_string(result);
            }
            if (std::memcmp(&product, &expected, sizeof product) != 0) return name + "'s record";
            // Below the first line all positions are one.
            if (std::max(FindPosition(), 0) != std::max(model.FindPosition(), 0))
                return name + "'s position";
            if (AppointmentItemGetCurrentOffset() != model.ItemReadOffset())
                return name + "'s offset " + std::to_string(AppointmentItemGetCurrentOffset());
        }
        const auto files = FilesBelow(root_.Path());
        return files == FilesBelow(naiveRoot_.Path()) ? "" : ::testing::PrintToString(files);
    }

    testing::ScratchFolder naiveRoot_;
    testing::CountingSleeper sleeper_;
};

Steps RandomSteps(std::mt19937& random) {
    const auto one = [&](const std::vector<std::string>& texts) {
        return texts[random() % texts.size()];
    };
    const std::string full(64, 'i');
    const std::vector<std::string> ids = {kAsItWas, "", "A", "a", "B", "x\ty", full, "D"};
    Steps steps;
    for (std::size_t count = 4 + random() % 16; steps.size() < count;) {
        Step step{static_cast<int>(random() % std::size(kOperations)), one(ids)};
        if (random() % 2 == 0) step.operation = static_cast<int>(kAdd + random() % 7);
        if (!steps.empty() && steps.back().operation == kSetPosition) step.operation = kFindNext;
        step.newId = one({"N", "", "a\nb", "A"});
        constexpr std::int32_t kNumbers[] = {9, 0, 1, 2, 3, 2147483647, -7};
        step.number = kNumbers[random() % std::size(kNumbers)];
        if (random() % 16 == 0) step.postoffice = "";
        if (random() % 16 == 0) step.mailbox = "nobody";
        if (step.operation == kPut) {
            const std::string calendar = "Y11M08D03.CAL";
            step.id = one({calendar, calendar, calendar, "a.itm", "Y12.CAL", "D.CAL", "d1.CAL",
                           "Y11D1.2.CAL", "Y11D4.TXT", "zD" + std::string(150, 'd') + ".CAL"});
            for (std::size_t parts = random() % 9; parts > 0; --parts) {
                step.bytes += one({"1\t2\tA", "3\t4\tB", "5\t6\ta\r\n", " +01\t-00\tB", "9", "7\t8",
                                   "\r\n", "\r\n", "\n", "\r", "\x1a", "1\t2\t" + full, full + full,
                                   std::string(959, 'x'), std::string(1, '\0'), "\tmore",
                                   "2147483648\t-2147483649\tC\r\n"});
            }
            if (step.id == "a.itm") step.bytes.resize(random() % 3 * 9000, 'i');
        } else {
            step.bytes = one({std::string("abc\0def", 7), std::string(1, '\0'), "",
                              std::string(8191, 'c') + '\0', std::string("\n\x1a", 3)});
        }
        steps.push_back(step);
    }
    return steps;
}

TEST_F(CalendarModel, RandomSequencesLeaveTheSame) {
    testing::ExpectAgreement(120, RandomSteps,
                             [&](const Steps& steps) { return Difference(steps); });
}

// Each short text, and long lines around the size at which they fall into pieces.
TEST_F(CalendarModel, OddCalendarsAreReadAndWrittenAsByTheRuntime) {
    auto calendars = testing::AllTexts(std::string_view("7\t\n\r\x1a\0", 6), 2);
    for (std::size_t size = 1021; size < 1027; ++size) {
        for (const char* lineBreak : {"\n", "\r\n", "\r\r\n", "\r"}) {
            calendars.push_back(std::string(size, '7') + lineBreak + "y");
        }
    }
    for (const std::string& bytes : calendars) {
        const Steps steps = {{kPut, "Y11M08D03.CAL", bytes},
                             {kGet, ""},
                             {kFindFirst, ""},
                             {kFindNext, ""},
                             {kGet, "7"},
                             {kEdit, "none"},
                             {kAdd, "7"},
                             {kRemove, "7"}};
        ASSERT_TRUE(testing::Agrees(steps, [&](const Steps& some) { return Difference(some); }));
    }
}

// 127 characters a day, as many as a day may have, and a comma: 64 fill the list.
TEST_F(CalendarModel, TheListOfDaysEndsBeforeTheOneThatDoesNotFit) {
    for (const std::size_t length : {126U, 127U, 128U, 150U}) {
        Steps steps;
        for (int number = 100; number < 164; ++number) {
            steps.push_back(
                {kPut, "D" + std::to_string(number) + std::string(length - 3, 'x') + ".CAL"});
        }
        for (const char* last : {"zD.CAL", "zDzzzzzz.CAL", "zDz.CAL"}) {
            steps.push_back({kPut, last});
            steps.push_back({kDays});
        }
        ASSERT_EQ(Difference(steps), "");
    }
}

}  // namespace
}  // namespace tarnwick

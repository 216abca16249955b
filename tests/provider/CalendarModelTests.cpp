// Sequences of the operations on this machine's files beside a model of them; what is left when a
// call fails, memory runs short or the process dies; and what is sent to a server.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "provider/Operations.h"
#include "remote/Envelope.h"
#include "tests/provider/CalendarFixture.h"
#include "tests/provider/NaiveCalendar.h"
#include "tests/remote/SessionWorld.h"
#include "tests/support/AllTexts.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

// An operation on both sides, with the function that a server is asked for, the sizes of the
// records and whether the first is taken back. Without sides the step's bytes are put into a file
// of its ID's name.
template <auto function, auto record>
std::uint32_t On(Records& with) {
    return function(&(with.*record));
}
const struct Operation {
    const char* name;
    std::uint32_t (*product)(Records& with) = nullptr;
    std::uint32_t (NaiveCalendar::*model)(Records& with) = nullptr;
    const char* asked = "";
} kOperations[] = {
    {"put"},
    {"add", On<AppointmentAdd, &Records::entry>, &NaiveCalendar::Add, "AppointmentAdd 648 back"},
    {"remove", On<AppointmentRemove, &Records::entry>, &NaiveCalendar::RemoveEntry,
     "AppointmentRemove 648 back"},
    {"edit", [](Records& with) { return AppointmentEdit(&with.entry, &with.replacement); },
     &NaiveCalendar::Edit, "AppointmentEdit 648 648"},
    {"get", On<AppointmentGet, &Records::entry>, &NaiveCalendar::Get, "AppointmentGet 648 back"},
    {"find first", On<AppointmentFindFirst, &Records::entry>, &NaiveCalendar::FindFirst,
     "AppointmentFindFirst 648 back"},
    {"find next", On<AppointmentFindNext, &Records::entry>, &NaiveCalendar::FindNext,
     "AppointmentFindNext 648 back"},
    {"set position",
     [](Records& with) { return AppointmentListItemListSetPosition(with.position); },
     &NaiveCalendar::SetPosition, "AppointmentListItemListSetPosition 4"},
    {"days", On<GetFreeBusyData, &Records::days>, &NaiveCalendar::ListDays},
    {"length", [](Records& with) { return AppointmentListItemListGetLength(with.list); },
     &NaiveCalendar::ListLength, "AppointmentListItemListGetLength 5388"},
    {"write first", On<AppointmentItemWriteFirstChunk, &Records::item>, &NaiveCalendar::WriteFirst,
     "AppointmentItemWriteNextChunk 8772"},
    {"write next", On<AppointmentItemWriteNextChunk, &Records::item>, &NaiveCalendar::WriteNext,
     "AppointmentItemWriteNextChunk 8772"},
    {"rewrite", [](Records& with) { return RewriteItem(with.item); }, &NaiveCalendar::WriteFirst,
     "AppointmentItemWriteFirstChunk 8772"},
    {"read first", On<AppointmentItemGetFirstChunk, &Records::item>, &NaiveCalendar::ReadFirst,
     "AppointmentItemGetFirstChunk 8772 back"},
    {"read next", On<AppointmentItemGetNextChunk, &Records::item>, &NaiveCalendar::ReadNext,
     "AppointmentItemGetNextChunk 8772 back"},
    {"size", On<AppointmentItemGetSize, &Records::item>, &NaiveCalendar::GetSize,
     "AppointmentItemGetSize 8772 back"},
    {"delete", On<AppointmentItemDelete, &Records::item>, &NaiveCalendar::Delete},
};
enum { kPut, kAdd, kRemove, kEdit, kGet, kFindFirst, kFindNext, kSetPosition, kDays, kLength };
enum { kWriteFirst = 10, kWriteNext, kRewrite, kReadFirst, kReadNext, kSize, kDelete };

constexpr const char* kAsItWas = "(as it was)";

struct Step {
    std::size_t operation;
    std::string id = kAsItWas;  // of the key, or the name of the file that is put
    std::string bytes = "";     // of the item's data or that file
    std::string newId = "N";
    std::int32_t number = 9;
    std::string postoffice = "PO";
    std::string mailbox = "box";
};
using Steps = std::vector<Step>;

std::ostream& operator<<(std::ostream& out, const Step& step) {
    return out << "\n  " << kOperations[step.operation].name << ::testing::PrintToString(step.id)
               << ::testing::PrintToString(step.bytes.substr(0, 80)) << step.bytes.size() << " "
               << step.newId << " " << step.number << " " << step.postoffice << " " << step.mailbox;
}

void Fill(Records& records, const Step& step) {
    if (step.id != kAsItWas) StoreField(records.entry.appointmentId, step.id);
    // A field may be full.
    if (step.id.size() == 64) step.id.copy(records.entry.appointmentId, 64);
    StoreField(records.replacement.appointmentId, step.newId);
    StoreField(records.replacement.postoffice, "elsewhere");
    records.entry.start = records.replacement.start = records.position = step.number;
    records.entry.end = records.replacement.end = -step.number;
    StoreField(records.entry.calendarName, kStem);
    StoreField(records.item.itemFileName, kItem);
    std::fill(std::begin(records.item.data), std::end(records.item.data), '#');
    step.bytes.copy(records.item.data, sizeof records.item.data);
    const auto place = [&](auto& record) {
        StoreField(record.postoffice, step.postoffice);
        StoreField(record.mailbox, step.mailbox);
    };
    place(records.entry), place(records.item), place(records.days);
    StoreField(records.days.namePrefix, step.newId == "" ? "Y11" : "");
}

// What an operation comes to when one of its calls fails, on a calendar of A and B, a backup and an
// item: "number outcome|" for each that is not as the one before.
const struct Trial {
    std::size_t operation;
    const char* id;
    bool isThere;
    std::string outcomes;
} kTrials[] = {
    {kAdd, "C", true,
     "0 1 BAK12 CAL20|2 0|3 whole|4 1 DTY59 CAL6|5 0 BAK12 -CAL|6 whole|7 0|10 whole|11 1 BAK12 "
     "CAL20 OLD6|12 1 CAL20|13 whole|"},
    {kAdd, "C", false, "0 1 DTY59 CAL6|2 0|3 whole|5 0 DTY59|8 1 CAL6|9 1 DTY0 CAL6|10 whole|"},
    {kRemove, "", true,
     "0 1 DTY59 BAK12 -CAL|2 0|3 whole|4 0|5 0 DTY59 BAK12 -CAL|6 whole|7 0 DTY59|9 whole|10 1 "
     "DTY59 BAK12 -CAL OLD6|11 1 DTY59 -CAL|12 whole|16 1 DTY59 BAK12 CAL0|17 1 BAK12 -CAL|18 1 "
     "DTY0 BAK12 -CAL|19 whole|"},
    {kEdit, "A", true,
     "0 1 DTY59 BAK12 CAL13|2 0|3 whole|4 0|5 1 DTY59 BAK12 -CAL|6 whole|7 1 DTY59|10 whole|11 1 "
     "DTY59 BAK12 CAL13 OLD6|12 1 DTY59 CAL13|13 whole|17 1 BAK12 CAL13|18 1 DTY0 BAK12 CAL13|19 "
     "whole|"},
    {kGet, "A", true, "0 1 record|3 0|4 whole|5 0|6 whole|"},
    {kFindFirst, "B", true, "0 1 record at 2|3 0|4 whole|5 0|6 whole|"},
    {kDays, "", true, "0 1 record|1 1|2 whole|"},
    {kWriteFirst, "", true, "0 1 itm8192 record|1 1|2 1 itm0 record|3 whole|"},
    {kWriteNext, "", true, "0 1 itm8200 record|1 1|2 1 record|3 whole|"},
    {kRewrite, "", true, "0 1 itm8192 record|2 1 -itm|3 1 itm0 record|4 whole|"},
    {kReadFirst, "", true, "0 1 record at 9|1 0|2 0 at 1|4 whole|"},
    {kSize, "", true, "0 0 record|1 0|"},
};

class CalendarModel : public testing::AttachedCalendarTest {
  protected:
    CalendarModel() {
        SetTimeout("Write Wait Timeout", 0);
        testing::MakePath(root_.Path("MAILROOT\\box"));
    }

    Files FilesBelow() const {
        Files files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root_.Path())) {
            const std::string path = entry.path().string();
            files[path.substr(root_.Path().size())] =
                entry.is_directory() ? "" : testing::ReadBytesOf(path);
        }
        return files;
    }
    void Reset() {
        std::filesystem::remove_all(folder_);
        std::filesystem::remove_all(root_.Path("MAILROOT\\box\\Calendar"));
        SetFindPosition(0);
        Shared().itemReadOffset = -1;
        Shared().blockSeen = 0;
        model_ = {};
        product_ = expected_ = {};
        model_.files = FilesBelow();
    }
    // What the operation, run by `run`, comes to: its result, the files that are not as before with
    // their sizes, whether the record is not, and where enumeration and item stand.
    template <typename Run>
    std::string Outcome(const Trial& trial, Run run) {
        Reset();
        if (trial.isThere) Put(kCal, "1\t2\tA\r\n3\t4\tB");
        Put(kBak, "backup");
        Put(kItem, "old item");
        Fill(product_, {trial.operation, trial.id, "data"});
        const Records given = product_;
        const Files before = FilesBelow();
        std::string outcome = std::to_string(run(kOperations[trial.operation].product));
        Files files = FilesBelow();
        files.insert(before.begin(), before.end());
        for (const auto& [path, bytes] : files) {
            const std::string name = path.substr(path.rfind('.') + 1);
            if (!testing::PathExists(root_.Path() + path))
                outcome += " -" + name;
            else if (!before.contains(path) || before.at(path) != bytes)
                outcome += " " + name + std::to_string(bytes.size());
        }
        if (std::memcmp(&product_, &given, sizeof given) != 0) outcome += " record";
        const int at = FindPosition() + AppointmentItemGetCurrentOffset() + 1;
        return outcome + (at == 0 ? "" : " at " + std::to_string(at));
    }
    // Plays a step on both sides; how they differ in what a caller can see.
    std::string Play(const Step& step) {
        const Operation& operation = kOperations[step.operation];
        if (operation.product == nullptr) {
            Put(step.id, step.bytes);
            model_.files = FilesBelow();
            return "";
        }
        Fill(product_, step), Fill(expected_, step);
        WIN32_FILE_ATTRIBUTE_DATA found{};
        GetFileAttributesExA(InFolder(kItem).c_str(), GetFileExInfoStandard, &found);
        model_.accessTime = static_cast<std::int32_t>(found.ftLastAccessTime.dwLowDateTime);
        const std::string name = operation.name;
        const std::uint32_t result = operation.product(product_);
        if ((model_.*operation.model)(expected_) != result) return name + "'s result";
        if (std::memcmp(&product_, &expected_, sizeof product_) != 0) return name + "'s record";
        // Below the first line all positions are one.
        if (std::max(FindPosition(), 0) != std::max(model_.position, 0))
            return name + "'s position";
        if (AppointmentItemGetCurrentOffset() != model_.offset) return name + "'s offset";
        return "";
    }
    // Nothing when both sides agree.
    std::string Difference(const Steps& steps) {
        Reset();
        for (const Step& step : steps) {
            if (const std::string difference = Play(step); !difference.empty()) return difference;
        }
        const Files files = FilesBelow();
        return files == model_.files ? "" : ::testing::PrintToString(files);
    }

    NaiveCalendar model_;
    Records product_, expected_;
    testing::CountingSleeper sleeper_;
};

Steps RandomSteps(std::mt19937& random) {
    const auto one = [&](const std::vector<std::string>& texts) {
        return texts[random() % texts.size()];
    };
    const std::string full(64, 'i');
    Steps steps;
    for (std::size_t count = 4 + random() % 16; steps.size() < count;) {
        Step step{random() % std::size(kOperations),
                  one({kAsItWas, "", "A", "a", "B", "x\ty", full, "D"})};
        if (random() % 2 == 0) step.operation = kAdd + random() % 7;
        if (!steps.empty() && steps.back().operation == kSetPosition) step.operation = kFindNext;
        step.newId = one({"N", "", "a\nb", "A"});
        constexpr std::int32_t kNumbers[] = {9, 0, 1, 2, 3, 2147483647, -7};
        step.number = kNumbers[random() % std::size(kNumbers)];
        if (random() % 16 == 0) step.postoffice = "";
        if (random() % 16 == 0) step.mailbox = "nobody";
        if (step.operation == kPut) {
            step.id = one({kCal, kCal, kCal, kItem, "Y12.CAL", "D.CAL", "d1.CAL", "Y11D1.2.CAL",
                           "Y11D4.TXT", "zD" + std::string(150, 'd') + ".CAL"});
            for (std::size_t parts = random() % 9; parts > 0; --parts) {
                step.bytes += one({"1\t2\tA", "3\t4\tB", "5\t6\ta\r\n", " +01\t-00\tB", "9", "7\t8",
                                   "\r\n", "\r\n", "\n", "\r", "\x1a", "1\t2\t" + full, full + full,
                                   std::string(959, 'x'), std::string(1, '\0'), "\tmore",
                                   "2147483648\t-2147483649\tC\r\n"});
            }
            if (step.id == kItem) step.bytes.resize(random() % 3 * 9000, 'i');
        } else {
            step.bytes = one({std::string("abc\0def", 7), std::string(1, '\0'), "",
                              std::string(8191, 'c') + '\0', std::string("\n\x1a", 3)});
        }
        steps.push_back(step);
    }
    return steps;
}

TEST_F(CalendarModel, RandomSequencesHaveTheSameOutcome) {
    testing::ExpectAgreement(200, RandomSteps,
                             [&](const Steps& steps) { return Difference(steps); });
}

TEST_F(CalendarModel, EachFailedCallHasItsOutcome) {
    for (const Trial& trial : kTrials) {
        std::string outcomes, last, whole;
        for (int number = 0, count = 0; number <= count; ++number) {
            const std::string outcome = Outcome(trial, [&](auto operation) {
                const std::string calendar = testing::ReadBytesOf(InFolder(kCal));
                testing::CallRecorder calls;
                calls.FailCall(number, ERROR_ACCESS_DENIED);
                calls.onCall = [&](const SystemCall&) -> std::uint32_t {
                    EXPECT_TRUE(!trial.isThere || number > 0 ||
                                testing::ReadBytesOf(InFolder(kCal)) == calendar ||
                                testing::ReadBytesOf(InFolder(kBak)) == calendar)
                        << "what is there when the process dies";
                    return 0;
                };
                const std::uint32_t result = operation(product_);
                count = std::max(count, calls.Count());
                return result;
            });
            if (number == 0) whole = outcome;
            if (outcome != last)
                outcomes += std::to_string(number) + " " +
                            (number > 0 && outcome == whole ? "whole" : outcome) + "|";
            last = outcome;
        }
        EXPECT_EQ(outcomes, trial.outcomes) << kOperations[trial.operation].name;
    }
}

// Refuses every other call that is tried again; needs no memory for it.
class RefusingOnce : public CallObserver {
  public:
    RefusingOnce() { SetCallObserver(this); }
    ~RefusingOnce() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        const bool isOne = call.name == "MoveFile" ||
                           (call.name == "DeleteFile" &&
                            (call.path.ends_with("3.BLK") || call.path.ends_with("3.CAL")));
        return isOne && (isRefused_ = !isRefused_) ? ERROR_SHARING_VIOLATION : 0;
    }

  private:
    bool isRefused_ = false;
};

TEST_F(CalendarModel, WithoutMemoryEachExportIsDoneWholeOrNotAtAll) {
    const testing::ReportWatcher silence;
    for (const Trial& trial : kTrials) {
        if (trial.operation == kRewrite) continue;
        const auto outcome = [&](int number, bool andAllAfter) {
            return Outcome(trial, [&](auto operation) {
                const RefusingOnce refusing;
                const testing::FailingAllocations failing(number, andAllAfter);
                return operation(product_);
            });
        };
        const std::string whole = outcome(0, false);
        testing::FailEachAllocation([&](int number, bool andAllAfter) {
            const std::string after = outcome(number, andAllAfter);
            const bool failed = testing::FailingAllocations::Any();
            EXPECT_TRUE(after == "0" || after == whole) << number << ": " << after;
            return failed;
        });
    }
}

// Each short text, and long lines around the size at which they fall into pieces.
TEST_F(CalendarModel, TheNaiveLinesAreTheRuntimes) {
    auto calendars = testing::AllTexts(std::string_view("7\t\n\r\x1a\0", 6), 2);
    for (std::size_t size = 1021; size < 1027; ++size) {
        for (const char* lineBreak : {"\n", "\r\n", "\r\r\n", "\r"}) {
            calendars.push_back(std::string(size, '7') + lineBreak + "y");
        }
    }
    for (const std::string& bytes : calendars) {
        Put(kCal, bytes);
        std::vector<std::string> pieces;
        std::FILE* const file = std::fopen(InFolder(kCal).c_str(), "r");
        for (char line[1024]; std::fgets(line, sizeof line, file) != nullptr;) {
            pieces.emplace_back(line);
            if (pieces.back().ends_with('\n')) pieces.back().pop_back();
        }
        std::fclose(file);
        ASSERT_EQ(testing::NaivePieces(bytes), pieces);
    }
}

// 127 characters a day, as many as a day may have, and a comma: 64 fill the list.
TEST_F(CalendarModel, TheListOfDaysEndsBeforeTheOneThatDoesNotFit) {
    for (const std::size_t length : {126U, 127U, 128U, 150U}) {
        Steps steps = {{kPut, "0.CAL"}, {kDays}};
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

// A server is sent records full of "s" and answers 7 and as many full of "r", whatever was asked.
TEST_F(CalendarModel, AServerIsSentTheseRecordsUnderThisNameAndSomeAreTakenBack) {
    testing::SessionWorld world;
    const testing::ReportWatcher silence;
    EXPECT_EQ(::SetCurrentHost("A"), 1U);
    SetFindPosition(5);
    for (const Operation& operation : kOperations) {
        if (operation.product == nullptr) continue;
        std::istringstream words(operation.asked);
        std::string name, sent;
        words >> name;
        std::vector<char> wanted(name.empty() ? 1 : kRemoteTextSize), reply(kRemoteTextSize);
        BuildExecRequest(wanted, name);
        BuildExecRequest(reply, "Any");
        const std::int32_t seven = 7;
        AddRequestParameter(reply, 0, std::as_bytes(std::span(&seven, 1)));
        std::ptrdiff_t size = 0, back = 0;
        for (int number = 1; words >> size; ++number) {
            const auto length = static_cast<std::size_t>(back = size);
            AddRequestParameter(wanted, number, std::vector(length, std::byte{'s'}));
            AddRequestParameter(reply, number, std::vector(length, std::byte{'r'}));
        }
        world.a.SetScript([&](const std::string& request) -> testing::PeerAnswer {
            if (!testing::NameOfRequest(request).starts_with("EXEC"))
                return testing::AcceptingAnswer(request);
            sent = request;
            return {reply.data()};
        });
        std::fill_n(reinterpret_cast<char*>(&product_), sizeof product_, 's');
        EXPECT_EQ(operation.product(product_), name.empty() ? 1U : 7U) << operation.name;
        world.a.TakeEvents();
        EXPECT_EQ(sent, wanted.data());
        const auto* const bytes = reinterpret_cast<const char*>(&product_);
        if (!std::string_view(operation.asked).ends_with("back")) back = 0;
        EXPECT_EQ(std::count(bytes, bytes + sizeof product_, 'r'), back) << operation.name;
        EXPECT_EQ(FindPosition(), 5) << "this machine's enumeration stays where it is";
    }
}

}  // namespace
}  // namespace tarnwick

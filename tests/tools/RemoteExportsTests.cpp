// The library's exports with a host chosen: what they send and take back, against a scripted peer,
// and what then happens, beside the same exports on files of this machine.
#include <gtest/gtest.h>

#include "common/Files.h"
#include "common/Registry.h"
#include "common/Text.h"
#include "provider/AppointmentItems.h"
#include "provider/ListItems.h"
#include "provider/ModuleState.h"
#include "remote/Envelope.h"
#include "remote/RemoteSession.h"
#include "tests/remote/SessionWorld.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"
#include "tests/tools/ServiceWorld.h"

namespace tarnwick {
namespace {

using testing::Appointment;
using testing::ReadBytesOf;
using testing::ServiceWorld;
using Bytes = std::vector<std::byte>;

// A copy of the library with mail files and a state of its own.
class LibraryCopy {
  public:
    LibraryCopy() {
        testing::ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root",
                                            folder_.Path());
        testing::MakePath(CalendarPath(""));
        const std::string copy = folder_.Path("HERE.DLL");
        CopyFileA((testing::ProgramFolder() + "\\TWAICP.DLL").c_str(), copy.c_str(), FALSE);
        library_ = ModuleHandle(LoadLibraryA(copy.c_str()));
    }
    ~LibraryCopy() { library_.Close(); }

    std::string CalendarPath(const std::string& name) const {
        return folder_.Path("PO\\MAILROOT\\ann\\Calendar\\" + name);
    }
    template <typename... Records>
    std::uint32_t Call(const char* name, Records*... records) const {
        const auto entry = reinterpret_cast<void (*)()>(GetProcAddress(library_.Get(), name));
        return reinterpret_cast<std::uint32_t (*)(Records * ...)>(entry)(records...);
    }

  private:
    testing::ScratchFolder folder_;
    ModuleHandle library_;
};

// An operation that the library does not export, on a record of its own type.
template <typename Record, std::uint32_t (*operation)(Record&)>
std::uint32_t Unexported(void* bytes) {
    Record record{};
    std::memcpy(&record, bytes, sizeof record);
    const std::uint32_t result = operation(record);
    std::memcpy(bytes, &record, sizeof record);
    return result;
}

// Every operation with a remote way, as it is sent. One that is exported has a namesake here that
// does the same to files.
const struct Operation {
    const char* name;
    const char* asked;
    bool takesFirstBack;
    const char* here = nullptr;
    std::uint32_t (*unexported)(void* record) = nullptr;
} kOperations[] = {
    {"AppointmentAdd", "EXEC AppointmentAdd 648", true, "AppointmentAdd"},
    {"AppointmentRemove", "EXEC AppointmentRemove 648", true, "AppointmentRemove"},
    {"AppointmentEdit", "EXEC AppointmentEdit 648 648", false, "AppointmentEdit"},
    {"AppointmentGet", "EXEC AppointmentGet 648", true, "AppointmentGet"},
    {"AppointmentFindFirst", "EXEC AppointmentFindFirst 648", true, "AppointmentFindFirst"},
    {"AppointmentFindNext", "EXEC AppointmentFindNext 648", true, "AppointmentFindNext"},
    {"AppointmentItemGetFirstChunk", "EXEC AppointmentItemGetFirstChunk 8772", true,
     "AppointmentItemGetFirstChunk"},
    {"AppointmentItemGetNextChunk", "EXEC AppointmentItemGetNextChunk 8772", true,
     "AppointmentItemGetNextChunk"},
    {"AppointmentItemGetSize", "EXEC AppointmentItemGetSize 8772", true},
    // The first chunk goes over the wire under the name of the next one, so it does not replace.
    {"AppointmentItemWriteFirstChunk", "EXEC AppointmentItemWriteNextChunk 8772", false,
     "AppointmentItemWriteNextChunk"},
    {"AppointmentItemWriteNextChunk", "EXEC AppointmentItemWriteNextChunk 8772", false,
     "AppointmentItemWriteNextChunk"},
    {"RewriteItem", "EXEC AppointmentItemWriteFirstChunk 8772", false, nullptr,
     Unexported<AppointmentItemRecord, RewriteItem>},
    {"set position", "EXEC AppointmentListItemListSetPosition 4", false, nullptr,
     Unexported<std::int32_t, AppointmentListItemListSetPosition>},
    {"get length", "EXEC AppointmentListItemListGetLength 5388", false, nullptr,
     Unexported<ListRecord, AppointmentListItemListGetLength>},
};

// Answers every EXEC with the result 7 and with records full of "r", whatever was asked; notes
// function and sizes, with "?" behind a record that is not full of "s".
testing::PeerAnswer AnswerAnything(const std::string& request, std::string& asked) {
    asked = testing::NameOfRequest(request);
    if (!asked.starts_with("EXEC")) return testing::AcceptingAnswer(request);
    std::vector<char> reply(kRemoteTextSize);
    BuildExecRequest(reply, "Any");
    const std::int32_t result = 7;
    AddRequestParameter(reply, 0, std::as_bytes(std::span(&result, 1)));
    std::size_t size = 0;
    for (int number = 1; number <= 2; ++number) {
        if (const auto sent = FindResponseParameter(request, number)) {
            size = static_cast<std::size_t>(sent->size);
            asked += " " + std::to_string(size);
            Bytes record(size);
            GetResponseParameter(request, number, record);
            if (record != Bytes(size, std::byte{'s'})) asked += "?";
        }
        AddRequestParameter(reply, number, Bytes(size, std::byte{'r'}));
    }
    return {reply.data()};
}

TEST(RemoteExports, EachSendsTheseRecordsUnderThisNameAndTakesTheseBack) {
    testing::SessionWorld world;
    const LibraryCopy library;
    const testing::ReportRecorder unseen;
    testing::WriteBytesTo(library.CalendarPath("Y11M08.CAL"), "1\t2\ta\r\n3\t4\tb\r\n5\t6\tc");
    OnModuleNotification(DLL_PROCESS_ATTACH);
    std::string asked;
    world.a.SetScript([&](const std::string& request) { return AnswerAnything(request, asked); });
    const auto choose = [&](const char* host) {
        SetCurrentHost(std::string_view(host));
        library.Call("SetCurrentHost", host);
    };
    const auto nextHere = [&](const char* find) {
        AppointmentRecord record = Appointment("");
        library.Call(find, &record);
        return std::string(record.appointmentId);
    };
    for (const Operation& row : kOperations) {
        const std::string expected = row.asked;
        const Bytes sent(std::stoul(expected.substr(expected.find(' ', 5))), std::byte{'s'});
        Bytes first = sent;
        Bytes second = sent;
        choose("");
        nextHere("AppointmentFindFirst");
        SetFindPosition(5);
        choose("A");
        const std::uint32_t result = row.unexported != nullptr
                                         ? row.unexported(first.data())
                                         : library.Call(row.name, first.data(), second.data());
        EXPECT_EQ(result, 7U) << row.name;
        world.a.TakeEvents();
        EXPECT_EQ(asked, expected) << row.name;
        EXPECT_EQ(first, row.takesFirstBack ? Bytes(sent.size(), std::byte{'r'}) : sent)
            << row.name;
        EXPECT_EQ(second, sent) << row.name;
        // The enumerations of this machine stay where they are.
        choose("");
        EXPECT_EQ(nextHere("AppointmentFindNext"), "b") << row.name;
        EXPECT_EQ(FindPosition(), 5) << row.name;
    }
}

// Every byte that a compressor and an encoder might lose.
AppointmentItemRecord Item(std::size_t size) {
    AppointmentItemRecord record{};
    StoreField(record.mailbox, "ann");
    StoreField(record.postoffice, "PO");
    StoreField(record.itemFileName, "item.txt");
    for (std::size_t at = 0; at < size; ++at)
        record.data[at] = static_cast<char>(1 + at * at % 255);
    return record;
}

struct Step {
    std::size_t operation;
    const char* id;
    std::int32_t number;
    std::size_t chunk;
};
std::ostream& operator<<(std::ostream& out, const Step& step) {
    return out << "\n  " << kOperations[step.operation].name << " " << step.id << " " << step.number
               << " " << step.chunk;
}

TEST(RemoteExports, DoOnTheServerWhatTheyDoHere) {
    ServiceWorld there;
    const LibraryCopy here;
    const LibraryCopy client;
    client.Call("SetCurrentHost", "S");
    testing::MakePath(there.CalendarPath(""));
    const auto difference = [&](const std::vector<Step>& steps) -> std::string {
        for (const char* name : {"Y11M08.CAL", "Y11M08.BAK", "_CHANGE.DTY", "item.txt"}) {
            RemoveFile(here.CalendarPath(name)), RemoveFile(there.CalendarPath(name));
        }
        AppointmentRecord reset = Appointment("");
        here.Call("AppointmentFindFirst", &reset), client.Call("AppointmentFindFirst", &reset);
        for (const Step& step : steps) {
            const Operation& operation = kOperations[step.operation];
            const bool isItem = std::string_view(operation.name).find("Item") != std::string::npos;
            AppointmentItemRecord items[2]{};
            AppointmentRecord entries[2];
            AppointmentRecord news[2];
            for (int side = 0; side < 2; ++side) {
                entries[side] = Appointment(step.id, step.number, -step.number);
                news[side] = Appointment("third", 30, 40);
                items[side] = Item(step.chunk);
            }
            const auto run = [&](const LibraryCopy& library, const char* name, int side) {
                void* const first = isItem ? static_cast<void*>(&items[side]) : &entries[side];
                return library.Call(name, first, &news[side]);
            };
            const AppointmentItemRecord sent = items[1];
            if (run(here, operation.here, 0) != run(client, operation.name, 1)) return "result";
            if (isItem && !operation.takesFirstBack) {
                if (std::memcmp(&items[1], &sent, sizeof sent) != 0) return "a record sent";
            } else if (std::memcmp(items, items + 1, sizeof sent) != 0) {
                return "item";
            }
            if (std::memcmp(entries, entries + 1, sizeof *entries) != 0) return "record";
            if (std::memcmp(news, news + 1, sizeof *news) != 0) return "second record";
        }
        for (const char* name : {"Y11M08.CAL", "Y11M08.BAK", "_CHANGE.DTY", "item.txt"}) {
            if (ReadBytesOf(here.CalendarPath(name)) != ReadBytesOf(there.CalendarPath(name)))
                return name;
        }
        return "";
    };
    testing::ExpectAgreement(
        40,
        [](std::mt19937& random) {
            std::vector<Step> steps(4 + random() % 12);
            for (Step& step : steps) {
                do {
                    step.operation = random() % std::size(kOperations);
                } while (kOperations[step.operation].here == nullptr);
                constexpr const char* kIds[] = {"", "first", "FIRST", "second", "third"};
                constexpr std::int32_t kNumbers[] = {10, -5, 2147483647};
                constexpr std::size_t kSizes[] = {8191, 0, 3, 700};
                step.id = kIds[random() % std::size(kIds)];
                step.number = kNumbers[random() % std::size(kNumbers)];
                step.chunk = kSizes[random() % std::size(kSizes)];
            }
            return steps;
        },
        difference);
    EXPECT_EQ(there.log.Count("EXEC AppointmentItemWriteFirstChunk 1"), 0);
}

TEST(RemoteExports, AServiceThatIsGoneOrRefusesGivesZeroAndLeavesTheRecord) {
    ServiceWorld world;
    const LibraryCopy client;
    world.CalendarPath("");
    world.RegisterHost("wrong", "ann:guess");
    AppointmentRecord unsafe = Appointment("a");
    StoreField(unsafe.calendarName, "..\\x");
    const auto add = [&](const char* host, const AppointmentRecord& record) {
        AppointmentRecord sent = record;
        client.Call("SetCurrentHost", host);
        const std::uint32_t result = client.Call("AppointmentAdd", &sent);
        EXPECT_EQ(std::memcmp(&sent, &record, sizeof sent), 0) << host;
        return result;
    };
    EXPECT_EQ(add("wrong", Appointment("a")), 0U);
    EXPECT_EQ(add("unknown", Appointment("a")), 0U);
    EXPECT_EQ(add("S", unsafe), 0U);
    EXPECT_FALSE(testing::PathExists(world.CalendarPath("")));
    EXPECT_EQ(add("S", Appointment("a")), 1U);
    world.Stop();
    EXPECT_EQ(add("S", Appointment("b")), 0U);
    world.Start(world.Port());
    EXPECT_EQ(add("S", Appointment("b")), 1U) << "started anew it is found by the next call";
    // What has no remote way stays here.
    const std::size_t lines = world.log.Lines().size();
    AppointmentItemRecord item = Item(0);
    FreeBusyRecord days{};
    EXPECT_EQ(client.Call("AppointmentItemDelete", &item), 1U);
    EXPECT_EQ(client.Call("GetFreeBusyData", &days), 1U);
    EXPECT_EQ(client.Call("AppointmentListItemFindFirst", &item, &item), 0U);
    EXPECT_EQ(world.log.Lines().size(), lines);
}

}  // namespace
}  // namespace tarnwick

// What each remote operation sends and takes back, against a scripted peer.
#include <gtest/gtest.h>

#include <cstring>

#include "common/Registry.h"
#include "provider/AppointmentItems.h"
#include "provider/ListItems.h"
#include "provider/ModuleState.h"
#include "remote/Envelope.h"
#include "remote/RemoteSession.h"
#include "tests/remote/SessionWorld.h"
#include "tests/support/ReportRecorder.h"
#include "tests/tools/ServiceWorld.h"
#include "twaicp.h"

namespace tarnwick {
namespace {

// The library with a calendar of three entries here and a host "A" that is a scripted peer. It
// answers every EXEC with the result 7 and with records full of "r", whatever was asked.
struct PeerWorld : testing::SessionWorld {
    testing::ScratchFolder folder;
    ModuleHandle library;
    std::string asked;  // function and sizes of the last EXEC; "?" behind a record not full of "s"

    PeerWorld() {
        testing::ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root",
                                            folder.Path());
        const std::string calendars = folder.Path("PO\\MAILROOT\\ann\\Calendar");
        testing::MakePath(calendars);
        testing::WriteBytesTo(calendars + "\\Y11M08.CAL", "1\t2\ta\r\n3\t4\tb\r\n5\t6\tc");
        const std::string copy = folder.Path("COPY.DLL");
        CopyFileA((testing::ProgramFolder() + "\\TWAICP.DLL").c_str(), copy.c_str(), FALSE);
        library = ModuleHandle(LoadLibraryA(copy.c_str()));
        OnModuleNotification(DLL_PROCESS_ATTACH);
        a.SetScript([this](const std::string& request) { return Answer(request); });
    }
    ~PeerWorld() { library.Close(); }

    testing::PeerAnswer Answer(const std::string& request) {
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
                std::vector<std::byte> record(size);
                GetResponseParameter(request, number, record);
                if (record != std::vector(size, std::byte{'s'})) asked += "?";
            }
            AddRequestParameter(reply, number, std::vector(size, std::byte{'r'}));
        }
        return {reply.data()};
    }
    void Choose(const char* host) {
        tarnwick::SetCurrentHost(host);
        Call<const char>("SetCurrentHost", host);
    }
    template <typename... Records>
    std::uint32_t Call(const char* name, Records*... records) {
        const auto entry = reinterpret_cast<void (*)()>(GetProcAddress(library.Get(), name));
        return reinterpret_cast<std::uint32_t (*)(Records * ...)>(entry)(records...);
    }
    std::string NextHere(const char* find) {
        AppointmentRecord record = testing::Appointment("");
        Call(find, &record);
        return record.appointmentId;
    }
};

using Bytes = std::vector<std::byte>;

// An operation that the library does not export, on a record of its own type.
template <typename Record, std::uint32_t (*operation)(Record&)>
std::uint32_t Unexported(Bytes& bytes) {
    Record record{};
    std::memcpy(&record, bytes.data(), sizeof record);
    const std::uint32_t result = operation(record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return result;
}

TEST(RemoteOperations, EachSendsTheseRecordsUnderThisNameAndTakesTheseBack) {
    const struct {
        const char* operation;
        const char* asked;
        bool takesFirstBack;
        std::uint32_t (*unexported)(Bytes&) = nullptr;
    } cases[] = {
        {"AppointmentAdd", "EXEC AppointmentAdd 648", true},
        {"AppointmentRemove", "EXEC AppointmentRemove 648", true},
        {"AppointmentEdit", "EXEC AppointmentEdit 648 648", false},
        {"AppointmentGet", "EXEC AppointmentGet 648", true},
        {"AppointmentFindFirst", "EXEC AppointmentFindFirst 648", true},
        {"AppointmentFindNext", "EXEC AppointmentFindNext 648", true},
        {"AppointmentItemGetFirstChunk", "EXEC AppointmentItemGetFirstChunk 8772", true},
        {"AppointmentItemGetNextChunk", "EXEC AppointmentItemGetNextChunk 8772", true},
        {"AppointmentItemGetSize", "EXEC AppointmentItemGetSize 8772", true},
        {"AppointmentItemWriteFirstChunk", "EXEC AppointmentItemWriteNextChunk 8772", false},
        {"AppointmentItemWriteNextChunk", "EXEC AppointmentItemWriteNextChunk 8772", false},
        {"RewriteItem", "EXEC AppointmentItemWriteFirstChunk 8772", false,
         Unexported<AppointmentItemRecord, RewriteItem>},
        {"set position", "EXEC AppointmentListItemListSetPosition 4", false,
         Unexported<std::int32_t, AppointmentListItemListSetPosition>},
        {"get length", "EXEC AppointmentListItemListGetLength 5388", false,
         Unexported<ListRecord, AppointmentListItemListGetLength>},
    };
    PeerWorld world;
    const testing::ReportRecorder unseen;
    for (const auto& row : cases) {
        const std::string asked = row.asked;
        const Bytes sent(std::stoul(asked.substr(asked.find(' ', 5))), std::byte{'s'});
        Bytes first = sent;
        Bytes second = sent;
        world.Choose("");
        world.NextHere("AppointmentFindFirst");
        SetFindPosition(5);
        world.Choose("A");
        const bool two = std::string(row.operation) == "AppointmentEdit";
        const std::uint32_t result = row.unexported != nullptr ? row.unexported(first)
                                     : two ? world.Call(row.operation, first.data(), second.data())
                                           : world.Call(row.operation, first.data());
        EXPECT_EQ(result, 7U) << row.operation;
        world.a.TakeEvents();
        EXPECT_EQ(world.asked, asked) << row.operation;
        EXPECT_EQ(first, row.takesFirstBack ? Bytes(sent.size(), std::byte{'r'}) : sent)
            << row.operation;
        EXPECT_EQ(second, sent) << row.operation;
        // The enumerations of this machine stay where they are.
        world.Choose("");
        EXPECT_EQ(world.NextHere("AppointmentFindNext"), "b") << row.operation;
        EXPECT_EQ(FindPosition(), 5) << row.operation;
    }
}

}  // namespace
}  // namespace tarnwick

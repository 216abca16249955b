// What the service answers to each request, without a socket.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "common/Text.h"
#include "remote/AdminProtocol.h"
#include "remote/Envelope.h"
#include "tools/service/Credentials.h"
#include "tools/service/RequestReader.h"
#include "tools/service/ServiceSession.h"

namespace tarnwick::service {
namespace {

using Records = std::vector<std::vector<std::byte>>;

// Remembers the calls, gives 7 and fills the first record with 9.
class RecordingRunner : public FunctionRunner {
  public:
    std::int32_t Run(const RemoteFunction& function, Records& records) override {
        calls.emplace_back(function.name);
        for (const auto& record : records) calls.back() += " " + std::to_string(record.size());
        std::fill(records[0].begin(), records[0].end(), std::byte{9});
        return 7;
    }
    std::vector<std::string> calls;
};

std::string Exec(const char* function, const Records& records) {
    std::vector<char> request(kRemoteTextSize);
    BuildExecRequest(request, function);
    int number = 0;
    for (const auto& record : records) AddRequestParameter(request, ++number, record);
    return request.data();
}

std::vector<std::byte> Bytes(std::size_t size) {
    return std::vector<std::byte>(size, std::byte{'n'});
}

struct Service {
    std::string credentials = "ann:secret";
    RecordingRunner runner;
    ServiceSession session{credentials, runner};

    Answer Ask(const std::string& request) { return session.Handle(request); }
    void Open() {
        Ask(AuthMessage("", credentials));
        Ask(LoadMessage("TWAICP.DLL"));
    }
};

TEST(ServiceSession, AnswersEachRequestByWhatCameBeforeIt) {
    const std::string auth = AuthMessage("P", "ann:secret");
    const std::string wrong = AuthMessage("P", "ann:Secret");
    const std::string load = LoadMessage("twaicp.dll");
    const std::string exec = Exec("AppointmentGet", {Bytes(648)});
    const std::string refused = "EXEC AppointmentGet refused: ";
    const struct {
        const char* name;
        std::vector<std::string> before;
        std::string request;
        std::string log;  // success unless it says "refused"
    } cases[] = {
        {"PING needs nothing", {}, std::string(kPingMessage), "PING"},
        {"AUTH", {}, auth, "AUTH"},
        {"wrong AUTH", {}, wrong, "AUTH refused"},
        {"empty AUTH", {}, AuthMessage("", ""), "AUTH refused"},
        {"longer AUTH", {}, AuthMessage("", "ann:secretann:secret"), "AUTH refused"},
        {"shorter AUTH", {}, AuthMessage("", "ann"), "AUTH refused"},
        {"no credentials", {}, "<DATA><METHOD>AUTH</METHOD></DATA>", "AUTH refused"},
        {"LOAD", {auth}, load, "LOAD twaicp.dll"},
        {"LOAD first", {}, load, "LOAD twaicp.dll refused: not authenticated"},
        {"LOAD of another", {auth}, LoadMessage("X.DLL"), "LOAD X.DLL refused: not allowed"},
        {"LOAD by path",
         {auth},
         LoadMessage("C:\\TWAICP.DLL"),
         "LOAD C:\\TWAICP.DLL refused: not allowed"},
        {"LOAD of nothing", {auth}, LoadMessage(""), "LOAD - refused: not allowed"},
        {"EXEC first", {}, exec, refused + "not authenticated"},
        {"EXEC without LOAD", {auth}, exec, refused + "no library loaded"},
        {"a later wrong AUTH shuts the door",
         {auth, load, wrong},
         exec,
         refused + "not authenticated"},
        {"a later AUTH wants LOAD again", {auth, load, auth}, exec, refused + "no library loaded"},
        {"unknown method",
         {auth, load},
         "<DATA><METHOD>E\tX\xFF</METHOD></DATA>",
         "E?X? refused: no such method"},
        {"no method", {}, "<DATA></DATA>", "- refused: no such method"},
        {"long method",
         {},
         "<DATA><METHOD>" + std::string(99, 'm') + "</METHOD></DATA>",
         std::string(64, 'm') + " refused: no such method"},
    };
    for (const auto& row : cases) {
        Service service;
        for (const std::string& request : row.before) service.Ask(request);
        const Answer answer = service.Ask(row.request);
        const bool success = row.log.find("refused") == std::string::npos;
        EXPECT_EQ(answer.text, success ? kSuccessReply : kFailureReply) << row.name;
        EXPECT_EQ(answer.log, row.log) << row.name;
        EXPECT_FALSE(answer.close) << row.name;
        EXPECT_TRUE(service.runner.calls.empty()) << row.name;
    }
}

// That all others are run with the right records is seen from the other end.
TEST(ServiceSession, RunsWhatTheLibraryOffersOnExactlyItsRecords) {
    const std::string right = Exec("AppointmentGet", {Bytes(648)});
    const std::size_t value = right.find("SIZE=648>") + 9;
    const struct {
        std::string request;
        std::string call;  // empty: refused
        bool recordBack = false;
    } cases[] = {
        {right, "AppointmentGet 648", true},
        {Exec("AppointmentEdit", {Bytes(648), Bytes(648)}), "AppointmentEdit 648 648"},
        {Exec("AppointmentItemGetSize", {Bytes(8772)}), "AppointmentItemGetSize 8772", true},
        {Exec("AppointmentItemWriteFirstChunk", {Bytes(8772)}),
         "AppointmentItemWriteFirstChunk 8772"},
        {Exec("AppointmentListItemListSetPosition", {Bytes(4)}), ""},
        {Exec("AppointmentListItemListGetLength", {Bytes(5388)}), ""},
        {Exec("AppointmentItemDelete", {Bytes(8772)}), ""},
        {Exec("SetCurrentHost", {Bytes(4)}), ""},
        {Exec("appointmentget", {Bytes(648)}), ""},
        {Exec("AppointmentGet", {}), ""},
        {Exec("AppointmentGet", {Bytes(647)}), ""},
        {Exec("AppointmentGet", {Bytes(649)}), ""},
        {Exec("AppointmentEdit", {Bytes(648)}), ""},
        {std::string(right).replace(value - 4, 3, "647"), ""},
        {std::string(right).replace(value - 4, 3, "8772"), ""},
        {std::string(right).replace(value - 4, 3, "x"), ""},
        {std::string(right).erase(value, 4), ""},  // cut base64
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.request.substr(0, 200));
        Service service;
        service.Open();
        const Answer answer = service.Ask(row.request);
        const bool runs = !row.call.empty();
        EXPECT_EQ(service.runner.calls, runs ? std::vector{row.call} : std::vector<std::string>());
        EXPECT_EQ(answer.text == kFailureReply, !runs);
        EXPECT_EQ(answer.log.find("refused: ") != std::string::npos, !runs) << answer.log;
        std::int32_t result = 0;
        GetResponseParameter(answer.text, 0, std::as_writable_bytes(std::span(&result, 1)));
        EXPECT_EQ(result, runs ? 7 : 0);
        auto back = Bytes(row.call.ends_with("8772") ? 8772 : 648);
        EXPECT_EQ(GetResponseParameter(answer.text, 1, back), row.recordBack);
        EXPECT_EQ(back[0], row.recordBack ? std::byte{9} : std::byte{'n'});
    }
}

TEST(ServiceSession, RefusesNamesThatLeaveTheirFolder) {
    for (const char* name : {"", "Y11M08", "a.b c", "ann@example.org", ".", "CONTACTS", "COM",
                             "COM10", "xCON", "COM\xB4"}) {
        EXPECT_TRUE(IsSafeName(name)) << name;
    }
    for (const char* name : {"a..b", "..", "a\\b", "a/b", "C:", "a:stream", "con", "NUL.txt",
                             "Com1", "LPT9.x.y", "aux  .CAL", "CONIN$", "COM\xB9", "lpt\xB3.txt"}) {
        EXPECT_FALSE(IsSafeName(name)) << name;
    }
    const struct {
        const char* function;
        std::vector<std::size_t> records;
        std::size_t offset;  // in the last record
        bool safe = false;
    } fields[] = {
        {"AppointmentAdd", {648}, 0},
        {"AppointmentAdd", {648}, 256},
        {"AppointmentAdd", {648}, 584},
        {"AppointmentAdd", {648}, 520, true},  // an ID is no name
        {"AppointmentEdit", {648, 648}, 256},
        {"AppointmentItemGetSize", {8772}, 0},
        {"AppointmentItemGetSize", {8772}, 256},
        {"AppointmentItemGetSize", {8772}, 512},
    };
    for (const auto& field : fields) {
        Service service;
        service.Open();
        Records records;
        for (const std::size_t size : field.records) records.push_back(Bytes(size));
        std::memcpy(records.back().data() + field.offset, "../:", 5);
        service.Ask(Exec(field.function, records));
        EXPECT_EQ(service.runner.calls.size(), field.safe ? 1U : 0U)
            << field.function << " " << field.offset;
    }
}

// What has been found when all bytes are there, "!" behind it when they can never become a request.
std::string Found(const std::vector<std::string>& pieces) {
    RequestReader reader;
    std::string found;
    for (const std::string& piece : pieces) {
        reader.Append(piece);
        while (auto request = reader.Next()) found += *request + "|";
    }
    return found + (reader.IsBroken() ? "!" : "");
}

TEST(RequestReader, FindsTheSameRequestsInAnyPieces) {
    const std::string auth = AuthMessage("P", "c");
    const std::string ping(kPingMessage);
    const std::string longest = "<DATA>" + std::string(kRequestLimit - 13, 'x') + "</DATA>";
    const std::string unended = longest.substr(0, longest.size() - 1) + "x";
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"<DA", ""},
        {"<DX", "!"},
        {"GET / HTTP/1.1\r\n", "!"},
        {std::string(1, '\0'), "!"},
        {auth + ping + "<DATA>", auth + "|" + ping + "|"},
        {ping + "x", ping + "|!"},
        {longest, longest + "|"},
        {"<DATA>x" + longest.substr(6), "!"},
        {unended, ""},
        {unended + "x", "!"},
    };
    for (const auto& [bytes, found] : rows) {
        ASSERT_EQ(Found({bytes}), found) << bytes.size();
        std::vector<std::string> single;
        for (const char byte : bytes) single.push_back(std::string(1, byte));
        ASSERT_EQ(Found(single), found) << bytes.size();
        for (std::size_t split = 0; split < bytes.size() && bytes.size() < 1000; ++split) {
            ASSERT_EQ(Found({bytes.substr(0, split), bytes.substr(split)}), found) << split;
        }
    }
}

TEST(Credentials, AreTheFirstLineWhenClientsCanSendIt) {
    const std::string longest(255, 'c');
    EXPECT_EQ(UsableCredentials("ann:secret"), "ann:secret");
    EXPECT_EQ(UsableCredentials("ann secret\r\nrest"), "ann secret");
    EXPECT_EQ(UsableCredentials("\xE4\n"), "\xE4");
    EXPECT_EQ(UsableCredentials(longest), longest);
    for (const std::string& text : {std::string(), std::string("\nx"), longest + "c",
                                    std::string("a<b"), std::string("a\tb")}) {
        EXPECT_EQ(UsableCredentials(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace tarnwick::service

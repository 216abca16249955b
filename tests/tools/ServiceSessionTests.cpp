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

TEST(ServiceSession, RunsEveryFunctionThatTheLibraryOffers) {
    const struct {
        const char* name;
        std::vector<std::size_t> sizes;
        bool offered = false;
        bool recordBack = false;
    } cases[] = {
        {"AppointmentAdd", {648}, true, true},
        {"AppointmentRemove", {648}, true, true},
        {"AppointmentEdit", {648, 648}, true},
        {"AppointmentGet", {648}, true, true},
        {"AppointmentFindFirst", {648}, true, true},
        {"AppointmentFindNext", {648}, true, true},
        {"AppointmentItemGetFirstChunk", {8772}, true, true},
        {"AppointmentItemGetNextChunk", {8772}, true, true},
        {"AppointmentItemGetSize", {8772}, true, true},
        {"AppointmentItemWriteFirstChunk", {8772}, true},
        {"AppointmentItemWriteNextChunk", {8772}, true},
        {"AppointmentListItemListSetPosition", {4}},
        {"AppointmentListItemListGetLength", {5388}},
        {"AppointmentItemDelete", {8772}},
        {"SetCurrentHost", {4}},
        {"appointmentadd", {648}},
    };
    for (const auto& row : cases) {
        Service service;
        service.Open();
        Records records;
        std::string call = row.name;
        for (const std::size_t size : row.sizes) {
            records.push_back(Bytes(size));
            call += " " + std::to_string(size);
        }
        const std::string reply = service.Ask(Exec(row.name, records)).text;
        EXPECT_EQ(service.runner.calls,
                  row.offered ? std::vector{call} : std::vector<std::string>())
            << row.name;
        std::int32_t result = 0;
        GetResponseParameter(reply, 0, std::as_writable_bytes(std::span(&result, 1)));
        EXPECT_EQ(result, row.offered ? 7 : 0) << row.name;
        auto back = Bytes(row.sizes[0]);
        EXPECT_EQ(GetResponseParameter(reply, 1, back), row.recordBack) << row.name;
        EXPECT_EQ(back[0], row.recordBack ? std::byte{9} : std::byte{'n'}) << row.name;
        EXPECT_EQ(reply == kFailureReply, !row.offered) << row.name;
    }
}

TEST(ServiceSession, RefusesArgumentsThatAreNotExactlyTheRecord) {
    const std::string right = Exec("AppointmentGet", {Bytes(648)});
    const std::size_t value = right.find("SIZE=648>") + 9;
    const struct {
        const char* name;
        std::string request;
    } cases[] = {
        {"none", Exec("AppointmentGet", {})},
        {"one byte less", Exec("AppointmentGet", {Bytes(647)})},
        {"one byte more", Exec("AppointmentGet", {Bytes(649)})},
        {"the second is missing", Exec("AppointmentEdit", {Bytes(648)})},
        {"SIZE says less", std::string(right).replace(value - 4, 3, "647")},
        {"SIZE says more than it holds", std::string(right).replace(value - 4, 3, "8772")},
        {"SIZE is no number", std::string(right).replace(value - 4, 3, "x")},
        {"cut base64", std::string(right).erase(value, 4)},
    };
    for (const auto& row : cases) {
        Service service;
        service.Open();
        const Answer answer = service.Ask(row.request);
        EXPECT_EQ(answer.text, kFailureReply) << row.name;
        EXPECT_TRUE(answer.log.ends_with("refused: wrong arguments")) << row.name << answer.log;
        EXPECT_TRUE(service.runner.calls.empty()) << row.name;
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

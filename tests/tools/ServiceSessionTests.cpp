// What the service answers to each request, without a socket.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "remote/AdminProtocol.h"
#include "remote/Envelope.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"
#include "tools/service/RequestReader.h"
#include "tools/service/ServiceSession.h"

namespace tarnwick::service {
namespace {

using Records = std::vector<std::vector<std::byte>>;

// Remembers the last call, gives 7 and fills the first record with 9.
class RecordingRunner : public FunctionRunner {
  public:
    std::int32_t Run(const RemoteFunction& function, Records& records) override {
        call = function.name;
        for (const auto& record : records) call += " " + std::to_string(record.size());
        std::fill(records[0].begin(), records[0].end(), std::byte{9});
        return 7;
    }
    std::string call;
};

// A call with records of these sizes, all "n"; at `offset` of the last one stands `name`.
std::string Exec(const char* function, const std::vector<std::size_t>& sizes,
                 std::size_t offset = 0, const std::string& name = "n") {
    std::vector<char> request(kRemoteTextSize);
    BuildExecRequest(request, function);
    for (std::size_t at = 0; at < sizes.size(); ++at) {
        std::vector<std::byte> record(sizes[at], std::byte{'n'});
        if (at + 1 == sizes.size()) std::memcpy(record.data() + offset, name.data(), name.size());
        AddRequestParameter(request, static_cast<int>(at) + 1, record);
    }
    return request.data();
}

std::string Method(const std::string& method) {
    return "<DATA><METHOD>" + method + "</METHOD></DATA>";
}

// A call whose record's size is said to be another, with `cut` letters taken from its value.
std::string Damaged(const std::string& size, std::size_t cut = 0) {
    const std::string right = Exec("AppointmentGet", {648});
    const std::size_t value = right.find("648>") + 4;
    return std::string(right).erase(value, cut).replace(value - 4, 3, size);
}

// Requests with their log lines for whoever has authenticated and loaded the library. What runs is
// followed by the sizes of its records, and by "back" where the first one is sent back.
const struct {
    std::string request;
    std::string log;
    std::string call = "";
} kRequests[] = {
    {std::string(kPingMessage), "PING"},
    {AuthMessage("P", "ann:secret"), "AUTH"},
    {AuthMessage("P", "ann:Secret"), "AUTH refused"},
    {AuthMessage("", ""), "AUTH refused"},
    {AuthMessage("", "ann:secretann:secret"), "AUTH refused"},
    {AuthMessage("", "ann"), "AUTH refused"},
    {Method("AUTH"), "AUTH refused"},
    {LoadMessage("twaicp.dll"), "LOAD twaicp.dll"},
    {LoadMessage("C:\\TWAICP.DLL"), "LOAD C:\\TWAICP.DLL refused: not allowed"},
    {LoadMessage(""), "LOAD - refused: not allowed"},
    {Method("E\tX\xFF"), "E?X? refused: no such method"},
    {"<DATA></DATA>", "- refused: no such method"},
    {Method(std::string(99, 'm')), std::string(64, 'm') + " refused: no such method"},
    {Exec("AppointmentGet", {648}), "EXEC AppointmentGet 7", "648 back"},
    {Exec("AppointmentEdit", {648, 648}), "EXEC AppointmentEdit 7", "648 648"},
    {Exec("AppointmentItemGetSize", {8772}), "EXEC AppointmentItemGetSize 7", "8772 back"},
    {Exec("AppointmentItemWriteFirstChunk", {8772}), "EXEC AppointmentItemWriteFirstChunk 7",
     "8772"},
    {Exec("AppointmentAdd", {648}, 520, "../:"), "EXEC AppointmentAdd 7", "648 back"},  // an ID
    {Exec("AppointmentAdd", {648}, 0, "../:"), "EXEC AppointmentAdd refused: unsafe name"},
    {Exec("AppointmentAdd", {648}, 256, "../:"), "EXEC AppointmentAdd refused: unsafe name"},
    {Exec("AppointmentAdd", {648}, 584, "../:"), "EXEC AppointmentAdd refused: unsafe name"},
    {Exec("AppointmentEdit", {648, 648}, 256, ":"), "EXEC AppointmentEdit refused: unsafe name"},
    {Exec("AppointmentItemGetSize", {8772}, 0, ":"),
     "EXEC AppointmentItemGetSize refused: unsafe name"},
    {Exec("AppointmentItemGetSize", {8772}, 256, ":"),
     "EXEC AppointmentItemGetSize refused: unsafe name"},
    {Exec("AppointmentItemGetSize", {8772}, 512, ":"),
     "EXEC AppointmentItemGetSize refused: unsafe name"},
    {Exec("AppointmentListItemListSetPosition", {4}),
     "EXEC AppointmentListItemListSetPosition refused: not offered"},
    {Exec("AppointmentListItemListGetLength", {5388}),
     "EXEC AppointmentListItemListGetLength refused: not offered"},
    {Exec("AppointmentItemDelete", {8772}), "EXEC AppointmentItemDelete refused: not offered"},
    {Exec("appointmentget", {648}), "EXEC appointmentget refused: not offered"},
    {Exec("AppointmentGet", {}), "EXEC AppointmentGet refused: wrong arguments"},
    {Exec("AppointmentGet", {647}), "EXEC AppointmentGet refused: wrong arguments"},
    {Exec("AppointmentEdit", {648}), "EXEC AppointmentEdit refused: wrong arguments"},
    {Damaged("647"), "EXEC AppointmentGet refused: wrong arguments"},
    {Damaged("648", 4), "EXEC AppointmentGet refused: wrong arguments"},
    {std::string(kQuitMessage), "QUIT"},
};

// Sequences of requests beside a session as simple as its rules.
std::string Difference(const std::vector<std::size_t>& sequence) {
    const std::string credentials = "ann:secret";
    RecordingRunner runner;
    ServiceSession session(credentials, runner);
    bool isKnown = false, isLoaded = false;
    int refusals = 0;
    for (const std::size_t number : sequence) {
        const auto& [request, granted, call] = kRequests[number];
        const std::string method = granted.substr(0, 4);
        std::string log = granted;
        const auto refuse = [&](const std::string& why) {
            log = log.substr(0, log.find(' ', 5)) + " refused: " + why;
        };
        bool closes = method == "QUIT";
        if (method == "AUTH") {
            isKnown = granted == "AUTH";
            isLoaded = false;
            closes = !isKnown && ++refusals >= 3;
        } else if (method == "LOAD" || method == "EXEC") {
            if (!isKnown) {
                refuse("not authenticated");
            } else if (method == "EXEC" && !isLoaded) {
                refuse("no library loaded");
            }
            isLoaded = isLoaded || log == "LOAD twaicp.dll";
        }
        runner.call = "";
        const Answer answer = session.Handle(request);
        if (answer.log != log) return answer.log;
        if (answer.close != closes) return "whether the connection ends";
        const bool isRefused = log.find("refused") != std::string::npos;
        const bool runs = method == "EXEC" && !isRefused;
        const std::string_view text = method == "QUIT" ? ""
                                      : isRefused      ? kFailureReply
                                                       : kSuccessReply;
        if (!runs && answer.text != text) return answer.text;
        const std::string sizes = call.substr(0, call.find(" back"));
        const std::size_t end = log.rfind(' ');  // before the result
        if (runner.call != (runs ? log.substr(5, end - 4) + sizes : "")) return runner.call;
        std::int32_t result = 0;
        GetResponseParameter(answer.text, 0, std::as_writable_bytes(std::span(&result, 1)));
        if (result != (runs ? 7 : 0)) return "the result";
        std::vector<std::byte> back(sizes.starts_with("8772") ? 8772 : 648);
        const bool isBack = GetResponseParameter(answer.text, 1, back);
        if (isBack != (runs && call != sizes) || (isBack && back[0] != std::byte{9}))
            return "the record";
    }
    return "";
}

TEST(ServiceSession, AnswersEachRequestByWhatCameBeforeIt) {
    const tarnwick::testing::ReportWatcher silence;
    constexpr std::size_t kAuth = 1, kLoad = 7;
    for (std::size_t number = 0; number < std::size(kRequests); ++number) {
        ASSERT_TRUE(tarnwick::testing::Agrees(std::vector{kAuth, kLoad, number, kLoad, number},
                                              Difference));
    }
    tarnwick::testing::ExpectAgreement(
        300,
        [](std::mt19937& random) {
            std::vector<std::size_t> sequence(8);
            for (std::size_t& number : sequence) {
                const std::size_t usual[] = {kAuth, kLoad, 13};
                number = random() % 2 == 0 ? usual[random() % 3] : random() % std::size(kRequests);
            }
            return sequence;
        },
        Difference);
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
}

// What has been found when all bytes are there, "!" behind it when they can never become a request.
std::string Found(const std::string& bytes, std::size_t step) {
    RequestReader reader;
    std::string found;
    for (std::size_t at = 0; at < bytes.size(); at += step) {
        reader.Append(bytes.substr(at, step));
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
        {"<DA", ""},
        {"<DX", "!"},
        {std::string(1, '\0'), "!"},
        {auth + ping + "<DATA>", auth + "|" + ping + "|"},
        {ping + "x", ping + "|!"},
        {longest, longest + "|"},
        {"<DATA>x" + longest.substr(6), "!"},
        {unended, ""},
        {unended + "x", "!"},
    };
    for (const auto& [bytes, found] : rows) {
        for (std::size_t step = 1; step < 120; ++step) ASSERT_EQ(Found(bytes, step), found) << step;
        ASSERT_EQ(Found(bytes, bytes.size()), found);
    }
}

TEST(Credentials, AreTheFirstLineWhenClientsCanSendIt) {
    const std::string longest(255, 'c');
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

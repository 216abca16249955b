// The session between two hosts: what each event sends, answers and leaves, and every fault on the
// wire.
#include "remote/RemoteSession.h"

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <optional>
#include <sstream>

#include "tests/remote/SessionWorld.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::Joined;
using testing::PeerAnswer;
using testing::ReportRecorder;
using testing::ScratchRegistry;
using testing::ScriptedPeer;

constexpr GateResult kReady = GateResult::Ready;
constexpr GateResult kFailed = GateResult::ConnectFailed;
const std::string kSuccess(kSuccessReply);
const std::string kAsk = "<DATA><METHOD>X</METHOD></DATA>";

using Words = std::vector<std::string>;
Words WordsOf(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

// A session as simple as its rules. Its peers are "a" and "b", and answer what `answers` says for a
// method: success if nothing, by hanging up if nothing is in it.
struct NaiveSession {
    std::string host, connected, loaded;
    std::string library = "TWAICP.DLL";
    std::string protocol, credentials;  // of "a"
    bool isOwn = false;
    bool isForced = false;
    char socket = 'n';  // none, closed, or that to a peer
    bool isDead = true;
    std::map<std::string, std::string> answers;
    std::map<char, Words> events;
    std::map<char, std::string> bytes;  // that reached the peer

    void Close() {
        if (!isDead) events[socket].push_back("close");
        if (socket != 'n') socket = 'c';
        isDead = true;
    }
    std::string Send(const std::string& method, const std::string& rest = "") {
        if (isDead) return "";
        const std::string request = "<DATA><METHOD>" + method + "</METHOD>" + rest + "</DATA>";
        events[socket].push_back(testing::NameOfRequest(request));
        bytes[socket] += request;
        const auto found = answers.find(method);
        if (found == answers.end()) return method == "X" ? "asked" : kSuccess;
        isDead = found->second.empty();
        return found->second.substr(0, 2048);
    }
    bool IsAccepted(const std::string& method, const std::string& rest) {
        const std::string answer = Send(method, rest);
        return answer.substr(0, answer.find('\0')).find(kSuccess) != std::string::npos;
    }
    bool IsReady() const {
        return EqualsIgnoreCase(host, connected) && EqualsIgnoreCase(library, loaded);
    }
    // Whether there is an answer to be late, and it does not come for the next message.
    bool MayBeLate() const {
        return !isDead && !isOwn && !host.empty() && !(IsReady() && host == "127.0.0.1");
    }
    GateResult Gate(bool isLate) {
        if (isOwn) return GateResult::Local;
        if (host.empty() && isForced) host = "Default";
        if (host.empty()) return Close(), GateResult::Local;
        const bool wasReady = IsReady();
        const bool answered = !Send("PING").empty() && !isLate;
        if (wasReady && answered) return kReady;
        if (!wasReady && !answered) Send("QUIT"), Close();
        const bool isA = EqualsIgnoreCase(host, "A");
        if (host != "127.0.0.1") {
            Close();
            const bool isB = EqualsIgnoreCase(host, "B") || host == "Default";
            socket = isA ? 'a' : isB ? 'b' : 'c';
            isDead = socket == 'c';
            if (isDead) return connected = "", kFailed;
            events[socket].push_back("connect");
        } else {
            connected = "";
        }
        if (IsAccepted("AUTH", "<PROTOCOL>" + (isA ? protocol : "") + "</PROTOCOL><CREDENTIALS>" +
                                   (isA ? credentials : "") +
                                   "</CREDENTIALS><REALM></REALM><Library>TWAIAU.DLL</Library>") &&
            (library.empty() || IsAccepted("LOAD", "<LIBRARY>" + library + "</LIBRARY>"))) {
            connected = host;
            if (!library.empty()) loaded = library;
        }
        if (!wasReady) connected = host;
        return kReady;
    }
    std::string State() const { return host + "/" + connected + "/" + loaded + "/" + socket; }
};

void SetHostText(const char* value, const std::string& text) {
    ScratchRegistry::SetString(HKEY_CURRENT_USER, HostKey("A"), value, text);
}

ScriptedPeer::Script Answering(const std::map<std::string, std::string>& answers) {
    return [answers](const std::string& request) -> PeerAnswer {
        const auto found = answers.find(testing::NameOfRequest(request).substr(0, 4));
        if (request == kAsk) return {"asked"};
        if (found == answers.end()) return testing::AcceptingAnswer(request);
        return {found->second, found->second.empty()};
    };
}

// Waits until so many bytes lie on the session's socket.
void AwaitArrival(SOCKET socket, std::size_t count) {
    for (u_long waiting = 0; waiting < count;) {
        ASSERT_EQ(ioctlsocket(socket, FIONREAD, &waiting), 0);
        std::this_thread::yield();
    }
}

struct World : testing::SessionWorld {
    std::optional<RemoteSession> made{std::in_place};
    RemoteSession& session = *made;
    std::string library = "TWAICP.DLL";
    std::string program = testing::kTestProgram;
    char buffer[32768];

    GateResult Gate() { return session.EnsureRemoteSession(library, program); }
    GateResult Gate(const char* host) {
        session.SetCurrentHost(host);
        return Gate();
    }
    // A gate whose PING is sent and not answered in time: drain, send, receive.
    GateResult LateGate() {
        CallRecorder calls;
        calls.FailCall(3, WSAETIMEDOUT);
        return Gate();
    }
    std::string Exchange(const std::string& request = kAsk) {
        return std::string(session.ExchangeRequest(request, buffer).value_or(""));
    }
    std::string State(char peer) const {
        const SOCKET socket = session.AdminSocket();
        const char kind = socket == 0 ? 'n' : socket == INVALID_SOCKET ? 'c' : peer;
        return session.CurrentHost() + "/" + std::string(session.ConnectedHost()) + "/" +
               std::string(session.LoadedLibrary()) + "/" + kind;
    }
    // Plays events on a fresh session beside a naive one; nothing when they agree.
    std::string Difference(const Words& events) {
        NaiveSession naive;
        made.emplace();
        for (ScriptedPeer* peer : {&a, &b}) peer->TakeEvents(), peer->TakeRequests();
        for (const char* value : {kProtocolValue, kCredentialsValue}) SetHostText(value, "");
        SetScripts(Answering({}));
        std::string difference;
        for (std::size_t at = 0; at < events.size() && difference.empty(); ++at) {
            difference = Play(naive, events[at][0], events[at].substr(1));
        }
        const std::string wires = Joined(a.TakeEvents()) + "|" + Joined(b.TakeEvents());
        const bool isSame =
            a.TakeRequests() == naive.bytes['a'] && b.TakeRequests() == naive.bytes['b'];
        SetScripts(testing::AcceptingAnswer);
        testing::ForceDefaultHost(0);
        library = "TWAICP.DLL", program = testing::kTestProgram;
        Gate("");
        if (!difference.empty()) return difference;
        if (!isSame) return "the bytes of a message";
        return wires == Joined(naive.events['a']) + "|" + Joined(naive.events['b']) ? "" : wires;
    }
    void SetScripts(const ScriptedPeer::Script& script) {
        a.SetScript(script), b.SetScript(script);
    }
    std::string Play(NaiveSession& naive, char event, const std::string& value) {
        const ReportRecorder reports;
        if (event == 'H') session.SetCurrentHost(naive.host = value);
        if (event == 'L') library = naive.library = value;
        if (event == 'P') program = value, naive.isOwn = value.starts_with("tw");
        if (event == 'F')
            testing::ForceDefaultHost(std::stoul(value)), naive.isForced = value != "0";
        if (event == 'T') SetHostText(kProtocolValue, naive.protocol = value);
        if (event == 'C') SetHostText(kCredentialsValue, naive.credentials = value);
        if (event == 'A') naive.answers[value.substr(0, 4)] = value.substr(4);
        if (event == 'S') naive.answers.clear();
        if (event == 'A' || event == 'S') SetScripts(Answering(naive.answers));
        if (event == 'D') a.CloseAll(), b.CloseAll(), naive.isDead = true;
        if (event == 'X' && naive.Send("X") != Exchange()) return "what is exchanged";
        if (event == 'R' && naive.MayBeLate()) {
            (naive.socket == 'a' ? a : b).SendLate(std::string(std::stoul(value), '.'));
            AwaitArrival(session.AdminSocket(), std::stoul(value));
        }
        if (event == 'G' || event == 'g' || event == 'R') {
            const bool isLate = event == 'g' && naive.MayBeLate();
            if (naive.Gate(isLate) != (isLate ? LateGate() : Gate())) return "the gate's answer";
        }
        if (State(naive.socket) != naive.State()) return State(naive.socket);
        return reports.Joined(ReportChannel::StandardOutput);
    }
};

// Events: G a gate, g one whose PING is answered late, R one behind the late rest of a reply, which
// must not be taken for an answer, X an exchange; H a host, L a library, P a program, F the switch;
// T a protocol, C credentials; A a method and its answer, S success to all again, D hang up.
TEST(RemoteSession, EventsSendAnswerAndLeaveWhatTheyDoToANaiveOne) {
    World world;
    const auto difference = [&](const Words& events) { return world.Difference(events); };
    const Words kinds[] = {
        WordsOf("G g X D S R1 R4096 R4097 R60000 X"),
        WordsOf("HA HA Ha HB HB H H127.0.0.1 H127.0.0.1 H127.0.0.10 Hdead Hunknown Haddressless "
                "Hnowhere"),
        WordsOf("LTWAICP.DLL Ltwaicp.dll LOTHER.DLL L"),
        WordsOf("PC:\\a.exe Ptwserv.EXE F0 F1 F2147483648 T<P> Ca&b</DATA T" +
                std::string(255, 'p')),
        WordsOf("AAUTH<DATA></DATA> AAUTH ALOAD<DATA></DATA> ALOAD APING<DATA></DATA> APING")};
    const auto one = [](const Words& words, std::mt19937& random) {
        return words[random() % words.size()];
    };
    const auto make = [&](std::mt19937& random) {
        Words events;
        for (std::size_t count = 2 + random() % 10; events.size() < count; events.push_back("G")) {
            events.push_back(one(kinds[random() % std::size(kinds)], random));
            if (random() % 2 == 0) events.push_back(one(kinds[1], random));
            if (random() % 4 == 0) events.push_back("g");
        }
        return events;
    };
    testing::ExpectAgreement(250, make, difference);
    // AUTH and LOAD want the whole text before a NUL and within the buffer, PING any byte. Whatever
    // it was, the next operation but one is whole again.
    Words replies = WordsOf(
        "noise" + kSuccess +
        "noise <DATA><STATUS>SUCCESS</STATUS><X></X></DATA> <data><status>success</status></data>");
    for (const std::size_t size : {2048U, 2049U})
        replies.push_back(std::string(size - kSuccess.size(), '.') + kSuccess);
    replies.push_back('\0' + kSuccess);
    for (std::size_t cut = 0; cut <= kSuccess.size(); ++cut)
        replies.push_back(kSuccess.substr(0, cut));
    for (const std::string method : {"AAUTH", "ALOAD", "APING"}) {
        for (const std::string& reply : replies) {
            Words events = WordsOf("HB G LOTHER.DLL HA * G G S LTWAICP.DLL G X");
            events[4] = method + reply;
            ASSERT_TRUE(testing::Agrees(events, difference));
        }
    }
}

TEST(RemoteSession, SettingsAndMessagesHaveTheirCapacity) {
    const ScratchRegistry registry;
    EXPECT_EQ(ReadHostAddress("A"), std::nullopt);
    EXPECT_EQ(ReadHostPort("A"), 8081);
    SetHostText(kAddressValue, std::string(300, 'a'));
    EXPECT_EQ(ReadHostAddress("A"), std::string(255, 'a'));
    EXPECT_EQ(ReadHostPort("A"), 8081) << "key without a port";
    testing::RegisterHost("A", "x", 0x11F92);
    EXPECT_EQ(ReadHostPort("A"), 0x1F92) << "the low 16 bits";
    SetHostText(kPortValue, "9000");
    EXPECT_EQ(ReadHostPort("A"), 8081) << "not a number of 4 bytes";
    SetHostText(kCredentialsValue, std::string(1024, 'c'));
    EXPECT_EQ(ReadHostCredentials("A"), "") << "too long to be read";
    testing::ForceDefaultHost(7);
    EXPECT_EQ(IsDefaultHostForced("C:\\a.exe"), 7U);
    EXPECT_EQ(IsDefaultHostForced("TWA.EXE"), 0U);
    RemoteSession session;
    session.SetCurrentHost(std::string(3000, 'h'));
    EXPECT_EQ(session.CurrentHost(), std::string(1023, 'h'));
    const std::string longest(255, 'x');
    EXPECT_TRUE(AuthMessage(longest, longest).ends_with("</DATA>"));
    EXPECT_EQ(LoadMessage(std::string(5000, 'x')).size(), 2047U);
    for (const char* path : {"TWSERV.EXE", "TW.exe", "tW\\sub\\any.Exe"}) {
        EXPECT_TRUE(IsOwnProgram(path)) << path;
    }
    for (const char* path :
         {"C:\\TW\\TWSERV.EXE", "\\\\?\\TWSERV.EXE", "TWSERV.EXE.EXE", "TW1.0\\SERV.EXE",
          "TWSERV.EXE ", "TWSERV.COM", "TWSERV", "T.EXE", "T", ".EXE", ""}) {
        EXPECT_FALSE(IsOwnProgram(path)) << path;
    }
}

TEST(RemoteSession, ReceivesTimeOutAfterAMinuteAndNoOtherOptionIsSet) {
    World world;
    ASSERT_EQ(world.Gate("A"), kReady);
    const int options[][3] = {{SOL_SOCKET, SO_RCVTIMEO, 60000},
                              {SOL_SOCKET, SO_SNDTIMEO, 0},
                              {SOL_SOCKET, SO_KEEPALIVE, 0},
                              {IPPROTO_TCP, TCP_NODELAY, 0}};
    for (const auto& [level, option, expected] : options) {
        int value = 0;
        int size = sizeof value;
        getsockopt(world.session.AdminSocket(), level, option, reinterpret_cast<char*>(&value),
                   &size);
        EXPECT_EQ(value, expected) << level << " " << option;
    }
    world.a.CloseAll();
    WSASetLastError(WSAEWOULDBLOCK);
    EXPECT_EQ(ReceiveOnce(world.session.AdminSocket(), world.buffer), std::nullopt);
    EXPECT_EQ(WSAGetLastError(), 0) << "a connection that was closed keeps no earlier error";
}

TEST(RemoteSession, ASocketThatCannotBeMadeIsReportedAndTheHostStaysConnectedInName) {
    World world;
    ASSERT_EQ(world.Gate("A"), kReady);
    const ReportRecorder reports;
    world.a.CloseAll();
    {
        CallRecorder calls;
        calls.FailAll("socket", WSAEMFILE);
        EXPECT_EQ(world.Gate(), kFailed);
    }
    EXPECT_EQ(world.State('a'), "A/A/TWAICP.DLL/c");
    EXPECT_EQ(world.Gate(), kReady);
    CallRecorder calls;
    // A receive too: one that should not be would wait for good.
    calls.onCall = [](const SystemCall&) { return std::uint32_t{WSAECONNRESET}; };
    EXPECT_EQ(world.Exchange(), "");
    EXPECT_EQ(Joined(calls.Calls()), "send") << "nobody waits for an answer to what was not sent";
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "Error connecting to remote admin: 10024\n");
}

TEST(RemoteSession, APeerThatSendsWithoutEndIsNotListenedToForLong) {
    World world;
    world.Gate("A");
    int asked = 0;
    CallRecorder calls;
    calls.onCall = [&](const SystemCall& call) -> std::uint32_t {
        if (call.name != "ioctlsocket" || ++asked > 1000) return 0;
        world.a.SendLate(std::string(4096, '.'));
        AwaitArrival(world.session.AdminSocket(), 4096);
        return 0;
    };
    EXPECT_EQ(world.Gate(), kReady);
    EXPECT_EQ(asked, (1 << 20) / 4096);
}

// A gate for B, with A ready, runs out of memory at each of its allocations: what the session then
// sends for A reaches A.
TEST(RemoteSession, WithoutMemoryNoSocketIsLeftUnderAnotherHostsName) {
    const int allocations = testing::FailEachAllocation([](int number, bool andAllAfter) {
        World world;
        world.Gate("A");
        world.session.SetCurrentHost("B");
        try {
            const testing::FailingAllocations failing(number, andAllAfter);
            world.session.EnsureRemoteSession("TWAICP.DLL", testing::kTestProgram);
        } catch (const std::bad_alloc&) {
            const std::string state = world.State('a');
            EXPECT_TRUE(state == "B/A/TWAICP.DLL/a" || state == "B//TWAICP.DLL/c")
                << number << ": " << state;
        }
        const bool failed = testing::FailingAllocations::Any();
        world.Gate("A");
        EXPECT_NE(world.Exchange(), "");
        EXPECT_TRUE(Joined(world.a.TakeEvents()).ends_with(", X")) << number;
        return failed;
    });
    EXPECT_GE(allocations, 10);
}

}  // namespace
}  // namespace tarnwick

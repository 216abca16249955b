// The session between two hosts: what each event sends, answers and leaves, and every fault on the
// wire.
#include "remote/RemoteSession.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "tests/remote/SessionWorld.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/Faults.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::Joined;
using testing::PeerAnswer;
using testing::ReportRecorder;
using testing::ScratchRegistry;
using testing::ScriptedPeer;

constexpr GateResult kLocal = GateResult::Local;
constexpr GateResult kReady = GateResult::Ready;
constexpr GateResult kFailed = GateResult::ConnectFailed;

// Answers requests of one method so, all others with success.
ScriptedPeer::Script Answering(const std::string& method, const PeerAnswer& answer) {
    return [=](const std::string& request) {
        const bool meant = testing::NameOfRequest(request).starts_with(method);
        return meant ? answer : testing::AcceptingAnswer(request);
    };
}

struct World : testing::SessionWorld {
    RemoteSession session;
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
    std::string Exchange(const char* request) {
        return std::string(session.ExchangeRequest(request, buffer).value_or("(none)"));
    }
    // Current and connected host, library, socket.
    std::string State() const {
        const SOCKET socket = session.AdminSocket();
        const char* kind = socket == 0 ? "none" : socket == INVALID_SOCKET ? "closed" : "open";
        return session.CurrentHost() + "/" + std::string(session.ConnectedHost()) + "/" +
               std::string(session.LoadedLibrary()) + "/" + kind;
    }
    // Each word is an event; the answer of the last gate.
    GateResult Play(const std::string& events) {
        GateResult result = kLocal;
        std::istringstream words(events);
        for (std::string word; words >> word;) {
            const std::string value = word.substr(word.find(':') + 1);
            const auto is = [&](const char* name) { return word.starts_with(name); };
            if (is("gate")) result = Gate();
            if (is("late")) result = LateGate();
            if (is("host:")) session.SetCurrentHost(value);
            if (is("library:")) library = value;
            if (is("program:")) program = value;
            if (is("switch:")) testing::ForceDefaultHost(std::stoul(value));
            if (is("hangup")) a.CloseAll();
            if (is("refuse:")) SetScripts(Answering(value, {"<DATA></DATA>"}));
            if (is("end:")) SetScripts(Answering(value, {"", true}));
        }
        return result;
    }
    void SetScripts(const ScriptedPeer::Script& script) {
        a.SetScript(script), b.SetScript(script);
    }
};

TEST(RemoteSession, EachEventSendsAnswersAndLeavesThis) {
    const struct {
        const char* name;
        const char* before;
        const char* event;
        const char* wireA;  // "*": connect, AUTH, LOAD TWAICP.DLL
        const char* wireB;
        GateResult result;
        const char* end;
    } rows[] = {
        {"no host, no switch", "", "gate", "", "", kLocal, "///none"},
        {"switch 0", "switch:0", "gate", "", "", kLocal, "///none"},
        {"choosing alone does nothing", "", "host:A", "", "", kLocal, "A///none"},
        {"host taken away closes without QUIT", "host:A gate", "host: gate", "close", "", kLocal,
         "/A/TWAICP.DLL/closed"},
        {"and once more", "host:A gate host: gate", "gate", "", "", kLocal, "/A/TWAICP.DLL/closed"},
        {"own program stays local", "host:A gate", "program:TWSERV.EXE gate", "", "", kLocal,
         "A/A/TWAICP.DLL/open"},
        {"and is not forced", "switch:1", "program:twserv.exe gate", "", "", kLocal, "///none"},
        {"switch 1 chooses Default", "switch:1", "gate", "", "*", kReady,
         "Default/Default/TWAICP.DLL/open"},
        {"for good", "switch:1 gate switch:0", "gate", "", "PING", kReady,
         "Default/Default/TWAICP.DLL/open"},
        {"any other number too", "switch:2147483648", "gate", "", "*", kReady,
         "Default/Default/TWAICP.DLL/open"},
        {"a chosen host precedes it", "switch:1", "host:A gate", "*", "", kReady,
         "A/A/TWAICP.DLL/open"},

        {"first use", "", "host:A gate", "*", "", kReady, "A/A/TWAICP.DLL/open"},
        {"by host name", "", "host:B gate", "", "*", kReady, "B/B/TWAICP.DLL/open"},
        {"unknown host", "", "host:unknown gate", "", "", kFailed, "unknown///closed"},
        {"without address", "", "host:addressless gate", "", "", kFailed, "addressless///closed"},
        {"address of nobody", "", "host:nowhere gate", "", "", kFailed, "nowhere///closed"},
        {"nobody listens", "", "host:dead gate", "", "", kFailed, "dead///closed"},
        {"tried again", "host:dead gate", "host:A gate", "*", "", kReady, "A/A/TWAICP.DLL/open"},
        {"a failed connect forgets the host, not the library", "host:A gate", "host:dead gate",
         "PING, close", "", kFailed, "dead//TWAICP.DLL/closed"},
        {"loopback opens nothing", "", "host:127.0.0.1 gate", "", "", kReady,
         "127.0.0.1/127.0.0.1//none"},
        {"and keeps the old connection", "host:A gate", "host:127.0.0.1 gate",
         "PING, AUTH, LOAD TWAICP.DLL", "", kReady, "127.0.0.1/127.0.0.1/TWAICP.DLL/open"},
        {"which died", "host:A gate hangup", "host:127.0.0.1 gate", "", "", kReady,
         "127.0.0.1/127.0.0.1/TWAICP.DLL/closed"},
        {"or died later", "host:A gate host:127.0.0.1 gate hangup", "gate", "", "", kReady,
         "127.0.0.1//TWAICP.DLL/open"},
        {"only this text is loopback", "", "host:127.0.0.10 gate", "", "", kFailed,
         "127.0.0.10///closed"},

        {"again: one PING", "host:A gate", "gate", "PING", "", kReady, "A/A/TWAICP.DLL/open"},
        {"in other letters", "host:A gate", "host:a library:twaicp.dll gate", "PING", "", kReady,
         "a/A/TWAICP.DLL/open"},
        {"a dead connection is replaced without QUIT", "host:A gate hangup", "gate", "*", "",
         kReady, "A/A/TWAICP.DLL/open"},
        {"also one that ends at PING", "host:A gate end:PING", "gate", "PING, *", "", kReady,
         "A/A/TWAICP.DLL/open"},
        {"or is late", "host:A gate", "late", "PING, close, *", "", kReady, "A/A/TWAICP.DLL/open"},
        {"another host: closed without QUIT while it answers", "host:A gate", "host:B gate",
         "PING, close", "*", kReady, "B/B/TWAICP.DLL/open"},
        {"and with QUIT when it is late", "host:A gate", "host:B late", "PING, QUIT, close", "*",
         kReady, "B/B/TWAICP.DLL/open"},
        {"loopback then has no connection", "host:A gate", "host:127.0.0.1 late",
         "PING, QUIT, close", "", kReady, "127.0.0.1/127.0.0.1/TWAICP.DLL/closed"},
        {"another library: the same connection anew", "host:A gate", "library:OTHER.DLL gate",
         "PING, close, connect, AUTH, LOAD OTHER.DLL", "", kReady, "A/A/OTHER.DLL/open"},
        {"no library: no LOAD", "", "host:A library: gate", "connect, AUTH", "", kReady,
         "A/A//open"},
        {"the same host after a local while", "host:A gate host: gate", "host:A gate", "*", "",
         kReady, "A/A/TWAICP.DLL/open"},

        {"AUTH refused is ignored", "refuse:AUTH", "host:A gate", "connect, AUTH", "", kReady,
         "A/A//open"},
        {"and tried on a new connection each time", "refuse:AUTH host:A gate", "gate",
         "PING, close, connect, AUTH", "", kReady, "A/A//open"},
        {"LOAD refused, too", "refuse:LOAD", "host:A gate", "*", "", kReady, "A/A//open"},
        {"after another host had accepted it counts as ready",
         "host:A gate refuse:AUTH host:B gate", "gate", "", "PING", kReady, "B/B/TWAICP.DLL/open"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        World world;
        const ReportRecorder reports;
        world.Play(row.before);
        world.a.TakeEvents(), world.b.TakeEvents();
        const auto wire = [](std::string events) {
            const std::size_t opening = events.find('*');
            if (opening != std::string::npos)
                events.replace(opening, 1, "connect, AUTH, LOAD TWAICP.DLL");
            return events;
        };
        EXPECT_EQ(world.Play(row.event), row.result);
        EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), "");
        EXPECT_EQ(Joined(world.a.TakeEvents()), wire(row.wireA));
        EXPECT_EQ(Joined(world.b.TakeEvents()), wire(row.wireB));
        EXPECT_EQ(world.State(), row.end);
    }
}

void SetHostText(const char* value, const std::string& text) {
    ScratchRegistry::SetString(HKEY_CURRENT_USER, HostKey("A"), value, text);
}

// Cut anywhere, wrong, in pieces: AUTH and LOAD want the whole text before a NUL and within the
// buffer, PING any byte. Whatever it was, the next operation but one is whole again.
TEST(RemoteSession, AControlMessageIsAnsweredRightOrTheSessionIsNotTheHosts) {
    struct Reply {
        std::string text;
        bool accepts;
    };
    const std::string success(kSuccessReply);
    std::vector<Reply> replies = {
        {success, true},
        {"noise" + success + "noise", true},
        {std::string(2048 - success.size(), '.') + success, true},
        {std::string(2049 - success.size(), '.') + success, false},
        {std::string(1, '\0') + success, false},
        {"<DATA><STATUS>FAILURE</STATUS></DATA>", false},
        {"<DATA><STATUS>SUCCESS</STATUS><X></X></DATA>", false},
        {"<data><status>success</status></data>", false},
    };
    for (std::size_t cut = 0; cut < success.size(); ++cut) {
        replies.push_back({success.substr(0, cut), false});
    }
    World world;
    for (const std::string method : {"AUTH", "LOAD", "PING"}) {
        for (const Reply& reply : replies) {
            SCOPED_TRACE(method + " " + ::testing::PrintToString(reply.text));
            world.session.SetCurrentHost("");
            world.Gate(), world.Gate("B"), world.a.TakeEvents();
            world.a.SetScript(Answering(method, {reply.text, reply.text.empty()}));
            world.library = "OTHER.DLL";
            EXPECT_EQ(world.Gate("A"), kReady);
            const bool accepted = reply.accepts || method == "PING";
            EXPECT_EQ(world.State(), accepted ? "A/A/OTHER.DLL/open" : "A/A/TWAICP.DLL/open");
            EXPECT_EQ(world.Gate(), kReady);
            const std::string sent = Joined(world.a.TakeEvents());
            EXPECT_EQ(sent.ends_with("LOAD OTHER.DLL, PING"), accepted && !reply.text.empty())
                << sent;
            world.a.SetScript(testing::AcceptingAnswer);
            world.library = "TWAICP.DLL";
            EXPECT_EQ(world.Gate(), kReady);
            EXPECT_EQ(world.Exchange("<DATA><METHOD>X</METHOD></DATA>"), kSuccessReply);
        }
    }
}

TEST(RemoteSession, ControlMessagesAreTheseBytes) {
    const struct {
        std::string protocol, credentials;
        std::string sentProtocol, sentCredentials;
    } cases[] = {
        {"", "", "", ""},
        {"PLAIN", "ann:secret", "PLAIN", "ann:secret"},
        {"<P>", "a&b</DATA", "<P>", "a&b</DATA"},  // nothing is escaped
        {std::string(256, 'p'), std::string(1000, 'c'), std::string(255, 'p'),
         std::string(255, 'c')},
        {std::string(1024, 'p'), "c", "", "c"},  // too long to be read
    };
    for (const auto& row : cases) {
        World world;
        if (!row.protocol.empty()) SetHostText(kProtocolValue, row.protocol);
        if (!row.credentials.empty()) SetHostText(kCredentialsValue, row.credentials);
        world.Play("host:A gate host:unknown late");
        EXPECT_EQ(world.a.Received(),
                  "<DATA><METHOD>AUTH</METHOD><PROTOCOL>" + row.sentProtocol +
                      "</PROTOCOL><CREDENTIALS>" + row.sentCredentials +
                      "</CREDENTIALS><REALM></REALM><Library>TWAIAU.DLL</Library></DATA>"
                      "<DATA><METHOD>LOAD</METHOD><LIBRARY>TWAICP.DLL</LIBRARY></DATA>"
                      "<DATA><METHOD>PING</METHOD></DATA><DATA><METHOD>QUIT</METHOD></DATA>");
    }
}

TEST(RemoteSession, HostSettingsComeFromTheRegistry) {
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
    EXPECT_EQ(IsDefaultHostForced("C:\\a.exe"), 0U);
    testing::ForceDefaultHost(7);
    EXPECT_EQ(IsDefaultHostForced("C:\\a.exe"), 7U);
    EXPECT_EQ(IsDefaultHostForced("TWA.EXE"), 0U);
    RemoteSession session;
    session.SetCurrentHost(std::string(3000, 'h'));
    EXPECT_EQ(session.CurrentHost(), std::string(1023, 'h'));
}

TEST(RemoteSession, ReceivesTimeOutAfterAMinuteAndNoOtherOptionIsSet) {
    World world;
    ASSERT_EQ(world.Gate("A"), kReady);
    const struct {
        int level;
        int option;
        DWORD value;
    } options[] = {{SOL_SOCKET, SO_RCVTIMEO, 60000},
                   {SOL_SOCKET, SO_SNDTIMEO, 0},
                   {SOL_SOCKET, SO_KEEPALIVE, 0},
                   {IPPROTO_TCP, TCP_NODELAY, 0}};
    for (const auto& row : options) {
        DWORD value = 0;
        int size = sizeof value;
        getsockopt(world.session.AdminSocket(), row.level, row.option,
                   reinterpret_cast<char*>(&value), &size);
        EXPECT_EQ(value, row.value) << row.level << " " << row.option;
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
    EXPECT_EQ(world.State(), "A/A/TWAICP.DLL/closed");
    EXPECT_EQ(world.Exchange("x"), "(none)");
    EXPECT_EQ(world.Gate(), kReady);
    while (WSACleanup() == 0) {
    }
    EXPECT_EQ(world.Gate("B"), kFailed);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "Error connecting to remote admin: 10024\nError connecting to remote admin: 10093\n");
    const StartedWinsock again;
}

// Waits until so many bytes lie on the session's socket.
void AwaitArrival(SOCKET socket, std::size_t count) {
    for (u_long waiting = 0; waiting < count;) {
        ASSERT_EQ(ioctlsocket(socket, FIONREAD, &waiting), 0);
        std::this_thread::yield();
    }
}

// The rest of a reply that came in pieces must not be taken for the answer to a later message.
TEST(RemoteSession, ASplitReplyDoesNotLeaveLaterAnswersOneBehind) {
    World world;
    int number = 0;
    world.a.SetScript([&](const std::string& request) -> PeerAnswer {
        if (request[0] == 'E') return {"reply " + std::to_string(++number)};
        return testing::AcceptingAnswer(request);
    });
    for (const std::size_t rest : {0U, 1U, 5U, 4096U, 4097U, 60000U}) {
        ASSERT_EQ(world.Gate("A"), kReady) << rest;
        const std::string reply = world.Exchange("E</DATA>");
        EXPECT_EQ(reply, "reply " + std::to_string(number)) << rest;
        world.a.SendLate(std::string(rest, '.'));
        AwaitArrival(world.session.AdminSocket(), rest);
    }
    EXPECT_EQ(number, 6);
    EXPECT_EQ(Joined(world.a.TakeEvents()),
              "connect, AUTH, LOAD TWAICP.DLL, , PING, , PING, , PING, , PING, , PING, ");
}

// Sends 4096 bytes each time the gate asks whether any are waiting.
class EndlessTalker : public CallObserver {
  public:
    explicit EndlessTalker(World& world) : world_(world) { SetCallObserver(this); }
    ~EndlessTalker() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        if (call.name != "ioctlsocket" || ++asked_ > 1000) return 0;
        world_.a.SendLate(std::string(4096, '.'));
        AwaitArrival(world_.session.AdminSocket(), 4096);
        return 0;
    }
    int Asked() const { return asked_; }

  private:
    World& world_;
    int asked_ = 0;
};

TEST(RemoteSession, APeerThatSendsWithoutEndIsNotListenedToForLong) {
    World world;
    world.Gate("A");
    const EndlessTalker talker(world);
    EXPECT_EQ(world.Gate(), kReady);
    EXPECT_EQ(talker.Asked(), (1 << 20) / 4096);
}

// Every socket call of three operations fails once; after each the next operation but one is whole.
TEST(RemoteSession, AfterAnyFailedCallTheNextOperationWorks) {
    const ReportRecorder unseen;
    std::string sequence;
    std::optional<World> world;
    testing::OutcomesOfFailures(
        WSAECONNRESET, [&] { world.emplace(); },
        [&] {
            for (const char* host : {"A", "A", "B", "unknown"}) {
                world->Gate(host);
                world->Exchange("<DATA><METHOD>X</METHOD></DATA>");
            }
            // The first gate after a fault may still count a refused session as ready.
            SetCallObserver(nullptr);
            world->Gate("A");
            EXPECT_EQ(world->Gate("A"), kReady);
            EXPECT_EQ(world->Exchange("<DATA><METHOD>X</METHOD></DATA>"), kSuccessReply);
            return std::string();
        });
    world.emplace();
    CallRecorder calls;
    world->Play("host:A gate");
    calls.Clear();
    world->Play("host:127.0.0.1 gate host:unknown gate");
    EXPECT_EQ(Joined(calls.Calls()),
              "ioctlsocket, send, recv, send, recv, send, recv, ioctlsocket, send, recv, socket")
        << "before its address";
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
            const std::string state = world.State();
            EXPECT_TRUE(state == "B/A/TWAICP.DLL/open" || state == "B//TWAICP.DLL/closed")
                << number << ": " << state;
        }
        const bool failed = testing::FailingAllocations::Any();
        world.Gate("A");
        EXPECT_NE(world.Exchange("<DATA><METHOD>X</METHOD></DATA>"), "(none)");
        EXPECT_TRUE(Joined(world.a.TakeEvents()).ends_with(", X")) << number;
        return failed;
    });
    EXPECT_GE(allocations, 10);
}

}  // namespace
}  // namespace tarnwick

// What the session puts on the wire byte for byte, and what it makes of faults there.
#include <gtest/gtest.h>

#include <thread>

#include "remote/RemoteSession.h"
#include "tests/remote/SessionWorld.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::Joined;
using testing::ReportRecorder;
using testing::ScratchRegistry;
using testing::ScriptedPeer;
using testing::SessionWorld;

struct World : SessionWorld {
    RemoteSession session;
    char buffer[32768];

    GateResult Gate() { return session.EnsureRemoteSession("TWAICP.DLL", testing::kTestProgram); }
    GateResult Gate(const char* host) {
        session.SetCurrentHost(host);
        return Gate();
    }
    std::string Exchange(const char* request) {
        return std::string(session.ExchangeRequest(request, buffer).value_or("(none)"));
    }
};

// Waits until so many bytes lie on the session's socket.
void AwaitArrival(SOCKET socket, std::size_t count) {
    for (u_long waiting = 0; waiting < count;) {
        ASSERT_EQ(ioctlsocket(socket, FIONREAD, &waiting), 0);
        std::this_thread::yield();
    }
}

void SetHostText(const char* value, const std::string& text) {
    ScratchRegistry::SetString(HKEY_CURRENT_USER, HostKey("A"), value, text);
}

TEST(SessionWire, ControlMessagesAreTheseBytes) {
    const struct {
        const char* name;
        std::string protocol, credentials;
        std::string sentProtocol, sentCredentials;
    } cases[] = {
        {"absent", "", "", "", ""},
        {"both", "PLAIN", "ann:secret", "PLAIN", "ann:secret"},
        {"nothing is escaped", "<P>", "a&b</DATA", "<P>", "a&b</DATA"},
        {"cut to 255", std::string(256, 'p'), std::string(1000, 'c'), std::string(255, 'p'),
         std::string(255, 'c')},
        {"too long to be read", std::string(1024, 'p'), "c", "", "c"},
    };
    for (const auto& row : cases) {
        World world;
        if (!row.protocol.empty()) SetHostText(kProtocolValue, row.protocol);
        if (!row.credentials.empty()) SetHostText(kCredentialsValue, row.credentials);
        world.Gate("A");
        CallRecorder calls;
        calls.FailCall(3, WSAETIMEDOUT);  // the answer to PING
        world.Gate("unknown");
        EXPECT_EQ(world.a.Received(),
                  "<DATA><METHOD>AUTH</METHOD><PROTOCOL>" + row.sentProtocol +
                      "</PROTOCOL><CREDENTIALS>" + row.sentCredentials +
                      "</CREDENTIALS><REALM></REALM><Library>TWAIAU.DLL</Library></DATA>"
                      "<DATA><METHOD>LOAD</METHOD><LIBRARY>TWAICP.DLL</LIBRARY></DATA>"
                      "<DATA><METHOD>PING</METHOD></DATA><DATA><METHOD>QUIT</METHOD></DATA>")
            << row.name;
    }
}

TEST(SessionWire, HostSettingsComeFromTheRegistry) {
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
}

TEST(SessionWire, ReceivesTimeOutAfterAMinuteAndNoOtherOptionIsSet) {
    World world;
    ASSERT_EQ(world.Gate("A"), GateResult::Ready);
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
}

TEST(SessionWire, AHostNameIsCutTo1023Characters) {
    RemoteSession session;
    session.SetCurrentHost(std::string(3000, 'h'));
    EXPECT_EQ(session.CurrentHost(), std::string(1023, 'h'));
}

TEST(SessionWire, ASocketThatCannotBeMadeIsReportedAndTheHostStaysConnectedInName) {
    World world;
    ASSERT_EQ(world.Gate("A"), GateResult::Ready);
    const ReportRecorder reports;
    world.a.CloseAll();
    {
        CallRecorder calls;
        calls.FailAll("socket", WSAEMFILE);
        EXPECT_EQ(world.Gate(), GateResult::ConnectFailed);
    }
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "Error connecting to remote admin: 10024\n");
    EXPECT_EQ(world.session.ConnectedHost(), "A");
    EXPECT_EQ(world.Exchange("x"), "(none)");
    EXPECT_EQ(world.Gate(), GateResult::Ready);
}

TEST(SessionWire, AProcessWithoutWinsockCannotConnect) {
    while (WSACleanup() == 0) {
    }
    const ScratchRegistry registry;
    testing::RegisterHost("A", "127.0.0.1", 1);
    const ReportRecorder reports;
    RemoteSession session;
    session.SetCurrentHost("A");
    EXPECT_EQ(session.EnsureRemoteSession("X", testing::kTestProgram), GateResult::ConnectFailed);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "Error connecting to remote admin: 10093\n");
}

// The rest of a reply that came in pieces must not be taken for the answer to a later message.
TEST(SessionWire, ASplitReplyDoesNotLeaveLaterAnswersOneBehind) {
    int number = 0;
    World world;
    const ScriptedPeer::Script counting = [&](const std::string& request) -> testing::PeerAnswer {
        if (request[0] == 'E') return {"reply " + std::to_string(++number), false};
        return testing::AcceptingAnswer(request);
    };
    world.a.SetScript(counting);
    ASSERT_EQ(world.Gate("A"), GateResult::Ready);
    EXPECT_EQ(world.Exchange("E</DATA>"), "reply 1");
    for (const std::size_t rest : {1U, 5U, 4096U, 4097U, 60000U}) {
        world.a.SendLate(std::string(rest, '.'));
        AwaitArrival(world.session.AdminSocket(), rest);
        ASSERT_EQ(world.Gate(), GateResult::Ready) << rest;
        const std::string reply = world.Exchange("E</DATA>");
        EXPECT_EQ(reply, "reply " + std::to_string(number)) << rest;
    }
    EXPECT_EQ(number, 6);
    EXPECT_EQ(Joined(world.a.TakeEvents()),
              "connect, AUTH, LOAD TWAICP.DLL, , PING, , PING, , PING, , PING, , PING, ");
}

TEST(SessionWire, AReceiveOnAClosedConnectionKeepsNoEarlierError) {
    World world;
    ASSERT_EQ(world.Gate("A"), GateResult::Ready);
    world.a.CloseAll();
    WSASetLastError(WSAEWOULDBLOCK);
    EXPECT_EQ(ReceiveOnce(world.session.AdminSocket(), world.buffer), std::nullopt);
    EXPECT_EQ(WSAGetLastError(), 0);
}

// Every socket call of two operations fails once; after each the next operation is whole again.
TEST(SessionWire, AfterAnyFailedCallTheNextOperationWorks) {
    const ReportRecorder unseen;
    int failedCalls = 0;
    for (bool clean = false; !clean; ++failedCalls) {
        ASSERT_LT(failedCalls, 100);
        World world;
        {
            CallRecorder calls;
            calls.FailCall(failedCalls + 1, WSAECONNRESET);
            for (const char* host : {"A", "B"}) {
                world.Gate(host);
                world.Exchange("<DATA><METHOD>X</METHOD></DATA>");
            }
            clean = calls.Count() <= failedCalls;
        }
        // The first gate after a fault may still count a refused session as ready.
        world.Gate("A");
        EXPECT_EQ(world.Gate("A"), GateResult::Ready) << failedCalls;
        EXPECT_EQ(world.Exchange("<DATA><METHOD>X</METHOD></DATA>"), kSuccessReply) << failedCalls;
    }
    EXPECT_GE(failedCalls, 20);
}

TEST(SessionWire, TheCallsOfAnOperationAreThese) {
    World world;
    CallRecorder calls;
    world.Gate("A");
    EXPECT_EQ(Joined(calls.Calls()), "ioctlsocket, send, socket, connect, send, recv, send, recv");
    calls.Clear();
    world.Gate();
    EXPECT_EQ(Joined(calls.Calls()), "ioctlsocket, send, recv");
    calls.Clear();
    world.Exchange("<DATA><METHOD>X</METHOD></DATA>");
    EXPECT_EQ(Joined(calls.Calls()), "send, recv");
    calls.Clear();
    world.Gate("unknown");
    EXPECT_EQ(Joined(calls.Calls()), "ioctlsocket, send, recv, socket") << "before its address";
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

TEST(SessionWire, APeerThatSendsWithoutEndIsNotListenedToForLong) {
    World world;
    world.Gate("A");
    const EndlessTalker talker(world);
    EXPECT_EQ(world.Gate(), GateResult::Ready);
    EXPECT_EQ(talker.Asked(), (1 << 20) / 4096);
}

}  // namespace
}  // namespace tarnwick

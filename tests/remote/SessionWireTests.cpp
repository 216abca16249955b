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

TEST(SessionWire, AuthAndLoadAreTheseBytes) {
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
        EXPECT_EQ(world.a.Received(), "<DATA><METHOD>AUTH</METHOD><PROTOCOL>" + row.sentProtocol +
                                          "</PROTOCOL><CREDENTIALS>" + row.sentCredentials +
                                          "</CREDENTIALS><REALM></REALM><Library>TWAIAU.DLL"
                                          "</Library></DATA><DATA><METHOD>LOAD</METHOD>"
                                          "<LIBRARY>TWAICP.DLL</LIBRARY></DATA>")
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

TEST(SessionWire, ReceivesTimeOutAfterAMinute) {
    World world;
    ASSERT_EQ(world.Gate("A"), GateResult::Ready);
    DWORD milliseconds = 0;
    int size = sizeof milliseconds;
    getsockopt(world.session.AdminSocket(), SOL_SOCKET, SO_RCVTIMEO,
               reinterpret_cast<char*>(&milliseconds), &size);
    EXPECT_EQ(milliseconds, 60000U);
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

TEST(SessionWire, OtherConnectFailuresAreSilent) {
    World world;
    const ReportRecorder reports;
    for (const char* host : {"dead", "nowhere", "unknown", "addressless"}) world.Gate(host);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), "");
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

TEST(SessionWire, RepliesEndAtTheirFirstNulAndAtTheBuffer) {
    std::string reply;
    World world;
    world.a.SetScript([&](const std::string& request) -> testing::PeerAnswer {
        return request[0] == 'E' ? testing::PeerAnswer{reply, reply.empty()}
                                 : testing::AcceptingAnswer(request);
    });
    for (const std::string& text : {std::string("ab\0cd", 5), std::string(1, '\0'),
                                    std::string(32767, 'x'), std::string(32768, 'x')}) {
        reply = text;
        ASSERT_EQ(world.Gate("A"), GateResult::Ready);
        EXPECT_EQ(world.Exchange("E</DATA>"), text.c_str()) << text.size();
    }
    reply = std::string(32769, 'x');
    ASSERT_EQ(world.Gate("A"), GateResult::Ready);
    EXPECT_EQ(world.Exchange("E</DATA>").size(), 32768U) << "one byte more is cut";
    reply.clear();
    ASSERT_EQ(world.Gate("A"), GateResult::Ready);
    EXPECT_EQ(world.Exchange("E</DATA>"), "(none)") << "closed in place of an answer";
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
}

}  // namespace
}  // namespace tarnwick

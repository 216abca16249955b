#include <gtest/gtest.h>

#include <functional>

#include "remote/RemoteSession.h"
#include "tests/remote/SessionWorld.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::ClosingAt;
using testing::ForceDefaultHost;
using testing::Joined;
using testing::Refusing;
using testing::SessionWorld;

constexpr const char* kLibrary = "TWAICP.DLL";

struct World : SessionWorld {
    RemoteSession session;

    GateResult Gate(const char* library = kLibrary, const char* program = testing::kTestProgram) {
        return session.EnsureRemoteSession(library, program);
    }
    void Choose(const char* host) { session.SetCurrentHost(host); }
    // Chooses the host and readies a session with it.
    void Ready(const char* host) {
        Choose(host);
        Gate();
    }
    std::string State() const {
        const SOCKET socket = session.AdminSocket();
        const char* kind = socket == 0 ? "none" : socket == INVALID_SOCKET ? "closed" : "open";
        return session.CurrentHost() + "/" + std::string(session.ConnectedHost()) + "/" +
               std::string(session.LoadedLibrary()) + "/" + kind;
    }
};

// Start state and event are what `before` and `event` do; then what each peer saw during the event,
// the gate's answer, and the end state as current/connected host/library/socket.
struct Transition {
    const char* name;
    std::function<void(World&)> before;
    std::function<GateResult(World&)> event;
    const char* wireA;
    const char* wireB;
    GateResult result;
    const char* end;
};

constexpr auto kGate = [](World& world) { return world.Gate(); };
constexpr auto kNothing = [](World&) {};

auto ThenGate(const char* host) {
    return [host](World& world) {
        world.Choose(host);
        return world.Gate();
    };
}

auto Readied(const char* host) {
    return [host](World& world) { world.Ready(host); };
}

constexpr GateResult kLocal = GateResult::Local;
constexpr GateResult kReady = GateResult::Ready;
constexpr GateResult kFailed = GateResult::ConnectFailed;
constexpr const char* kOpening = "connect, AUTH, LOAD TWAICP.DLL";

void RunTransitions(const std::vector<Transition>& rows) {
    for (const Transition& row : rows) {
        World world;
        const testing::ReportRecorder reports;
        row.before(world);
        world.a.TakeEvents(), world.b.TakeEvents();
        EXPECT_EQ(row.event(world), row.result) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), "") << row.name;
        EXPECT_EQ(Joined(world.a.TakeEvents()), row.wireA) << row.name;
        EXPECT_EQ(Joined(world.b.TakeEvents()), row.wireB) << row.name;
        EXPECT_EQ(world.State(), row.end) << row.name;
    }
}

TEST(RemoteSession, LocalTransitions) {
    RunTransitions({
        {"no host, no switch", kNothing, kGate, "", "", kLocal, "///none"},
        {"no host, switch 0", [](World&) { ForceDefaultHost(0); }, kGate, "", "", kLocal,
         "///none"},
        {"choosing alone does nothing", kNothing,
         [](World& world) {
             world.Choose("A");
             return kLocal;
         },
         "", "", kLocal, "A///none"},
        {"host taken away closes without QUIT", Readied("A"), ThenGate(""), "close", "", kLocal,
         "/A/TWAICP.DLL/closed"},
        {"and once more", [](World& world) { world.Ready("A"), world.Ready(""); }, kGate, "", "",
         kLocal, "/A/TWAICP.DLL/closed"},
        {"own program stays local whatever is chosen", Readied("A"),
         [](World& world) { return world.Gate(kLibrary, "TWSERV.EXE"); }, "", "", kLocal,
         "A/A/TWAICP.DLL/open"},
        {"own program is not forced", [](World&) { ForceDefaultHost(1); },
         [](World& world) { return world.Gate(kLibrary, "twserv.exe"); }, "", "", kLocal,
         "///none"},
        {"switch 1 chooses Default", [](World&) { ForceDefaultHost(1); }, kGate, "", kOpening,
         kReady, "Default/Default/TWAICP.DLL/open"},
        {"any other number too", [](World&) { ForceDefaultHost(0x80000000U); }, kGate, "", kOpening,
         kReady, "Default/Default/TWAICP.DLL/open"},
        {"a chosen host precedes the switch", [](World&) { ForceDefaultHost(1); }, ThenGate("A"),
         kOpening, "", kReady, "A/A/TWAICP.DLL/open"},
    });
}

TEST(RemoteSession, ConnectingTransitions) {
    RunTransitions({
        {"first use", kNothing, ThenGate("A"), kOpening, "", kReady, "A/A/TWAICP.DLL/open"},
        {"by host name", kNothing, ThenGate("B"), "", kOpening, kReady, "B/B/TWAICP.DLL/open"},
        {"unknown host", kNothing, ThenGate("unknown"), "", "", kFailed, "unknown///closed"},
        {"host without address", kNothing, ThenGate("addressless"), "", "", kFailed,
         "addressless///closed"},
        {"address that resolves to nothing", kNothing, ThenGate("nowhere"), "", "", kFailed,
         "nowhere///closed"},
        {"nobody listens", kNothing, ThenGate("dead"), "", "", kFailed, "dead///closed"},
        {"tried again", Readied("dead"), ThenGate("A"), kOpening, "", kReady,
         "A/A/TWAICP.DLL/open"},
        {"a failed connect forgets the host, not the library", Readied("A"), ThenGate("dead"),
         "PING, close", "", kFailed, "dead//TWAICP.DLL/closed"},
        {"loopback opens nothing", kNothing, ThenGate("127.0.0.1"), "", "", kReady,
         "127.0.0.1/127.0.0.1//none"},
        {"loopback keeps the old connection", Readied("A"), ThenGate("127.0.0.1"),
         "PING, AUTH, LOAD TWAICP.DLL", "", kReady, "127.0.0.1/127.0.0.1/TWAICP.DLL/open"},
        {"loopback after the old one died",
         [](World& world) { world.Ready("A"), world.a.CloseAll(); }, ThenGate("127.0.0.1"), "", "",
         kReady, "127.0.0.1/127.0.0.1/TWAICP.DLL/closed"},
        {"loopback again after the old one died",
         [](World& world) { world.Ready("A"), world.Ready("127.0.0.1"), world.a.CloseAll(); },
         kGate, "", "", kReady, "127.0.0.1//TWAICP.DLL/open"},
        {"only the exact text is loopback",
         [](World&) { testing::RegisterHost("127.0.0.1 ", "", 1); }, ThenGate("127.0.0.1 "), "", "",
         kFailed, "127.0.0.1 ///closed"},
    });
}

TEST(RemoteSession, ReadyTransitions) {
    RunTransitions({
        {"again: one PING", Readied("A"), kGate, "PING", "", kReady, "A/A/TWAICP.DLL/open"},
        {"in other letters", Readied("A"),
         [](World& world) {
             world.Choose("a");
             return world.Gate("twaicp.dll");
         },
         "PING", "", kReady, "a/A/TWAICP.DLL/open"},
        {"dead connection is replaced without QUIT",
         [](World& world) { world.Ready("A"), world.a.CloseAll(); }, kGate, kOpening, "", kReady,
         "A/A/TWAICP.DLL/open"},
        {"PING closed in place of an answer",
         [](World& world) { world.Ready("A"), world.a.SetScript(ClosingAt("PING")); }, kGate,
         "PING, connect, AUTH, LOAD TWAICP.DLL", "", kReady, "A/A/TWAICP.DLL/open"},
        {"any answer to PING will do",
         [](World& world) { world.Ready("A"), world.a.SetScript(Refusing("PING")); }, kGate, "PING",
         "", kReady, "A/A/TWAICP.DLL/open"},
        {"another host: closed without QUIT while it answers", Readied("A"), ThenGate("B"),
         "PING, close", kOpening, kReady, "B/B/TWAICP.DLL/open"},
        {"another library: the same connection anew", Readied("A"),
         [](World& world) { return world.Gate("OTHER.DLL"); },
         "PING, close, connect, AUTH, LOAD OTHER.DLL", "", kReady, "A/A/OTHER.DLL/open"},
        {"no library: no LOAD", kNothing,
         [](World& world) {
             world.Choose("A");
             return world.Gate("");
         },
         "connect, AUTH", "", kReady, "A/A//open"},
        {"the same host after a local while",
         [](World& world) { world.Ready("A"), world.Ready(""); }, ThenGate("A"), kOpening, "",
         kReady, "A/A/TWAICP.DLL/open"},
    });
}

// A PING whose answer times out, on a connection that still carries messages: drain, send, receive.
GateResult GateWithPingTimeout(World& world) {
    testing::CallRecorder calls;
    calls.FailCall(3, WSAETIMEDOUT);
    return world.Gate();
}

TEST(RemoteSession, UnansweredTransitions) {
    RunTransitions({
        {"the same host is connected anew without QUIT", Readied("A"), GateWithPingTimeout,
         "PING, close, connect, AUTH, LOAD TWAICP.DLL", "", kReady, "A/A/TWAICP.DLL/open"},
        {"another host: only a session that does not answer is sent QUIT", Readied("A"),
         [](World& world) {
             world.Choose("B");
             return GateWithPingTimeout(world);
         },
         "PING, QUIT, close", kOpening, kReady, "B/B/TWAICP.DLL/open"},
        {"loopback after QUIT has no connection", Readied("A"),
         [](World& world) {
             world.Choose("127.0.0.1");
             return GateWithPingTimeout(world);
         },
         "PING, QUIT, close", "", kReady, "127.0.0.1/127.0.0.1/TWAICP.DLL/closed"},
        {"without a socket there is none to quit", kNothing,
         [](World& world) {
             testing::CallRecorder calls;
             world.Choose("127.0.0.1");
             const GateResult result = world.Gate();
             EXPECT_EQ(Joined(calls.Calls()), "ioctlsocket, send, send");
             return result;
         },
         "", "", kReady, "127.0.0.1/127.0.0.1//none"},
    });
}

TEST(RemoteSession, RefusalTransitions) {
    RunTransitions({
        {"AUTH refused is ignored", [](World& world) { world.a.SetScript(Refusing("AUTH")); },
         ThenGate("A"), "connect, AUTH", "", kReady, "A/A//open"},
        {"and tried on a new connection each time",
         [](World& world) { world.a.SetScript(Refusing("AUTH")), world.Ready("A"); }, kGate,
         "PING, close, connect, AUTH", "", kReady, "A/A//open"},
        {"LOAD refused is ignored", [](World& world) { world.a.SetScript(Refusing("LOAD")); },
         ThenGate("A"), kOpening, "", kReady, "A/A//open"},
        {"refused after another host had accepted: counts as ready",
         [](World& world) {
             world.Ready("A"), world.b.SetScript(Refusing("AUTH")), world.Ready("B");
         },
         kGate, "", "PING", kReady, "B/B/TWAICP.DLL/open"},
        {"AUTH closed in place of an answer",
         [](World& world) { world.a.SetScript(ClosingAt("AUTH")); }, ThenGate("A"), "connect, AUTH",
         "", kReady, "A/A//open"},
        {"LOAD closed in place of an answer",
         [](World& world) { world.a.SetScript(ClosingAt("LOAD")); }, ThenGate("A"), kOpening, "",
         kReady, "A/A//open"},
    });
}

// A gate for B, with A ready, runs out of memory at each of its allocations: what the session then
// sends for A reaches A.
TEST(RemoteSession, WithoutMemoryNoSocketIsLeftUnderAnotherHostsName) {
    const int allocations = testing::FailEachAllocation([](int number, bool andAllAfter) {
        World world;
        world.Ready("A");
        world.Choose("B");
        try {
            const testing::FailingAllocations failing(number, andAllAfter);
            world.Gate();
        } catch (const std::bad_alloc&) {
            const std::string state = world.State();
            EXPECT_TRUE(state == "B/A/TWAICP.DLL/open" || state == "B//TWAICP.DLL/closed")
                << number << ": " << state;
        }
        const bool failed = testing::FailingAllocations::Any();
        world.Ready("A");
        char reply[64];
        EXPECT_TRUE(world.session.ExchangeRequest("<DATA><METHOD>X</METHOD></DATA>", reply));
        EXPECT_TRUE(Joined(world.a.TakeEvents()).ends_with(", X")) << number;
        return failed;
    });
    EXPECT_GE(allocations, 10);
}

}  // namespace
}  // namespace tarnwick

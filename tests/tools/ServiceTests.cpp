// The service over real sockets, asked by hand.
#include <gtest/gtest.h>

#include <functional>
#include <future>

#include "remote/AdminProtocol.h"
#include "remote/Envelope.h"
#include "tests/tools/ServiceWorld.h"
#include "twaicp.h"

namespace tarnwick {
namespace {

using testing::Appointment;
using testing::HandClient;
using testing::kTestCredentials;
using testing::ServiceWorld;

const std::string kSuccess(kSuccessReply);
const std::string kFailure(kFailureReply);

std::string Exec(const char* function, const AppointmentRecord& record) {
    std::vector<char> request(kRemoteTextSize);
    BuildExecRequest(request, function);
    AddRequestParameter(request, 1, std::as_bytes(std::span(&record, 1)));
    return request.data();
}

struct OpenClient : HandClient {
    explicit OpenClient(const ServiceWorld& world) : HandClient(world.Port()) {
        EXPECT_EQ(Ask(AuthMessage("", kTestCredentials)), kSuccess);
        EXPECT_EQ(Ask(LoadMessage("TWAICP.DLL")), kSuccess);
    }
    // Runs the function and takes its record back; gives the result.
    std::int32_t Run(const char* function, AppointmentRecord& record) {
        const std::string reply = Ask(Exec(function, record));
        std::int32_t result = -1;
        GetResponseParameter(reply, 0, std::as_writable_bytes(std::span(&result, 1)));
        GetResponseParameter(reply, 1, std::as_writable_bytes(std::span(&record, 1)));
        return result;
    }
};

TEST(Service, AnswersRequestsInAnyPiecesAndLogsALineForEach) {
    ServiceWorld world;
    HandClient client(world.Port());
    for (const char byte : kPingMessage) client.Send({&byte, 1});
    EXPECT_EQ(client.Receive(), kSuccess);
    client.Send(std::string(kPingMessage) + LoadMessage("X") + std::string(kPingMessage));
    EXPECT_EQ(client.Receive(), kSuccess);
    EXPECT_EQ(client.Receive(), kFailure);
    EXPECT_EQ(client.Receive(), kSuccess);
    client.Send(AuthMessage("", "guess") + std::string(kQuitMessage));
    EXPECT_EQ(client.Receive(), kFailure);
    EXPECT_EQ(client.Receive(), "(end)");
    EXPECT_EQ(world.log.Lines(),
              (std::vector<std::string>{"PING", "PING", "LOAD X refused: not authenticated", "PING",
                                        "AUTH refused", "QUIT"}));
}

TEST(Service, AnswersWhatIsNoRequestAndEndsTheConnection) {
    ServiceWorld world;
    for (const std::string& bytes :
         {std::string("GET / HTTP/1.1\r\n\r\n"), std::string(300'000, '<'),
          "<DATA>" + std::string(100'000, 'x') + "</DATA>", std::string(4, '\0')}) {
        HandClient client(world.Port());
        client.Send(bytes);
        EXPECT_EQ(client.Receive(), kFailure) << bytes.size();
        client.FinishSending();
        EXPECT_EQ(client.Receive(), "(end)") << bytes.size();
    }
    EXPECT_EQ(world.log.Lines(), std::vector<std::string>(4, "refused: no request"));
    HandClient next(world.Port());
    EXPECT_EQ(next.Ask(kPingMessage), kSuccess);
}

TEST(Service, EnumerationsBelongToTheirConnection) {
    ServiceWorld world;
    OpenClient first(world);
    OpenClient second(world);
    world.CalendarPath("");
    for (const char* id : {"a", "b", "c"}) {
        AppointmentRecord record = Appointment(id);
        EXPECT_EQ(first.Run("AppointmentAdd", record), 1) << id;
    }
    const struct {
        OpenClient& client;
        const char* function;
        std::int32_t result;
        const char* id;
    } steps[] = {
        {first, "AppointmentFindFirst", 1, "a"},  {first, "AppointmentFindNext", 1, "b"},
        {second, "AppointmentFindFirst", 1, "a"}, {first, "AppointmentFindNext", 1, "c"},
        {second, "AppointmentFindNext", 1, "b"},  {first, "AppointmentFindNext", 0, ""},
        {second, "AppointmentFindNext", 1, "c"},
    };
    for (const auto& step : steps) {
        AppointmentRecord record = Appointment("");
        EXPECT_EQ(step.client.Run(step.function, record), step.result);
        EXPECT_STREQ(record.appointmentId, step.id);
    }
}

TEST(Service, DropsASilentClientAndOneThatNeverFinishesItsRequest) {
    ServiceWorld world(250);
    OpenClient silent(world);
    EXPECT_EQ(silent.Receive(), "(end)");
    OpenClient halting(world);
    halting.Send("<DATA><METHOD>");
    EXPECT_EQ(halting.Receive(), "(end)");
    EXPECT_EQ(world.log.Count("dropped: silent for too long"), 2);
}

TEST(Service, AClientHasSomeTimeToAuthenticateWhateverItDoesMeanwhile) {
    ServiceWorld world(60'000, 64, 250);
    OpenClient known(world);
    HandClient silent(world.Port());
    EXPECT_EQ(silent.Receive(), "(end)");
    HandClient busy(world.Port());
    while (busy.Ask(kPingMessage) == kSuccess) Sleep(10);  // far from too many bytes
    EXPECT_EQ(world.log.Count("dropped: not authenticated in time"), 2);
    EXPECT_EQ(known.Ask(kPingMessage), kSuccess);
    EXPECT_EQ(known.Ask(AuthMessage("", "guess")), kFailure);
    EXPECT_EQ(known.Receive(), "(end)") << "no longer authenticated";
}

TEST(Service, AClientHasSomeBytesToAuthenticate) {
    ServiceWorld world;
    OpenClient known(world);
    HandClient unknown(world.Port());
    const std::string ping(kPingMessage);
    const std::string most = "<DATA>" + std::string(32768 - 2 * ping.size(), 'x') + ping.substr(6);
    for (const std::string& request : {most, ping, ping}) {
        EXPECT_EQ(unknown.Ask(request), kSuccess);
        EXPECT_EQ(known.Ask(request), kSuccess);
    }
    EXPECT_EQ(unknown.Receive(), "(end)") << "behind the byte that is too many";
    EXPECT_EQ(known.Ask(ping), kSuccess);
    EXPECT_EQ(world.log.Count("dropped: too much without authentication"), 1);
}

TEST(Service, RefusesConnectionsBeyondItsLimitAndTakesThemAgainLater) {
    ServiceWorld world(60'000, 2);
    auto first = std::make_unique<OpenClient>(world);
    OpenClient second(world);
    HandClient third(world.Port());
    EXPECT_EQ(third.Receive(), "(end)");
    EXPECT_EQ(world.log.Count("refused: too many connections"), 1);
    first->Send(kQuitMessage);
    EXPECT_EQ(first->Receive(), "(end)");
    first.reset();
    std::string answer;
    while (answer != kSuccess) answer = HandClient(world.Port()).Ask(kPingMessage);
}

TEST(Service, ThoseThatHaveNotAuthenticatedKeepNobodyOut) {
    ServiceWorld world(60'000, 3);
    OpenClient first(world);
    HandClient silent(world.Port());
    HandClient later(world.Port());
    EXPECT_EQ(later.Ask(kPingMessage), kSuccess);
    OpenClient second(world);
    EXPECT_EQ(silent.Receive(), "(end)") << "the oldest of them";
    OpenClient third(world);
    EXPECT_EQ(later.Receive(), "(end)");
    EXPECT_EQ(world.log.Count("dropped: its place is needed and it has not authenticated"), 2);
    HandClient fourth(world.Port());
    EXPECT_EQ(fourth.Receive(), "(end)") << "all places are taken";
    for (OpenClient* client : {&first, &second, &third}) {
        EXPECT_EQ(client->Ask(kPingMessage), kSuccess);
    }
}

TEST(Service, StopEndsOpenConnections) {
    ServiceWorld world;
    HandClient client(world.Port());
    EXPECT_EQ(client.Ask(kPingMessage), kSuccess);
    world.Stop();
    EXPECT_EQ(client.Receive(), "(end)");
    EXPECT_EQ(HandClient(world.Port()).Ask(kPingMessage), "(unsent)");
}

// Does something at the first line and counts the lines.
class ActingLog : public service::ServiceLog {
  public:
    void Write(const std::string& /*line*/) override {
        if (lines_++ == 0) act();
    }
    int Lines() const { return lines_; }
    std::function<void()> act;

  private:
    int lines_ = 0;
};

TEST(Service, StopDoesNotWaitForAClientThatNeverPauses) {
    ServiceWorld world;
    ActingLog log;
    service::ListenerOptions options;
    options.address.s_addr = htonl(INADDR_LOOPBACK);
    service::ServiceListener listener(options, world.Library(), log);
    std::promise<void> sent;
    log.act = [&] {
        sent.get_future().wait();
        listener.Stop();
    };
    std::thread serving([&] { listener.Serve(); });
    HandClient client(listener.Port());
    std::string requests;
    for (int count = 0; count < 1000; ++count) requests += kPingMessage;
    EXPECT_TRUE(client.Send(requests));
    sent.set_value();
    serving.join();
    EXPECT_LT(log.Lines(), 500) << "those that had been read already are answered";
}

TEST(Service, RunsNothingThatTheRegistryWouldSendOn) {
    ServiceWorld world;
    OpenClient client(world);
    world.CalendarPath("");
    AppointmentRecord record = Appointment("a");
    testing::ScratchRegistry::SetDword(HKEY_CURRENT_USER, kAdministrationKey, "ForceDefaultHost",
                                       1);
    EXPECT_EQ(client.Run("AppointmentAdd", record), 0);
    testing::ScratchRegistry::SetDword(HKEY_CURRENT_USER, kAdministrationKey, "ForceDefaultHost",
                                       0);
    EXPECT_EQ(client.Run("AppointmentAdd", record), 1);
}

TEST(Service, ALibraryThatIsNotTheCalendarLibraryIsNotTaken) {
    EXPECT_THROW(service::ProviderLibrary("kernel32.dll"), std::runtime_error);
    EXPECT_THROW(service::ProviderLibrary("Z:\\no\\such.dll"), std::runtime_error);
}

}  // namespace
}  // namespace tarnwick

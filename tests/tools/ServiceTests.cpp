// The service over real sockets, asked by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include "common/Registry.h"
#include "remote/AdminProtocol.h"
#include "remote/Envelope.h"
#include "tests/remote/SessionWorld.h"
#include "tools/service/ProviderLibrary.h"
#include "tools/service/ServiceListener.h"
#include "twaicp.h"

namespace tarnwick {
namespace {

using testing::ScratchRegistry;

const std::string kSuccess(kSuccessReply);
const std::string kFailure(kFailureReply);

constexpr const char* kTestCredentials = "ann:secret";

// Keeps the lines without the client's address in front, after it has acted at the first one.
class LogKeeper : public service::ServiceLog {
  public:
    void Write(const std::string& line) override {
        if (act) std::exchange(act, nullptr)();
        EXPECT_TRUE(line.starts_with("127.0.0.1:"));
        const std::lock_guard lock(mutex_);
        lines_.push_back(line.substr(line.find(' ') + 1));
    }
    std::vector<std::string> Lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    std::ptrdiff_t Count(const std::string& text) const {
        const auto lines = Lines();
        return std::count(lines.begin(), lines.end(), text);
    }
    std::function<void()> act;

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

AppointmentRecord Appointment(const char* id) {
    AppointmentRecord record{};
    std::strcpy(record.mailbox, "ann");
    std::strcpy(record.postoffice, "PO");
    std::strcpy(record.calendarName, "Y11M08");
    std::strcpy(record.appointmentId, id);
    return record;
}

// A running service with a mailbox of its own.
class ServiceWorld {
  public:
    explicit ServiceWorld(std::uint32_t idleMilliseconds = 60'000, std::size_t connections = 64,
                          std::uint32_t authenticationMilliseconds = 60'000) {
        testing::MakePath(folder_.Path("PO\\MAILROOT\\ann"));
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", folder_.Path());
        library_.emplace("TWAICP.DLL");
        service::ListenerOptions options;
        options.address.s_addr = htonl(INADDR_LOOPBACK);
        options.credentials = kTestCredentials;
        options.idleMilliseconds = idleMilliseconds;
        options.authenticationMilliseconds = authenticationMilliseconds;
        options.connectionLimit = connections;
        listener.emplace(options, *library_, log);
        thread_ = std::thread([this] { listener->Serve(); });
    }
    ~ServiceWorld() { Stop(); }

    void Stop() {
        listener->Stop();
        if (thread_.joinable()) thread_.join();
    }

    LogKeeper log;
    std::optional<service::ServiceListener> listener;

  private:
    StartedWinsock winsock_;
    ScratchRegistry registry_;
    testing::ScratchFolder folder_;
    std::optional<service::ProviderLibrary> library_;
    std::thread thread_;
};

// Speaks the protocol by hand.
class HandClient {
  public:
    explicit HandClient(const ServiceWorld& world) : socket_(CreateSocket()) {
        in_addr loopback{};
        loopback.s_addr = htonl(INADDR_LOOPBACK);
        Connect(socket_.Get(), loopback, world.listener->Port());
    }
    bool Send(std::string_view text) { return SendOnce(socket_.Get(), text); }
    // One answer, up to its "</DATA>"; what arrived before the end when the connection ends first.
    std::string Receive() {
        constexpr std::string_view kEnd = "</DATA>";
        char block[4096];
        std::size_t end;
        while ((end = received_.find(kEnd)) == std::string::npos) {
            const auto bytes = ReceiveOnce(socket_.Get(), block);
            if (!bytes) return std::exchange(received_, {}) + "(end)";
            received_ += *bytes;
        }
        const std::string answer = received_.substr(0, end + kEnd.size());
        received_.erase(0, answer.size());
        return answer;
    }
    std::string Ask(std::string_view request) { return Send(request) ? Receive() : "(unsent)"; }
    void FinishSending() { shutdown(socket_.Get(), SD_SEND); }

  private:
    Socket socket_;
    std::string received_;
};

struct OpenClient : HandClient {
    explicit OpenClient(const ServiceWorld& world) : HandClient(world) {
        EXPECT_EQ(Ask(AuthMessage("", kTestCredentials)), kSuccess);
        EXPECT_EQ(Ask(LoadMessage("TWAICP.DLL")), kSuccess);
    }
    // Runs the function and takes the first record back; gives the result.
    std::int32_t Run(const char* function, AppointmentRecord& record,
                     const AppointmentRecord* second = nullptr) {
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, function);
        AddRequestParameter(request, 1, std::as_bytes(std::span(&record, 1)));
        if (second) AddRequestParameter(request, 2, std::as_bytes(std::span(second, 1)));
        const std::string reply = Ask(request.data());
        std::int32_t result = -1;
        GetResponseParameter(reply, 0, std::as_writable_bytes(std::span(&result, 1)));
        GetResponseParameter(reply, 1, std::as_writable_bytes(std::span(&record, 1)));
        return result;
    }
};

TEST(Service, AnswersRequestsInAnyPiecesAndLogsALineForEach) {
    ServiceWorld world;
    HandClient client(world);
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
        HandClient client(world);
        client.Send(bytes);
        EXPECT_EQ(client.Receive(), kFailure) << bytes.size();
        client.FinishSending();
        EXPECT_EQ(client.Receive(), "(end)") << bytes.size();
    }
    EXPECT_EQ(world.log.Lines(), std::vector<std::string>(4, "refused: no request"));
    HandClient next(world);
    EXPECT_EQ(next.Ask(kPingMessage), kSuccess);
}

TEST(Service, EnumerationsBelongToTheirConnection) {
    ServiceWorld world;
    OpenClient first(world);
    OpenClient second(world);
    for (const char* id : {"a", "b", "c"}) {
        AppointmentRecord record = Appointment(id);
        EXPECT_EQ(first.Run("AppointmentAdd", record), 1) << id;
    }
    AppointmentRecord key = Appointment("a");
    const AppointmentRecord replacement = Appointment("d");
    EXPECT_EQ(first.Run("AppointmentEdit", key, &replacement), 1);
    const struct {
        OpenClient& client;
        const char* function;
        std::int32_t result;
        const char* id;
    } steps[] = {
        {first, "AppointmentFindFirst", 1, "d"},  {first, "AppointmentFindNext", 1, "b"},
        {second, "AppointmentFindFirst", 1, "d"}, {first, "AppointmentFindNext", 1, "c"},
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
    HandClient silent(world);
    EXPECT_EQ(silent.Receive(), "(end)");
    HandClient busy(world);
    while (busy.Ask(kPingMessage) == kSuccess) Sleep(10);  // far from too many bytes
    EXPECT_EQ(world.log.Count("dropped: not authenticated in time"), 2);
    EXPECT_EQ(known.Ask(kPingMessage), kSuccess);
    EXPECT_EQ(known.Ask(AuthMessage("", "guess")), kFailure);
    EXPECT_EQ(known.Receive(), "(end)") << "no longer authenticated";
}

TEST(Service, AClientHasSomeBytesToAuthenticate) {
    ServiceWorld world;
    OpenClient known(world);
    HandClient unknown(world);
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
    HandClient third(world);
    EXPECT_EQ(third.Receive(), "(end)");
    EXPECT_EQ(world.log.Count("refused: too many connections"), 1);
    first->Send(kQuitMessage);
    EXPECT_EQ(first->Receive(), "(end)");
    first.reset();
    std::string answer;
    while (answer != kSuccess) answer = HandClient(world).Ask(kPingMessage);
}

TEST(Service, ThoseThatHaveNotAuthenticatedKeepNobodyOut) {
    ServiceWorld world(60'000, 3);
    OpenClient first(world);
    HandClient silent(world);
    HandClient later(world);
    EXPECT_EQ(later.Ask(kPingMessage), kSuccess);
    OpenClient second(world);
    EXPECT_EQ(silent.Receive(), "(end)") << "the oldest of them";
    OpenClient third(world);
    EXPECT_EQ(later.Receive(), "(end)");
    EXPECT_EQ(world.log.Count("dropped: its place is needed and it has not authenticated"), 2);
    HandClient fourth(world);
    EXPECT_EQ(fourth.Receive(), "(end)") << "all places are taken";
    for (OpenClient* client : {&first, &second, &third}) {
        EXPECT_EQ(client->Ask(kPingMessage), kSuccess);
    }
}

TEST(Service, StopEndsOpenConnections) {
    ServiceWorld world;
    HandClient client(world);
    EXPECT_EQ(client.Ask(kPingMessage), kSuccess);
    world.Stop();
    EXPECT_EQ(client.Receive(), "(end)");
    EXPECT_EQ(HandClient(world).Ask(kPingMessage), "(unsent)");
}

TEST(Service, StopDoesNotWaitForAClientThatNeverPauses) {
    ServiceWorld world;
    std::promise<void> stopped;
    world.log.act = [&] { stopped.get_future().wait(); };
    HandClient client(world);
    std::string requests;
    for (int count = 0; count < 1000; ++count) requests += kPingMessage;
    EXPECT_TRUE(client.Send(requests));
    world.listener->Stop();
    stopped.set_value();
    world.Stop();
    EXPECT_LT(world.log.Lines().size(), 500U) << "those that had been read already are answered";
}

TEST(Service, RunsNothingThatTheRegistryWouldSendOn) {
    ServiceWorld world;
    OpenClient client(world);
    AppointmentRecord record = Appointment("a");
    ScratchRegistry::SetDword(HKEY_CURRENT_USER, kAdministrationKey, "ForceDefaultHost", 1);
    EXPECT_EQ(client.Run("AppointmentAdd", record), 0);
    ScratchRegistry::SetDword(HKEY_CURRENT_USER, kAdministrationKey, "ForceDefaultHost", 0);
    EXPECT_EQ(client.Run("AppointmentAdd", record), 1);
}

TEST(Service, ALibraryThatIsNotTheCalendarLibraryIsNotTaken) {
    EXPECT_THROW(service::ProviderLibrary("kernel32.dll"), std::runtime_error);
    EXPECT_THROW(service::ProviderLibrary("Z:\\no\\such.dll"), std::runtime_error);
}

}  // namespace
}  // namespace tarnwick

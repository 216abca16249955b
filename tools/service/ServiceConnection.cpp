#include "tools/service/ServiceConnection.h"

#include <exception>

#include "remote/AdminProtocol.h"
#include "tools/service/RequestReader.h"

namespace tarnwick::service {
namespace {

constexpr std::size_t kReceiveBlock = 4096;
// Read and dropped behind a last answer, so that the answer is not lost to a reset.
constexpr std::size_t kDropLimit = 1U << 20;

using LogLine = std::function<void(const std::string&)>;

enum class Arrival { Bytes, Silence, End };
enum class Progress { None, Answered, Ended };

// A socket whose sends and receives wait for the other side, for a while and no longer than until
// the service stops or the place is needed. As long as the other side has not authenticated, the
// while is one for everything, and what it may send is bounded.
class PatientSocket {
  public:
    PatientSocket(SOCKET socket, const ConnectionBounds& bounds)
        : socket_(socket), bounds_(bounds), event_(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {
        WSAEventSelect(socket, event_.Get(), FD_READ | FD_WRITE | FD_CLOSE);
    }

    // Begins the while anew, unless the other side has still not authenticated.
    void RenewPatience(bool isAuthenticated) {
        if (!isAuthenticated && !isAuthenticated_) return;
        isAuthenticated_ = isAuthenticated;
        unknownBytes_ = 0;
        deadline_ = GetTickCount64() + (isAuthenticated ? bounds_.idleMilliseconds
                                                        : bounds_.authenticationMilliseconds);
    }

    bool HasTakenTooMuch() const { return unknownBytes_ > kAuthenticationBytes; }

    // Waits for bytes and appends them. Nothing is taken any more once the service stops, even
    // where bytes never have to be waited for.
    Arrival Receive(RequestReader& reader) {
        char block[kReceiveBlock];
        if (WaitForSingleObject(bounds_.stop, 0) == WAIT_OBJECT_0) return Arrival::End;
        for (;;) {
            if (const auto received = ReceiveOnce(socket_, block)) {
                reader.Append(*received);
                if (!isAuthenticated_) unknownBytes_ += received->size();
                return Arrival::Bytes;
            }
            if (WSAGetLastError() != WSAEWOULDBLOCK) return Arrival::End;
            const DWORD woken = Wait();
            if (woken == WAIT_TIMEOUT) return Arrival::Silence;
            if (woken != kPossible) return Arrival::End;
        }
    }

    bool Send(std::string_view text) {
        while (!text.empty()) {
            const int sent = send(socket_, text.data(), static_cast<int>(text.size()), 0);
            if (sent > 0) {
                text.remove_prefix(static_cast<std::size_t>(sent));
            } else if (WSAGetLastError() != WSAEWOULDBLOCK || Wait() != kPossible) {
                return false;
            }
        }
        return true;
    }

    // Ends this side and lets the other side's last bytes arrive nowhere.
    void Finish() {
        shutdown(socket_, SD_SEND);
        for (std::size_t blocks = 0; blocks < kDropLimit / kReceiveBlock; ++blocks) {
            RequestReader dropped;
            if (Receive(dropped) != Arrival::Bytes) return;
        }
    }

  private:
    // Of what Wait gives: a send or receive may have become possible.
    static constexpr DWORD kPossible = WAIT_OBJECT_0 + 2;

    DWORD Wait() {
        const ULONGLONG now = GetTickCount64();
        const HANDLE events[] = {bounds_.stop, bounds_.displaced, event_.Get()};
        return WaitForMultipleObjects(3, events, FALSE,
                                      static_cast<DWORD>(now < deadline_ ? deadline_ - now : 0));
    }

    SOCKET socket_;
    ConnectionBounds bounds_;
    ObjectHandle event_;
    bool isAuthenticated_ = false;
    std::size_t unknownBytes_ = 0;
    ULONGLONG deadline_ = GetTickCount64() + bounds_.authenticationMilliseconds;
};

// The session's answer, whatever happens on the way to it.
Answer AnswerTo(const std::string& request, ServiceSession& session) {
    try {
        return session.Handle(request);
    } catch (const std::exception& failure) {
        return {std::string(kFailureReply), false, std::string("failed: ") + failure.what()};
    }
}

// Answers the whole requests that have arrived.
Progress AnswerAll(PatientSocket& socket, ServiceSession& session, RequestReader& reader,
                   const LogLine& log) {
    Progress progress = Progress::None;
    while (const auto request = reader.Next()) {
        const Answer answer = AnswerTo(*request, session);
        log(answer.log);
        socket.RenewPatience(session.IsAuthenticated());
        if (!socket.Send(answer.text) || answer.close) return Progress::Ended;
        progress = Progress::Answered;
    }
    if (!reader.IsBroken()) return progress;
    const Answer answer = AnswerToBrokenRequest();
    log(answer.log);
    socket.Send(answer.text);
    return Progress::Ended;
}

}  // namespace

void ServeRequests(SOCKET native, const ConnectionBounds& bounds, ServiceSession& session,
                   const LogLine& log) {
    PatientSocket socket(native, bounds);
    RequestReader reader;
    for (;;) {
        const Arrival arrival = socket.Receive(reader);
        if (arrival == Arrival::Silence) {
            log(session.IsAuthenticated() ? "dropped: silent for too long"
                                          : "dropped: not authenticated in time");
        }
        if (arrival != Arrival::Bytes) return;
        const Progress progress = AnswerAll(socket, session, reader, log);
        if (progress == Progress::Ended) return socket.Finish();
        if (progress == Progress::Answered) socket.RenewPatience(session.IsAuthenticated());
        if (socket.HasTakenTooMuch()) {
            log("dropped: too much without authentication");
            return socket.Finish();
        }
    }
}

}  // namespace tarnwick::service

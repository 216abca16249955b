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
// the service stops.
class PatientSocket {
  public:
    PatientSocket(SOCKET socket, HANDLE stop, std::uint32_t patienceMilliseconds)
        : socket_(socket),
          stop_(stop),
          event_(CreateEventA(nullptr, FALSE, FALSE, nullptr)),
          patience_(patienceMilliseconds) {
        WSAEventSelect(socket, event_.Get(), FD_READ | FD_WRITE | FD_CLOSE);
    }

    // The time until which receives wait begins anew.
    void RenewPatience() { deadline_ = GetTickCount64() + patience_; }

    // Waits for bytes and appends them. Nothing is taken any more once the service stops, even
    // where bytes never have to be waited for.
    Arrival Receive(RequestReader& reader) {
        char block[kReceiveBlock];
        if (WaitForSingleObject(stop_, 0) == WAIT_OBJECT_0) return Arrival::End;
        for (;;) {
            if (const auto received = ReceiveOnce(socket_, block)) {
                reader.Append(*received);
                return Arrival::Bytes;
            }
            if (WSAGetLastError() != WSAEWOULDBLOCK) return Arrival::End;
            const DWORD woken = Wait();
            if (woken == WAIT_TIMEOUT) return Arrival::Silence;
            if (woken != WAIT_OBJECT_0 + 1) return Arrival::End;
        }
    }

    bool Send(std::string_view text) {
        RenewPatience();
        while (!text.empty()) {
            const int sent = send(socket_, text.data(), static_cast<int>(text.size()), 0);
            if (sent > 0) {
                text.remove_prefix(static_cast<std::size_t>(sent));
            } else if (WSAGetLastError() != WSAEWOULDBLOCK || Wait() != WAIT_OBJECT_0 + 1) {
                return false;
            }
        }
        return true;
    }

    // Ends this side and lets the other side's last bytes arrive nowhere.
    void Finish() {
        shutdown(socket_, SD_SEND);
        RenewPatience();
        for (std::size_t blocks = 0; blocks < kDropLimit / kReceiveBlock; ++blocks) {
            RequestReader dropped;
            if (Receive(dropped) != Arrival::Bytes) return;
        }
    }

  private:
    // WAIT_OBJECT_0: stop; the next: something may have become possible.
    DWORD Wait() {
        const ULONGLONG now = GetTickCount64();
        const HANDLE events[] = {stop_, event_.Get()};
        return WaitForMultipleObjects(2, events, FALSE,
                                      static_cast<DWORD>(now < deadline_ ? deadline_ - now : 0));
    }

    SOCKET socket_;
    HANDLE stop_;
    ObjectHandle event_;
    std::uint32_t patience_;
    ULONGLONG deadline_ = GetTickCount64() + patience_;
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

void ServeRequests(SOCKET native, HANDLE stop, ServiceSession& session,
                   std::uint32_t idleMilliseconds, const LogLine& log) {
    PatientSocket socket(native, stop, idleMilliseconds);
    RequestReader reader;
    for (;;) {
        const Arrival arrival = socket.Receive(reader);
        if (arrival == Arrival::Silence) log("dropped: silent for too long");
        if (arrival != Arrival::Bytes) return;
        const Progress progress = AnswerAll(socket, session, reader, log);
        if (progress == Progress::Ended) return socket.Finish();
        if (progress == Progress::Answered) socket.RenewPatience();
    }
}

}  // namespace tarnwick::service

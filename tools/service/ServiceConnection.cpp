#include "tools/service/ServiceConnection.h"

#include <exception>

#include "remote/AdminProtocol.h"
#include "tools/service/RequestReader.h"

namespace tarnwick::service {
namespace {

constexpr std::size_t kReceiveBlock = 4096;
// Read and dropped behind a last answer, so that the answer is not lost to a reset.
constexpr std::size_t kDropLimit = 1U << 20;

// The time from now on that something may take.
class Deadline {
  public:
    explicit Deadline(std::uint32_t milliseconds) : end_(GetTickCount64() + milliseconds) {}
    // What is left of it, as select wants it.
    timeval Left() const {
        const ULONGLONG now = GetTickCount64();
        const ULONGLONG left = now < end_ ? end_ - now : 0;
        return {static_cast<long>(left / 1000), static_cast<long>(left % 1000 * 1000)};
    }

  private:
    ULONGLONG end_;
};

enum class Arrival { Bytes, Silence, End };

// Waits for bytes until the deadline and appends them.
Arrival Receive(SOCKET socket, const Deadline& deadline, RequestReader& reader) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(socket, &readable);
    timeval left = deadline.Left();
    const int ready = select(0, &readable, nullptr, nullptr, &left);
    if (ready == 0) return Arrival::Silence;
    char block[kReceiveBlock];
    const auto received = ready > 0 ? ReceiveOnce(socket, block) : std::nullopt;
    if (!received) return Arrival::End;
    reader.Append(*received);
    return Arrival::Bytes;
}

// The session's answer, whatever happens on the way to it.
Answer AnswerTo(const std::string& request, ServiceSession& session) {
    try {
        return session.Handle(request);
    } catch (const std::exception& failure) {
        return {std::string(kFailureReply), false, std::string("failed: ") + failure.what()};
    }
}

bool SendAll(SOCKET socket, std::string_view text) {
    return text.empty() || send(socket, text.data(), static_cast<int>(text.size()), 0) ==
                               static_cast<int>(text.size());
}

enum class Progress { None, Answered, Ended };

// Answers the whole requests that have arrived.
Progress AnswerAll(SOCKET socket, ServiceSession& session, RequestReader& reader,
                   const std::function<void(const std::string&)>& log) {
    Progress progress = Progress::None;
    while (const auto request = reader.Next()) {
        const Answer answer = AnswerTo(*request, session);
        log(answer.log);
        if (!SendAll(socket, answer.text) || answer.close) return Progress::Ended;
        progress = Progress::Answered;
    }
    if (!reader.IsBroken()) return progress;
    const Answer answer = AnswerToBrokenRequest();
    log(answer.log);
    SendAll(socket, answer.text);
    return Progress::Ended;
}

// Ends this side and lets the other side's last bytes arrive nowhere.
void Finish(SOCKET socket, std::uint32_t idleMilliseconds) {
    shutdown(socket, SD_SEND);
    const Deadline deadline(idleMilliseconds);
    for (std::size_t blocks = 0; blocks < kDropLimit / kReceiveBlock; ++blocks) {
        RequestReader dropped;
        if (Receive(socket, deadline, dropped) != Arrival::Bytes) return;
    }
}

}  // namespace

void ServeRequests(SOCKET socket, ServiceSession& session, std::uint32_t idleMilliseconds,
                   const std::function<void(const std::string&)>& log) {
    RequestReader reader;
    for (Deadline deadline(idleMilliseconds);;) {
        const Arrival arrival = Receive(socket, deadline, reader);
        if (arrival == Arrival::Silence) log("dropped: silent for too long");
        if (arrival != Arrival::Bytes) return;
        const Progress progress = AnswerAll(socket, session, reader, log);
        if (progress == Progress::Ended) {
            Finish(socket, idleMilliseconds);
            return;
        }
        if (progress == Progress::Answered) deadline = Deadline(idleMilliseconds);
    }
}

}  // namespace tarnwick::service

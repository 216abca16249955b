// The codec work of one whole remote call against the bare wire time of the same exchange, and the
// traces of a call against a printf for each.
#include <io.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bench/BenchReport.h"
#include "bench/CodecSamples.h"
#include "common/Reports.h"
#include "common/WindowsApi.h"
#include "remote/Envelope.h"
#include "remote/Lzw.h"
#include "remote/ParameterTraces.h"
#include "remote/shared/Base64.h"

namespace tarnwick::bench {
namespace {

constexpr std::string_view kPing = "<DATA><METHOD>PING</METHOD></DATA>";
constexpr std::string_view kPingReply = "<DATA><STATUS>SUCCESS</STATUS></DATA>";

void Require(bool done, const char* step) {
    if (done) return;
    std::fprintf(stderr, "failed: %s (%d)\n", step, WSAGetLastError());
    std::exit(1);
}

class Dropped : public ReportSink {
  public:
    void Report(ReportChannel /*channel*/, std::string_view /*text*/) override {}
};

// A connection over loopback whose far end answers a PING with its reply and anything else with a
// text of the same length, each with one receive and one send.
class EchoWire {
  public:
    EchoWire() {
        WSADATA data;
        Require(WSAStartup(MAKEWORD(2, 2), &data) == 0, "WSAStartup");
        const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        int size = sizeof address;
        auto* name = reinterpret_cast<sockaddr*>(&address);
        Require(bind(listener, name, size) == 0 && listen(listener, 1) == 0 &&
                    getsockname(listener, name, &size) == 0,
                "listen");
        near_ = socket(AF_INET, SOCK_STREAM, 0);
        Require(connect(near_, name, size) == 0, "connect");
        far_ = accept(listener, nullptr, nullptr);
        closesocket(listener);
        peer_ = std::thread([this] { Answer(); });
    }
    ~EchoWire() {
        closesocket(near_);
        peer_.join();
        closesocket(far_);
    }
    EchoWire(const EchoWire&) = delete;
    EchoWire& operator=(const EchoWire&) = delete;

    void Exchange(std::string_view request) {
        Require(send(near_, request.data(), static_cast<int>(request.size()), 0) > 0, "send");
        std::size_t received = 0;
        const std::size_t wanted = request == kPing ? kPingReply.size() : request.size();
        while (received < wanted) {
            const int count = recv(near_, buffer_.data(), static_cast<int>(buffer_.size()), 0);
            Require(count > 0, "recv");
            received += static_cast<std::size_t>(count);
        }
    }

  private:
    void Answer() const {
        std::array<char, kRemoteTextSize> buffer;
        for (;;) {
            const int count = recv(far_, buffer.data(), static_cast<int>(buffer.size()), 0);
            if (count <= 0) return;
            const bool isPing = static_cast<std::size_t>(count) == kPing.size();
            send(far_, isPing ? kPingReply.data() : buffer.data(),
                 isPing ? static_cast<int>(kPingReply.size()) : count, 0);
        }
    }

    SOCKET near_ = INVALID_SOCKET;
    SOCKET far_ = INVALID_SOCKET;
    std::thread peer_;
    std::array<char, kRemoteTextSize> buffer_{};
};

std::string Reply(std::vector<std::byte>& record) {
    std::vector<char> text(kRemoteTextSize);
    const std::array<std::byte, 4> result{std::byte{1}};
    BuildExecRequest(text, "AppointmentGet");
    AddRequestParameter(text, 0, result);
    AddRequestParameter(text, 1, record);
    return {text.data()};
}

// Everything a call does around its exchange.
void CodecWork(std::span<char> request, std::vector<std::byte>& record, std::string_view reply) {
    std::array<std::byte, 4> result{};
    BuildExecRequest(request, "AppointmentGet");
    AddRequestParameter(request, 1, record);
    const bool received =
        GetResponseParameter(reply, 0, result) && GetResponseParameter(reply, 1, record);
    Require(received, "reply");
}

void CompareWire(BenchReport& report, EchoWire& wire, const CodecSample& sample, double goal) {
    Dropped dropped;
    SetReportSink(&dropped);
    std::vector<std::byte> record = sample.value;
    const std::string reply = Reply(record);
    std::vector<char> request(kRemoteTextSize);
    const PairTimes times = BestOfPair([&] { CodecWork(request, record, reply); },
                                       [&] {
                                           wire.Exchange(kPing);
                                           wire.Exchange(reply);
                                       },
                                       1500);
    SetReportSink(nullptr);
    report.AtMost("codec work of a call, " + sample.name + ", bare wire", times.ours, times.other,
                  goal);
}

// Sends the standard output to the null device while traces are measured.
class OutputToNothing {
  public:
    OutputToNothing() {
        std::fflush(stdout);
        kept_ = _dup(1);
        std::FILE* file = std::fopen("NUL", "wb");
        Require(file != nullptr && _dup2(_fileno(file), 1) == 0, "standard output");
        std::fclose(file);
    }
    ~OutputToNothing() {
        std::fflush(stdout);
        _dup2(kept_, 1);
        _close(kept_);
    }
    OutputToNothing(const OutputToNothing&) = delete;
    OutputToNothing& operator=(const OutputToNothing&) = delete;

  private:
    int kept_;
};

void CompareTraces(BenchReport& report, const CodecSample& sample) {
    std::vector<std::byte> stream(LzwWorstSize(sample.value.size()));
    stream.resize(LzwCompress(sample.value, stream));
    const std::string encoded = Base64EncodeAlloc(stream);
    const int textLength = static_cast<int>(encoded.size());
    const int recordSize = static_cast<int>(sample.value.size());
    const int compressed = static_cast<int>(stream.size());
    PairTimes times{};
    {
        const OutputToNothing nothing;
        times = BestOfPair(
            [&] {
                PrintStandardOutput(EncodeTrace(stream.size(), encoded, textLength));
                std::string trace = DecodeTrace(encoded.size(), sample.value.size(), compressed);
                AppendExpandTrace(trace, {sample.value.size(), LzwFault::None});
                PrintStandardOutput(trace);
            },
            [&] {
                std::printf("compressing...\n");
                std::printf("Compressed size: %d\n", compressed);
                std::printf("Result of base64 encoding: %s\nSize:%d\n", encoded.c_str(),
                            textLength);
                std::printf("decompressing\n");
                std::printf("B64Source length: %d parameter size=%d\n", textLength, recordSize);
                std::printf("Decoded size=%d\n", compressed);
                std::printf("Uncompressed size=%d\n", recordSize);
                std::printf("Freeing\n");
            },
            400);
    }
    report.AtLeast("traces of a parameter, " + sample.name + ", printf", times.ours, times.other,
                   10);
}

}  // namespace
}  // namespace tarnwick::bench

int main(int argumentCount, char** arguments) {
    using namespace tarnwick::bench;
    BenchReport report(argumentCount, arguments);
    EchoWire wire;
    for (const CodecSample& sample : CodecSamples()) {
        CompareWire(report, wire, sample, sample.value.size() == 648 ? 0.03 : 1.1);
        CompareTraces(report, sample);
    }
    return 0;
}

// Any reply is read like that of a remote call: a record keeps its bytes unless its element arrived
// whole, and what was taken goes out and comes back the same.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "common/Reports.h"
#include "remote/Envelope.h"

namespace {

class Dropped : public tarnwick::ReportSink {
  public:
    void Report(tarnwick::ReportChannel /*channel*/, std::string_view /*text*/) override {}
};

void Require(bool condition) {
    if (!condition) std::abort();
}

void CheckParameter(std::string_view reply, int number, std::size_t size) {
    const std::vector<std::byte> before(size, std::byte{0xA5});
    std::vector<std::byte> record = before;
    if (!tarnwick::GetResponseParameter(reply, number, record)) {
        Require(record == before);
        return;
    }
    std::vector<char> request(tarnwick::kRemoteTextSize);
    tarnwick::BuildExecRequest(request, "AppointmentGet");
    Require(tarnwick::AddRequestParameter(request, number, record));
    std::vector<std::byte> back = before;
    const std::string_view sent(request.data(), request.size());
    Require(tarnwick::GetResponseParameter(sent, number, back) && back == record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Dropped dropped;
    tarnwick::SetReportSink(&dropped);
    const std::string_view reply(reinterpret_cast<const char*>(data), size);
    CheckParameter(reply, 0, 4);
    CheckParameter(reply, 1, 4);
    CheckParameter(reply, 1, 648);
    const auto method = tarnwick::ElementText(reply, "METHOD");
    Require(!method || method->size() + 17 <= reply.size());
    return 0;
}

// The service's side of the wire: whatever bytes arrive, in whatever pieces, every whole request
// gets a bounded answer, and a function only ever runs with records of its own size and safe names.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/Reports.h"
#include "remote/AdminProtocol.h"
#include "remote/Envelope.h"
#include "tools/service/RequestReader.h"
#include "tools/service/ServiceSession.h"

namespace {

using namespace tarnwick;
using namespace tarnwick::service;

class NoReports : public ReportSink {
  public:
    void Report(ReportChannel /*channel*/, std::string_view /*text*/) override {}
};

class CheckingRunner : public FunctionRunner {
  public:
    std::int32_t Run(const RemoteFunction& function,
                     std::vector<std::vector<std::byte>>& records) override {
        if (records.size() != static_cast<std::size_t>(function.argumentCount)) std::abort();
        for (const auto& record : records) {
            if (record.size() != function.record->size) std::abort();
            if (!HasSafeNames(*function.record, record)) std::abort();
        }
        return 1;
    }
};

void CheckAnswer(const Answer& answer) {
    if (answer.text.size() >= kRemoteTextSize || answer.log.empty()) std::abort();
    for (const char character : answer.log) {
        if (character < ' ' || character > '~') std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static NoReports noReports;
    SetReportSink(&noReports);
    const std::string credentials = "secret";
    CheckingRunner runner;
    ServiceSession session(credentials, runner);
    session.Handle(AuthMessage("", credentials));
    session.Handle(LoadMessage("TWAICP.DLL"));
    RequestReader reader;
    const std::size_t piece = size == 0 ? 1 : 1 + data[0] * 16U;
    for (std::size_t at = 0; at < size; at += piece) {
        const std::size_t length = piece < size - at ? piece : size - at;
        reader.Append({reinterpret_cast<const char*>(data) + at, length});
        while (const auto request = reader.Next()) CheckAnswer(session.Handle(*request));
        if (reader.IsBroken()) break;
    }
    return 0;
}

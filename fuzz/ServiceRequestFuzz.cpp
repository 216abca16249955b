// The service's side of the wire: whatever bytes arrive, in whatever pieces, every whole request
// gets a bounded answer, and a function only ever runs with records of its own size and safe names.
#include "fuzz/Fuzz.h"
#include "remote/AdminProtocol.h"
#include "remote/Envelope.h"
#include "tools/service/RequestReader.h"
#include "tools/service/ServiceSession.h"

namespace tarnwick::fuzz {
namespace {

using namespace service;

class CheckingRunner : public FunctionRunner {
  public:
    std::int32_t Run(const RemoteFunction& function,
                     std::vector<std::vector<std::byte>>& records) override {
        Require(records.size() == static_cast<std::size_t>(function.argumentCount));
        for (const auto& record : records) {
            const bool isWhole = record.size() == function.record->size;
            Require(isWhole && HasSafeNames(*function.record, record));
        }
        return 1;
    }
};

void CheckAnswer(const Answer& answer) {
    Require(answer.text.size() < kRemoteTextSize && !answer.log.empty());
    for (const char character : answer.log) Require(character >= ' ' && character <= '~');
}

}  // namespace

void Check(std::string_view input) {
    const std::string credentials = "secret";
    CheckingRunner runner;
    ServiceSession session(credentials, runner);
    session.Handle(AuthMessage("", credentials));
    session.Handle(LoadMessage("TWAICP.DLL"));
    RequestReader reader;
    const std::size_t piece = input.empty() ? 1 : 1 + static_cast<unsigned char>(input[0]) * 16U;
    for (std::size_t at = 0; at < input.size(); at += piece) {
        reader.Append(input.substr(at, piece));
        while (const auto request = reader.Next()) CheckAnswer(session.Handle(*request));
        if (reader.IsBroken()) break;
    }
}

}  // namespace tarnwick::fuzz

#include "tools/service/ServiceSession.h"

#include <algorithm>
#include <optional>

#include "common/Scan.h"
#include "common/Text.h"
#include "remote/AdminProtocol.h"
#include "remote/Envelope.h"

namespace tarnwick::service {
namespace {

using Records = std::vector<std::vector<std::byte>>;

constexpr std::string_view kLibrary = "TWAICP.DLL";
// Wrong credentials on one connection before it is closed.
constexpr int kRefusalLimit = 3;
// Of a text from the wire in a log line.
constexpr std::size_t kLoggedLimit = 64;

Answer Success(std::string log) {
    return {std::string(kSuccessReply), false, std::move(log)};
}

Answer Failure(std::string log) {
    return {std::string(kFailureReply), false, std::move(log)};
}

// A text from the wire as it may stand in a log line.
std::string Logged(std::string_view text) {
    std::string printable(text.substr(0, kLoggedLimit));
    std::replace_if(
        printable.begin(), printable.end(), [](char c) { return c <= ' ' || c > '~'; }, '?');
    return printable.empty() ? "-" : printable;
}

// Compares in a time that does not tell how far the texts agree.
bool SameSecret(std::string_view given, std::string_view expected) {
    unsigned difference = given.size() == expected.size() ? 0 : 1;
    for (std::size_t at = 0; at < given.size() && !expected.empty(); ++at) {
        const char wanted = expected[at % expected.size()];
        difference |= static_cast<unsigned char>(given[at]) ^ static_cast<unsigned char>(wanted);
    }
    return difference == 0;
}

// The argument of that number when it is exactly as large as its record.
std::optional<std::vector<std::byte>> TakeArgument(std::string_view request, int number,
                                                   std::size_t size) {
    const auto element = FindResponseParameter(request, number);
    if (!element || element->size != static_cast<std::int32_t>(size)) return std::nullopt;
    std::vector<std::byte> record(size);
    if (!DecodeParameter(element->valueText, record)) return std::nullopt;
    return record;
}

// All arguments; none when one is missing, of another size or damaged.
Records TakeArguments(std::string_view request, const RemoteFunction& function) {
    Records records;
    for (int number = 1; number <= function.argumentCount; ++number) {
        auto record = TakeArgument(request, number, function.record->size);
        if (!record) return {};
        records.push_back(std::move(*record));
    }
    return records;
}

std::string BuildReply(const RemoteFunction& function, std::int32_t result,
                       const Records& records) {
    std::vector<char> reply(kRemoteTextSize);
    BuildExecRequest(reply, function.name);
    AddRequestParameter(reply, 0, std::as_bytes(std::span(&result, 1)));
    if (function.sendsRecordBack) AddRequestParameter(reply, 1, records.front());
    return std::string(FieldText(reply));
}

}  // namespace

std::optional<std::string> UsableCredentials(std::string_view text) {
    const std::string_view line = text.substr(0, FindEither(text, '\r', '\n'));
    const bool usable = !line.empty() && line.size() <= kHostSettingLimit &&
                        std::all_of(line.begin(), line.end(), [](char character) {
                            return static_cast<unsigned char>(character) >= ' ' && character != '<';
                        });
    if (!usable) return std::nullopt;
    return std::string(line);
}

Answer AnswerToBrokenRequest() {
    return {std::string(kFailureReply), true, "refused: no request"};
}

Answer ServiceSession::Handle(std::string_view request) {
    const std::string_view method = ElementText(request, "METHOD").value_or("");
    if (method == "AUTH") return Authenticate(request);
    if (method == "LOAD") return Load(request);
    if (method == "PING") return Success("PING");
    if (method == "QUIT") return {"", true, "QUIT"};
    if (method == "EXEC") return Execute(request);
    return Failure(Logged(method) + " refused: no such method");
}

Answer ServiceSession::Authenticate(std::string_view request) {
    const std::string_view given = ElementText(request, "CREDENTIALS").value_or("");
    authenticated_ = SameSecret(given, credentials_);
    loaded_ = false;
    if (authenticated_) return Success("AUTH");
    Answer refusal = Failure("AUTH refused");
    refusal.close = ++refusedCredentials_ >= kRefusalLimit;
    return refusal;
}

Answer ServiceSession::Load(std::string_view request) {
    const std::string_view library = ElementText(request, "LIBRARY").value_or("");
    const std::string log = "LOAD " + Logged(library);
    if (!authenticated_) return Failure(log + " refused: not authenticated");
    if (!EqualsIgnoreCase(library, kLibrary)) return Failure(log + " refused: not allowed");
    loaded_ = true;
    return Success(log);
}

Answer ServiceSession::Execute(std::string_view request) {
    const std::string_view name = ElementText(request, "FUNCTION").value_or("");
    const std::string log = "EXEC " + Logged(name);
    if (!authenticated_) return Failure(log + " refused: not authenticated");
    if (!loaded_) return Failure(log + " refused: no library loaded");
    const RemoteFunction* function = FindRemoteFunction(name);
    if (function == nullptr || function->record == nullptr) {
        return Failure(log + " refused: not offered");
    }
    Records records = TakeArguments(request, *function);
    if (records.empty()) return Failure(log + " refused: wrong arguments");
    for (const auto& record : records) {
        if (!HasSafeNames(*function->record, record)) return Failure(log + " refused: unsafe name");
    }
    const std::int32_t result = runner_.Run(*function, records);
    return {BuildReply(*function, result, records), false, log + " " + std::to_string(result)};
}

}  // namespace tarnwick::service

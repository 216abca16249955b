#include "remote/RemoteCall.h"

#include <memory>
#include <mutex>

#include "common/StaticLock.h"
#include "remote/AdminHost.h"
#include "remote/Envelope.h"
#include "remote/RemoteSession.h"

namespace tarnwick {
namespace {

constexpr std::string_view kLibrary = "TWAICP.DLL";
constexpr int kResultNumber = 0;

// A request and the reply to it; allocated for the call and not cleared, since both are written
// before they are read.
struct CallTexts {
    std::unique_ptr<char[]> request = std::make_unique_for_overwrite<char[]>(kRemoteTextSize);
    std::unique_ptr<char[]> reply = std::make_unique_for_overwrite<char[]>(kRemoteTextSize);
};

// Held from the gate through the exchange, so that the threads of a host process share the one
// connection without mixing their requests and replies.
constinit StaticLock sessionLock;

// No value without the memory for it: a request that lacks an argument must not be run.
std::optional<std::string_view> BuildRequest(std::span<char> request, std::string_view function,
                                             std::initializer_list<RemoteParameter> parameters) {
    BuildExecRequest(request, function);
    int number = kResultNumber;
    for (const RemoteParameter& parameter : parameters) {
        if (!AddRequestParameter(request, ++number, parameter.bytes)) return std::nullopt;
    }
    return FieldText(request);
}

// What the reply holds; a missing or damaged element leaves what it was for as it is. Its METHOD
// and FUNCTION are not looked at: services need not send them.
std::int32_t TakeReply(std::string_view reply, std::initializer_list<RemoteParameter> parameters) {
    std::int32_t result = 0;
    GetResponseParameter(reply, kResultNumber, std::as_writable_bytes(std::span(&result, 1)));
    int number = kResultNumber;
    for (const RemoteParameter& parameter : parameters) {
        ++number;
        if (parameter.transfer == Transfer::CopiedBack) {
            GetResponseParameter(reply, number, parameter.bytes);
        }
    }
    return result;
}

}  // namespace

std::optional<std::int32_t> CallRemotely(std::string_view function,
                                         std::initializer_list<RemoteParameter> parameters) {
    std::unique_lock lock(sessionLock);
    RemoteSession& session = ProcessSession();
    if (session.EnsureRemoteSession(kLibrary, ExecutablePath()) == GateResult::Local) {
        return std::nullopt;
    }
    // A connection that could not be made goes the same way; its send fails.
    const CallTexts texts;
    const auto request = BuildRequest({texts.request.get(), kRemoteTextSize}, function, parameters);
    if (!request) return 0;
    const auto reply = session.ExchangeRequest(*request, {texts.reply.get(), kRemoteTextSize});
    lock.unlock();
    return reply ? TakeReply(*reply, parameters) : 0;
}

}  // namespace tarnwick
